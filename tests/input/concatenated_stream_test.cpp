#include "input/concatenated_stream.h"

#include <gtest/gtest.h>

#include "support/scratch.h"

using testing_support::patternByte;
using testing_support::ScratchDir;

namespace {

std::string pattern(unsigned seed, std::int64_t from, std::int64_t count) {
  std::string out;
  for (std::int64_t i = from; i < from + count; ++i) out.push_back(static_cast<char>(patternByte(seed, i)));
  return out;
}

class ConcatenatedStreamTest : public testing::Test {
 protected:
  ScratchDir dir;
  std::string first = dir.writePattern("VTS_01_1.VOB", 4096, 1);
  std::string second = dir.writePattern("VTS_01_2.VOB", 2048, 2);
};

}  // namespace

TEST_F(ConcatenatedStreamTest, LengthIsTheSumOfTheFiles) {
  ConcatenatedStream stream({first, second});
  EXPECT_EQ(stream.getLength(), 6144);
  EXPECT_EQ(stream.getPosition(), 0);
  ASSERT_EQ(stream.entries.size(), 2u);
  EXPECT_EQ(stream.entries[1].start, 4096);
  EXPECT_EQ(stream.entries[1].length, 2048);
  EXPECT_EQ(stream.entries[0].name, first);
}

TEST_F(ConcatenatedStreamTest, SeekSelectsTheFileThatHoldsThePosition) {
  ConcatenatedStream stream({first, second});
  EXPECT_EQ(stream.seek(5000), 1);
  EXPECT_EQ(stream.current, 1u);
  EXPECT_EQ(stream.entries[1].stream->tell(), 904);
  EXPECT_EQ(stream.getPosition(), 5000);
}

TEST_F(ConcatenatedStreamTest, ShortReadContinuesInTheNextFile) {
  ConcatenatedStream stream({first, second});
  stream.seek(3000);
  std::string bytes(2000, '\0');
  EXPECT_EQ(stream.read(bytes.data(), 2000), 2000);
  EXPECT_EQ(bytes, pattern(1, 3000, 1096) + pattern(2, 0, 904));
  EXPECT_EQ(stream.getPosition(), 5000);
}

TEST_F(ConcatenatedStreamTest, SeekBeyondTheEndLeavesNothingToRead) {
  ConcatenatedStream stream({first, second});
  stream.seek(100);
  EXPECT_EQ(stream.seek(6144), 1);
  EXPECT_EQ(stream.getPosition(), 100);
  char one;
  EXPECT_EQ(stream.read(&one, 1), 0);
  EXPECT_EQ(stream.seek(1 << 30), 1);
  EXPECT_EQ(stream.read(&one, 1), 0);
}

TEST_F(ConcatenatedStreamTest, ReadToTheEndThenNothing) {
  ConcatenatedStream stream({first, second});
  std::string bytes(8000, '\0');
  EXPECT_EQ(stream.read(bytes.data(), 8000), 6144);
  EXPECT_TRUE(stream.isEnd());
  EXPECT_EQ(stream.read(bytes.data(), 10), 0);
}

TEST_F(ConcatenatedStreamTest, MissingFileCountsAsEmpty) {
  ConcatenatedStream stream({first, dir.path("VTS_01_9.VOB"), second, ""});
  EXPECT_EQ(stream.getLength(), 6144);
  EXPECT_EQ(stream.entries[1].length, 0);
  stream.seek(4090);
  std::string bytes(12, '\0');
  EXPECT_EQ(stream.read(bytes.data(), 12), 12);
  EXPECT_EQ(bytes, pattern(1, 4090, 6) + pattern(2, 0, 6));
}

TEST_F(ConcatenatedStreamTest, NextFileIsReadFromItsOwnPointer) {
  // Only seek positions a file: reading on into a file that was read before
  // goes on from where that file stands.
  ConcatenatedStream stream({first, second});
  stream.seek(4096 + 100);  // leaves the second file's pointer at 100
  stream.seek(4090);
  std::string bytes(10, '\0');
  EXPECT_EQ(stream.read(bytes.data(), 10), 10);
  EXPECT_EQ(bytes, pattern(1, 4090, 6) + pattern(2, 100, 4));
}

TEST_F(ConcatenatedStreamTest, ReadAfterCloseAllGivesNothing) {
  ConcatenatedStream stream({first, second});
  stream.closeAll();
  char one;
  EXPECT_EQ(stream.read(&one, 1), 0);
  for (const auto& entry : stream.entries) EXPECT_EQ(entry.stream, nullptr);
}

TEST(ConcatenatedStream, NoFilesIsAnEmptyRange) {
  ConcatenatedStream stream({});
  EXPECT_EQ(stream.getLength(), 0);
  EXPECT_TRUE(stream.isEnd());
  char one;
  EXPECT_EQ(stream.read(&one, 1), 0);
  EXPECT_EQ(stream.seek(0), 1);
}
