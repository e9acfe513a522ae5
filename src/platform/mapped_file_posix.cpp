#include "platform/mapped_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>

namespace platform {

namespace {

// The one guarded mapping, as the SIGBUS handler sees it: claimed by
// `inUse`, its range (`start` null while there is none), the system's page
// size and the first offset found missing.
std::atomic<bool> inUse{false};
std::atomic<std::uint8_t*> guardedStart{nullptr};
std::atomic<std::size_t> guardedLength{0};
std::atomic<std::size_t> pageSize{4096};
std::atomic<std::int64_t> firstMissing{-1};
struct sigaction previousAction;

// A page of the mapping that has no data any more: it and the rest of the
// mapping become zeros, so the reader runs on to the end of its piece and
// sees the loss through missingFrom. A SIGBUS anywhere else is not ours and
// gets the action it had before.
void onBusError(int signal, siginfo_t* info, void* context) {
  std::uint8_t* start = guardedStart.load();
  const std::size_t length = guardedLength.load();
  auto* address = static_cast<std::uint8_t*>(info->si_addr);
  if (start && address >= start && address < start + length) {
    const std::size_t page = pageSize.load();
    std::uint8_t* from = start + (static_cast<std::size_t>(address - start) / page) * page;
    if (mmap(from, length - static_cast<std::size_t>(from - start), PROT_READ,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
      std::int64_t missing = from - start;
      std::int64_t known = firstMissing.load();
      if (known < 0 || missing < known) firstMissing.store(missing);
      return;
    }
  }
  if (previousAction.sa_flags & SA_SIGINFO) {
    previousAction.sa_sigaction(signal, info, context);
    return;
  }
  if (previousAction.sa_handler != SIG_DFL && previousAction.sa_handler != SIG_IGN) {
    previousAction.sa_handler(signal);
    return;
  }
  // The default action, as if no handler had been there.
  struct sigaction fallback {};
  fallback.sa_handler = SIG_DFL;
  sigaction(SIGBUS, &fallback, nullptr);
  raise(SIGBUS);
}

// Maps the regular file `name` whole, or gives MAP_FAILED.
void* mapWhole(const std::string& name, std::size_t* length) {
  const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return MAP_FAILED;
  struct stat info {};
  void* start = MAP_FAILED;
  if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0 &&
      static_cast<std::uint64_t>(info.st_size) <= SIZE_MAX)
    start = mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
  ::close(fd);  // the mapping keeps the file
  if (start != MAP_FAILED) *length = static_cast<std::size_t>(info.st_size);
  return start;
}

}  // namespace

std::unique_ptr<MappedFile> MappedFile::open(const std::string& name) {
  if (inUse.exchange(true)) return nullptr;
  std::size_t length = 0;
  void* start = mapWhole(name, &length);
  std::unique_ptr<MappedFile> mapped;
  if (start != MAP_FAILED) {
    mapped.reset(new (std::nothrow) MappedFile(static_cast<const std::uint8_t*>(start),
                                               static_cast<std::int64_t>(length)));
    if (!mapped) munmap(start, length);
  }
  if (!mapped) {
    inUse.store(false);
    return nullptr;
  }
  madvise(start, length, MADV_SEQUENTIAL);
  const long page = sysconf(_SC_PAGESIZE);
  if (page > 0) pageSize.store(static_cast<std::size_t>(page));
  firstMissing.store(-1);
  guardedLength.store(length);
  guardedStart.store(static_cast<std::uint8_t*>(start));
  struct sigaction action {};
  action.sa_sigaction = onBusError;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  if (sigaction(SIGBUS, &action, &previousAction) != 0) return nullptr;  // and unmapped
  mapped->guarded_ = true;
  return mapped;
}

MappedFile::~MappedFile() {
  if (guarded_) sigaction(SIGBUS, &previousAction, nullptr);
  guardedStart.store(nullptr);
  munmap(const_cast<std::uint8_t*>(bytes_), static_cast<std::size_t>(size_));
  inUse.store(false);
}

std::int64_t MappedFile::missingFrom() const { return firstMissing.load(); }

void MappedFile::doneBefore(std::int64_t offset) {
  const auto page = static_cast<std::int64_t>(pageSize.load());
  // Only the pages not let go before: each piece costs its own size.
  const std::int64_t whole = std::min(offset, size_) / page * page;
  if (whole <= released_) return;
  madvise(const_cast<std::uint8_t*>(bytes_) + released_, static_cast<std::size_t>(whole - released_),
          MADV_DONTNEED);
  released_ = whole;
}

}  // namespace platform
