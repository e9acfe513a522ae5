// A file read through a mapping: the same bytes as a plain read, positions
// past 4 GiB, and a file that shrinks under the reader, which must give
// zeros and say where the data ended rather than end the process.
#include "platform/mapped_file.h"

#include <signal.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "support/scratch.h"

using platform::MappedFile;
using testing_support::ScratchDir;

namespace {

std::string readWhole(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

TEST(MappedFile, GivesTheBytesAPlainReadGives) {
  ScratchDir dir;
  const std::string name = dir.writePattern("a.vob", 3 * 1024 * 1024 + 77, 5);
  auto mapped = MappedFile::open(name);
  ASSERT_NE(mapped, nullptr);
  ASSERT_EQ(mapped->size(), 3 * 1024 * 1024 + 77);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(mapped->bytes()),
                        static_cast<std::size_t>(mapped->size())),
            readWhole(name));
  EXPECT_EQ(mapped->missingFrom(), -1);
}

TEST(MappedFile, ReachesPositionsBeyondFourGibibytes) {
  ScratchDir dir;
  const std::int64_t size = 5LL * 1024 * 1024 * 1024;
  const std::string name =
      dir.writeSparse("big.vob", size, {{4LL * 1024 * 1024 * 1024 + 12345, "far"}, {size - 4, "end!"}});
  auto mapped = MappedFile::open(name);
  ASSERT_NE(mapped, nullptr);
  ASSERT_EQ(mapped->size(), size);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(mapped->bytes()) + 4LL * 1024 * 1024 * 1024 + 12345, 3),
            "far");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(mapped->bytes()) + size - 4, 4), "end!");
}

TEST(MappedFile, FileThatShrinksWhileMappedReadsZerosFromItsNewEndAndSaysWhere) {
  ScratchDir dir;
  const std::int64_t size = 4 * 1024 * 1024;
  const std::string name = dir.writePattern("shrinks.vob", size, 9);
  auto mapped = MappedFile::open(name);
  ASSERT_NE(mapped, nullptr);
  const std::int64_t page = sysconf(_SC_PAGESIZE);
  const std::int64_t newEnd = 10 * page + 100;  // inside a page: its tail reads as zeros
  ASSERT_EQ(truncate(name.c_str(), newEnd), 0);
  const std::string kept = readWhole(name);
  std::int64_t nonZeroPastEnd = 0;
  for (std::int64_t i = 0; i < size; ++i) {
    const std::uint8_t byte = mapped->bytes()[i];
    if (i < newEnd)
      ASSERT_EQ(byte, static_cast<std::uint8_t>(kept[static_cast<std::size_t>(i)])) << "byte " << i;
    else if (byte != 0)
      ++nonZeroPastEnd;
  }
  EXPECT_EQ(nonZeroPastEnd, 0);
  EXPECT_EQ(mapped->missingFrom(), 11 * page) << "the first page wholly past the new end";
}

TEST(MappedFile, SecondMappingWaitsUntilTheFirstIsGone) {
  ScratchDir dir;
  const std::string a = dir.write("a.vob", "first");
  const std::string b = dir.write("b.vob", "second");
  {
    auto first = MappedFile::open(a);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(MappedFile::open(b), nullptr) << "one mapping at a time";
  }
  auto second = MappedFile::open(b);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(second->bytes()), 6), "second");
}

TEST(MappedFile, EmptyFileFolderAndMissingFileAreNotMapped) {
  ScratchDir dir;
  EXPECT_EQ(MappedFile::open(dir.write("empty.vob", "")), nullptr);
  EXPECT_EQ(MappedFile::open(dir.root()), nullptr);
  EXPECT_EQ(MappedFile::open(dir.path("none.vob")), nullptr);
  // None of them kept the one mapping.
  EXPECT_NE(MappedFile::open(dir.write("a.vob", "a")), nullptr);
}

