#include "platform/file.h"

#include <gtest/gtest.h>

#include "support/scratch.h"

using testing_support::ScratchDir;

TEST(PlatformFile, MissingFileDoesNotOpen) {
  ScratchDir dir;
  EXPECT_EQ(platform::openExistingForRead(dir.path("none").c_str(), platform::AccessHint::None),
            platform::kInvalidFile);
  EXPECT_NE(platform::lastError(), 0u);
}

TEST(PlatformFile, FolderDoesNotOpen) {
  ScratchDir dir;
  EXPECT_EQ(platform::openExistingForRead(dir.root().c_str(), platform::AccessHint::None),
            platform::kInvalidFile);
}

TEST(PlatformFile, SizesAndReads) {
  ScratchDir dir;
  std::string name = dir.write("x.bin", "hello world");
  platform::FileHandle file =
      platform::openExistingForRead(name.c_str(), platform::AccessHint::SequentialScan);
  ASSERT_NE(file, platform::kInvalidFile);
  EXPECT_EQ(platform::getFileSize(file), 11);
  EXPECT_EQ(platform::getFileSizeLow(file), 11u);
  char buffer[16] = {};
  std::uint32_t got = 0;
  ASSERT_TRUE(platform::readFile(file, buffer, 5, &got));
  EXPECT_EQ(got, 5u);
  EXPECT_EQ(std::string(buffer, 5), "hello");
  std::int32_t high = 0;
  EXPECT_EQ(platform::setFilePointer(file, 6, &high), 6u);
  ASSERT_TRUE(platform::readFile(file, buffer, 16, &got));
  EXPECT_EQ(std::string(buffer, got), "world");
  ASSERT_TRUE(platform::readFile(file, buffer, 16, &got));  // at the end
  EXPECT_EQ(got, 0u);
  platform::closeFile(file);
}

TEST(PlatformFile, SeekBeyondFourGiBReportsTheHighWord) {
  ScratchDir dir;
  std::string name = dir.writeSparse("big.bin", (std::int64_t{5} << 30), {});
  platform::FileHandle file =
      platform::openExistingForRead(name.c_str(), platform::AccessHint::None);
  ASSERT_NE(file, platform::kInvalidFile);
  EXPECT_EQ(platform::getFileSize(file), std::int64_t{5} << 30);
  EXPECT_EQ(platform::getFileSizeLow(file), 1u << 30);
  std::int32_t high = 1;
  EXPECT_EQ(platform::setFilePointer(file, 0x10, &high), 0x10u);
  EXPECT_EQ(high, 1);
  high = 0;
  EXPECT_EQ(platform::setFilePointer(file, -1, &high), platform::kInvalidSetFilePointer);
  EXPECT_EQ(high, 0);
  EXPECT_EQ(platform::lastError(), 0u);  // a success, though the word is all ones
  platform::closeFile(file);
}

#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/config_files.h"
#include "platform/process.h"
#include "support/stand_in.h"

using testing_support::StandIn;

namespace {

int writeCalls = 0;

// Takes three bytes, then nothing at all, as a device that is full without
// saying so may; after a hundred calls it fails, so that a writer that keeps
// asking ends instead of hanging the test.
std::ptrdiff_t takesThreeThenNothing(int descriptor, const void* bytes, std::size_t count) {
  ++writeCalls;
  if (writeCalls == 1) return ::write(descriptor, bytes, count < 3 ? count : 3);
  if (writeCalls > 100) {
    errno = EIO;
    return -1;
  }
  return 0;
}

// Fails as a status query may, leaving a folder's mode in the answer it did
// not fill.
int statusThatFails(int, struct ::stat* status) {
  status->st_mode = S_IFDIR;
  errno = EOVERFLOW;
  return -1;
}

}  // namespace

TEST(PlatformFile, WriteThatTakesNothingEndsWithTheCountWritten) {
  ScratchDir dir;
  std::string name = dir.path("out.bin");
  platform::FileHandle file = platform::openForWrite(name.c_str(), true);
  ASSERT_NE(file, platform::kInvalidFile);
  writeCalls = 0;
  std::uint32_t written = 99;
  bool done;
  {
    StandIn<platform::posix::WriteCall> standIn(platform::posix::writeCall, &takesThreeThenNothing);
    done = platform::writeFile(file, "abcdef", 6, &written);
  }
  EXPECT_TRUE(done);
  EXPECT_EQ(written, 3u);
  EXPECT_EQ(writeCalls, 2);
  platform::closeFile(file);
  EXPECT_EQ(testing_support::readWholeFile(name), "abc");
}

TEST(PlatformFile, ReplacedTextFileThatTakesNothingFailsAndKeepsTheOldText) {
  ScratchDir dir;
  std::string name = dir.path("hive.reg");
  ASSERT_TRUE(platform::replaceTextFile(name, "old text\n"));
  writeCalls = 0;
  bool replaced;
  {
    StandIn<platform::posix::WriteCall> standIn(platform::posix::writeCall, &takesThreeThenNothing);
    replaced = platform::replaceTextFile(name, "new text\n");
  }
  EXPECT_FALSE(replaced);
  EXPECT_EQ(writeCalls, 2);
  EXPECT_EQ(testing_support::readWholeFile(name), "old text\n");
}

TEST(PlatformFile, LogFileThatTakesNothingReportsTheLineUnwritten) {
  ScratchDir dir;
  std::string name = dir.path("debug.log");
  platform::LogFile log = platform::openLogFile(name.c_str());
  ASSERT_NE(log, platform::kNoLogFile);
  writeCalls = 0;
  bool written;
  {
    StandIn<platform::posix::WriteCall> standIn(platform::posix::writeCall, &takesThreeThenNothing);
    written = platform::writeLogFile(log, "a line\n", 7);
  }
  platform::closeLogFile(log);
  EXPECT_FALSE(written);
  EXPECT_EQ(writeCalls, 2);
  EXPECT_EQ(testing_support::readWholeFile(name), "a l");
}

TEST(PlatformFile, FailedStatusQueryRefusesTheFileWithItsOwnError) {
  ScratchDir dir;
  std::string name = dir.write("x.bin", "x");
  StandIn<platform::posix::StatusCall> standIn(platform::posix::statusCall, &statusThatFails);
  EXPECT_EQ(platform::openExistingForRead(name.c_str(), platform::AccessHint::None),
            platform::kInvalidFile);
  EXPECT_EQ(platform::lastError(), static_cast<std::uint32_t>(EOVERFLOW));
}
#endif
