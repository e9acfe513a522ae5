#include "demux/stream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/scratch.h"

using testing_support::ScratchDir;

TEST(IFileStream, MissingFileBehavesAsAtItsEnd) {
  ScratchDir dir;
  mpdx::IFileStream stream(dir.path("missing.vob").c_str());
  EXPECT_TRUE(stream.isEnd());
  EXPECT_EQ(stream.getLength(), 0);
  EXPECT_EQ(stream.tell(), -1);
  char buffer[8];
  EXPECT_EQ(stream.read(buffer, sizeof buffer), 0);
  EXPECT_EQ(stream.seek(0), 1);
  EXPECT_EQ(stream.close(), 1);
}

TEST(IFileStream, WholeFileReadIsAtItsEndUntilSeekToZero) {
  ScratchDir dir;
  std::string name = dir.writePattern("a.vob", 5000, 4);
  mpdx::IFileStream stream(name.c_str());
  EXPECT_FALSE(stream.isEnd());
  EXPECT_EQ(stream.getLength(), 5000);
  std::string bytes(6000, '\0');
  EXPECT_EQ(stream.read(bytes.data(), 6000), 5000);
  EXPECT_TRUE(stream.isEnd());
  EXPECT_EQ(stream.tell(), 5000);
  EXPECT_EQ(stream.seek(0), 0);
  EXPECT_FALSE(stream.isEnd());
  EXPECT_EQ(stream.tell(), 0);
  EXPECT_EQ(bytes.substr(0, 5000), testing_support::readWholeFile(name));
}

TEST(IFileStream, EmptyFileIsAtItsEndAtOnce) {
  ScratchDir dir;
  mpdx::IFileStream stream(dir.write("empty.vob", "").c_str());
  EXPECT_TRUE(stream.isEnd());
  EXPECT_EQ(stream.getLength(), 0);
  EXPECT_EQ(stream.tell(), 0);
}

TEST(IFileStream, SeekMovesFromTheStart) {
  ScratchDir dir;
  mpdx::IFileStream stream(dir.write("s.vob", "0123456789").c_str());
  char two[2];
  stream.read(two, 2);
  EXPECT_EQ(stream.seek(7), 0);
  EXPECT_EQ(stream.tell(), 7);
  EXPECT_EQ(stream.read(two, 2), 2);
  EXPECT_EQ(std::string(two, 2), "78");
}

TEST(IFileStream, CloseTwiceIsHarmless) {
  ScratchDir dir;
  mpdx::IFileStream stream(dir.write("c.vob", "abc").c_str());
  EXPECT_NE(stream.close(), 0);
  EXPECT_EQ(stream.close(), 1);
  EXPECT_TRUE(stream.isEnd());
  EXPECT_EQ(stream.tell(), -1);
}

TEST(IFileStream, FolderDoesNotOpen) {
  ScratchDir dir;
  mpdx::IFileStream stream(dir.root().c_str());
  EXPECT_TRUE(stream.isEnd());
  EXPECT_EQ(stream.getLength(), 0);
}

TEST(IFileStream, LengthAndPositionBeyondFourGiB) {
  ScratchDir dir;
  std::int64_t size = (std::int64_t{4} << 30) + 4096;
  mpdx::IFileStream stream(dir.writeSparse("big.vob", size, {{size - 4, "tail"}}).c_str());
  EXPECT_EQ(stream.getLength(), size);
  EXPECT_EQ(stream.seek(size - 4), 0);
  EXPECT_EQ(stream.tell(), size - 4);
  char tail[4];
  EXPECT_EQ(stream.read(tail, 4), 4);
  EXPECT_EQ(std::string(tail, 4), "tail");
  EXPECT_TRUE(stream.isEnd());
}

TEST(Stream, BaseDefaults) {
  struct Bytes : mpdx::Stream {
    std::int32_t read(void*, std::uint32_t) override { return 0; }
  } stream;
  EXPECT_FALSE(stream.isEnd());
  EXPECT_EQ(stream.close(), 0);
}

namespace {
std::vector<std::pair<int, std::string>> received;
void record(int level, const char* text) { received.emplace_back(level, text); }
}  // namespace

TEST(LogCallback, EmitHandsTheTextToTheSinkAndEmptiesIt) {
  received.clear();
  mpdx::LogCallback log(record);
  std::ostream& out = log;
  out << "startblock " << 12 << ", endblock " << 30;
  mpdx::emit(out, 2);
  out << "Videomanager";
  mpdx::emit(out);
  ASSERT_EQ(received.size(), 2u);
  EXPECT_EQ(received[0], std::make_pair(2, std::string("startblock 12, endblock 30")));
  EXPECT_EQ(received[1], std::make_pair(3, std::string("Videomanager")));
  EXPECT_EQ(log.str(), "");
}

TEST(LogCallback, EmptyTextIsNotEmitted) {
  received.clear();
  mpdx::LogCallback log(record);
  mpdx::emit(log, 1);
  EXPECT_TRUE(received.empty());
}

TEST(LogCallback, WithoutSinkTheTextStays) {
  mpdx::LogCallback log(nullptr);
  log << "kept";
  mpdx::emit(log, 0);
  EXPECT_EQ(log.str(), "kept");
}

TEST(LogCallback, OtherStreamsKeepTheirText) {
  std::ostringstream plain;
  plain << "stays";
  mpdx::emit(plain, 0);
  EXPECT_EQ(plain.str(), "stays");
}

TEST(LogCallback, PendingTextIsDroppedAtDestruction) {
  received.clear();
  {
    mpdx::LogCallback log(record);
    log << "never sent";
  }
  EXPECT_TRUE(received.empty());
}

TEST(LogCallback, EachSinkReportsToTheContextItCarries) {
  std::vector<std::string> first, second;
  mpdx::LogCallback a([&first](int, const char* text) { first.emplace_back(text); });
  mpdx::LogCallback b([&second](int, const char* text) { second.emplace_back(text); });
  a << "to the first";
  b << "to the second";
  mpdx::emit(a, 1);
  mpdx::emit(b, 1);
  EXPECT_EQ(first, std::vector<std::string>{"to the first"});
  EXPECT_EQ(second, std::vector<std::string>{"to the second"});
}