TEST(MappedFile, SignalHandlerIsPutBackWhenTheMappingGoes) {
  ScratchDir dir;
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGBUS, nullptr, &before), 0);
  {
    auto mapped = MappedFile::open(dir.write("a.vob", "abc"));
    ASSERT_NE(mapped, nullptr);
    struct sigaction during {};
    sigaction(SIGBUS, nullptr, &during);
    EXPECT_NE(reinterpret_cast<void*>(during.sa_sigaction), reinterpret_cast<void*>(before.sa_sigaction));
  }
  struct sigaction after {};
  ASSERT_EQ(sigaction(SIGBUS, nullptr, &after), 0);
  EXPECT_EQ(reinterpret_cast<void*>(after.sa_sigaction), reinterpret_cast<void*>(before.sa_sigaction));
  EXPECT_EQ(after.sa_flags & SA_SIGINFO, before.sa_flags & SA_SIGINFO);
}

// A bus error that is not about the mapping is none of its business: the
// process gets what it would have got without it.
TEST(MappedFileDeathTest, BusErrorElsewhereStillEndsTheProcess) {
  ScratchDir dir;
  const std::string name = dir.write("a.vob", "abc");
  EXPECT_EXIT(
      {
        struct sigaction plain {};
        plain.sa_handler = SIG_DFL;
        sigaction(SIGBUS, &plain, nullptr);
        auto mapped = MappedFile::open(name);
        if (!mapped) _exit(3);
        raise(SIGBUS);
        _exit(0);
      },
      testing::KilledBySignal(SIGBUS), "");
}

namespace {

volatile sig_atomic_t plainCalls = 0;
volatile sig_atomic_t infoCalls = 0;
void plainHandler(int) { plainCalls = plainCalls + 1; }
void infoHandler(int, siginfo_t*, void*) { infoCalls = infoCalls + 1; }

// Installs `handler`, then raises a bus error while `name` is mapped.
void busErrorWhileMapped(struct sigaction handler, const std::string& name) {
  sigemptyset(&handler.sa_mask);
  ASSERT_EQ(sigaction(SIGBUS, &handler, nullptr), 0);
  auto mapped = MappedFile::open(name);
  ASSERT_NE(mapped, nullptr);
  raise(SIGBUS);
}

}  // namespace

// A program (or a sanitizer) with a bus error handler of its own keeps
// getting the bus errors that are not about the mapping, of either kind.
TEST(MappedFile, BusErrorElsewhereGoesToTheHandlerThatWasThere) {
  ScratchDir dir;
  const std::string name = dir.write("a.vob", "abc");
  struct sigaction saved {};
  sigaction(SIGBUS, nullptr, &saved);
  struct sigaction plain {};
  plain.sa_handler = plainHandler;
  busErrorWhileMapped(plain, name);
  EXPECT_EQ(plainCalls, 1);
  struct sigaction withInfo {};
  withInfo.sa_sigaction = infoHandler;
  withInfo.sa_flags = SA_SIGINFO;
  busErrorWhileMapped(withInfo, name);
  EXPECT_EQ(infoCalls, 1);
  sigaction(SIGBUS, &saved, nullptr);
}

namespace {

// The process's resident memory in KiB, from /proc/self/status.
std::int64_t residentKib() {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("VmRSS:", 0) == 0) return std::stoll(line.substr(6));
  return -1;
}

}  // namespace

// A file much larger than memory can be read: the pages already used leave
// the process, and read the same when touched again.
TEST(MappedFile, PagesDoneWithLeaveTheProcessAndReadTheSameAgain) {
  ScratchDir dir;
  const std::int64_t size = 64 * 1024 * 1024;
  const std::string name = dir.writePattern("a.vob", size, 3);
  auto mapped = MappedFile::open(name);
  ASSERT_NE(mapped, nullptr);
  std::uint64_t sum = 0;
  for (std::int64_t i = 0; i < size; i += 512) sum += mapped->bytes()[i];
  const std::int64_t touched = residentKib();
  mapped->doneBefore(size);
  const std::int64_t done = residentKib();
  EXPECT_GT(touched - done, 48 * 1024) << "KiB resident: " << touched << " then " << done;
  std::uint64_t again = 0;
  for (std::int64_t i = 0; i < size; i += 512) again += mapped->bytes()[i];
  EXPECT_EQ(again, sum);
  EXPECT_EQ(std::memcmp(mapped->bytes(), readWhole(name).data(), static_cast<std::size_t>(size)), 0);
}
