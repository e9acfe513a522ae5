#include "support/scratch.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace testing_support {

namespace {
std::atomic<unsigned> scratchCounter{0};

unsigned processId() {
#ifdef _WIN32
  return static_cast<unsigned>(GetCurrentProcessId());
#else
  return static_cast<unsigned>(getpid());
#endif
}

// Writes `bytes` at `offset` of an existing file without truncating it.
void writeAt(const std::string& name, std::int64_t offset, const std::string& bytes) {
#ifdef _WIN32
  HANDLE h = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) throw std::runtime_error("cannot open " + name);
  LARGE_INTEGER at;
  at.QuadPart = offset;
  DWORD written = 0;
  bool ok = SetFilePointerEx(h, at, nullptr, FILE_BEGIN) &&
            WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
            written == bytes.size();
  CloseHandle(h);
#else
  int fd = ::open(name.c_str(), O_WRONLY);
  if (fd < 0) throw std::runtime_error("cannot open " + name);
  bool ok = ::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset)) ==
            static_cast<ssize_t>(bytes.size());
  ::close(fd);
#endif
  if (!ok) throw std::runtime_error("cannot write " + name);
}
}  // namespace

ScratchDir::ScratchDir() {
  std::ostringstream leaf;
  leaf << "fennoria-test-" << processId() << "-" << scratchCounter++;
  fs::path dir = fs::temp_directory_path() / leaf.str();
  fs::remove_all(dir);
  fs::create_directories(dir);
  root_ = dir.string();
}

ScratchDir::~ScratchDir() {
  // Files that the code under test keeps open on purpose cannot be removed
  // on Windows; they go with the prefix.
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

std::string ScratchDir::path(const std::string& leaf) const {
  return (fs::path(root_) / leaf).string();
}

std::string ScratchDir::write(const std::string& leaf, const std::string& bytes) const {
  std::string name = path(leaf);
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + name);
  return name;
}

unsigned char patternByte(unsigned seed, std::int64_t offset) {
  std::uint64_t x = static_cast<std::uint64_t>(offset) * 0x9E3779B97F4A7C15ull + seed * 0x632BE5ABull;
  return static_cast<unsigned char>((x >> 29) ^ (x >> 47));
}

std::string ScratchDir::writePattern(const std::string& leaf, std::int64_t size,
                                     unsigned seed) const {
  std::string bytes(static_cast<std::size_t>(size), '\0');
  for (std::int64_t i = 0; i < size; ++i)
    bytes[static_cast<std::size_t>(i)] = static_cast<char>(patternByte(seed, i));
  return write(leaf, bytes);
}

std::string ScratchDir::writeSparse(
    const std::string& leaf, std::int64_t size,
    const std::vector<std::pair<std::int64_t, std::string>>& marks) const {
  std::string name = write(leaf, "");
#ifdef _WIN32
  HANDLE h = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  LARGE_INTEGER end;
  end.QuadPart = size;
  bool ok = h != INVALID_HANDLE_VALUE && SetFilePointerEx(h, end, nullptr, FILE_BEGIN) &&
            SetEndOfFile(h);
  if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
#else
  bool ok = ::truncate(name.c_str(), static_cast<off_t>(size)) == 0;
#endif
  if (!ok) throw std::runtime_error("cannot size " + name);
  for (const auto& mark : marks) writeAt(name, mark.first, mark.second);
  return name;
}

std::string readWholeFile(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

MessageRecorder::MessageRecorder() {
  previous_ = platform::setMessageHook([this](const std::string& text, const std::string& caption) {
    messages_.push_back({text, caption});
  });
}

MessageRecorder::~MessageRecorder() { platform::setMessageHook(previous_); }

}  // namespace testing_support

namespace testing_support {

bool isHeldOpen(const std::string& name) {
#ifdef _WIN32
  // An exclusive open fails with a sharing violation while any other handle
  // to the file exists.
  HANDLE h = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0,
                         nullptr);
  if (h != INVALID_HANDLE_VALUE) {
    CloseHandle(h);
    return false;
  }
  return GetLastError() == ERROR_SHARING_VIOLATION;
#else
  std::error_code error;
  fs::path wanted = fs::canonical(name, error);
  for (const auto& entry : fs::directory_iterator("/proc/self/fd", error)) {
    std::error_code linkError;
    fs::path target = fs::read_symlink(entry.path(), linkError);
    if (!linkError && target == wanted) return true;
  }
  return false;
#endif
}

}  // namespace testing_support
