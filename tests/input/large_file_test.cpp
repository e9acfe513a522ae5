// Positions and lengths beyond 4 GiB, on sparse files that take no disk
// space but where their marks are written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "input/file_list.h"
#include "input/multiple_file_inputer.h"
#include "support/scratch.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::MessageRecorder;
using testing_support::ScratchDir;

namespace {

constexpr std::int64_t GiB = std::int64_t{1} << 30;
constexpr std::int64_t kThreeGiB = 3 * GiB;

std::string readAt(MultipleFileInputer& inputer, std::int64_t at, std::int64_t count) {
  inputer.seek(at);
  std::string buffer(static_cast<std::size_t>(count), '?');
  buffer.resize(static_cast<std::size_t>(inputer.readBlock(buffer.data(), count)));
  return buffer;
}

class LargeFiles : public testing::Test {
 protected:
  void SetUp() override {
    first = dir.writeSparse("first.vob", kThreeGiB,
                            {{0, "FIRST-START"},
                             {2 * GiB + 5, "past-2GiB"},
                             {kThreeGiB - 6, "F-END!"}});
    second = dir.writeSparse("second.vob", kThreeGiB,
                             {{0, "SECOND"},
                              {GiB - 4, "4GiB"},
                              {GiB, "mark"},
                              {kThreeGiB - 4, "LAST"}});
    list.load(dir.write("big.lst", first + "\n" + second + "\n").c_str());
  }

  ScratchDir dir;
  std::string first, second;
  FileList list;
  MessageRecorder recorder;
};

}  // namespace

TEST_F(LargeFiles, TwoFilesOfThreeGiBMakeSixGiB) {
  EXPECT_THAT(std::vector<std::int64_t>(list.sizes, list.sizes + 2),
              ElementsAre(kThreeGiB, kThreeGiB));
  EXPECT_EQ(list.totalLength, 6 * GiB);
}

TEST_F(LargeFiles, ReadAcrossTheFirstFileEnd) {
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  EXPECT_EQ(inputer.totalLength, 6 * GiB);
  EXPECT_EQ(readAt(inputer, kThreeGiB - 6, 12), "F-END!SECOND");
  EXPECT_EQ(inputer.fileIndex, 1);
  EXPECT_EQ(inputer.position, kThreeGiB + 6);
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(LargeFiles, SeekAndReadAcrossTheFourGiBMark) {
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  // Joined byte 4 GiB is byte 1 GiB of the second file.
  EXPECT_EQ(inputer.seek(4 * GiB - 4), GiB - 4);
  std::string bytes(8, '\0');
  EXPECT_EQ(inputer.readBlock(bytes.data(), 8), 8);
  EXPECT_EQ(bytes, "4GiBmark");
  EXPECT_EQ(inputer.position, 4 * GiB + 4);
  EXPECT_EQ(readAt(inputer, 6 * GiB - 4, 4), "LAST");
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(LargeFiles, SeekNarrowsOffsetsOfTwoGiBAndMore) {
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  // The offset inside the file comes back as its low 32 bits, sign-extended.
  std::int64_t offset = 2 * GiB + 5;
  EXPECT_EQ(inputer.seek(offset), static_cast<std::int32_t>(static_cast<std::uint32_t>(offset)));
  EXPECT_LT(inputer.seek(offset + 1), 0);
  EXPECT_EQ(inputer.filePosition, offset + 1);
  std::string bytes(8, '\0');
  EXPECT_EQ(inputer.readBlock(bytes.data(), 8), 8);
  EXPECT_EQ(bytes, "ast-2GiB");
}

TEST_F(LargeFiles, ReadTheWholeJoinedStreamInLargeRequests) {
  // Reads the last 40 MiB of the first file and the first 40 MiB of the
  // second in one request each way across the file end.
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  std::int64_t span = 80 << 20;
  inputer.seek(kThreeGiB - span / 2);
  std::string bytes(static_cast<std::size_t>(span), '?');
  ASSERT_EQ(inputer.readBlock(bytes.data(), span), span);
  EXPECT_EQ(bytes.substr(static_cast<std::size_t>(span / 2 - 6), 12), "F-END!SECOND");
  EXPECT_EQ(inputer.position, kThreeGiB + span / 2);
}

TEST(LargeFile, FileAbove4GiBNamedDirectlyKeepsItsFullLength) {
  ScratchDir dir;
  std::int64_t size = 5 * GiB;
  std::string name = dir.writeSparse("five.vob", size, {{4 * GiB + 1, "deep"}});
  FileList list;
  list.load(name.c_str());
  ASSERT_EQ(list.count, 1);
  EXPECT_EQ(list.sizes[0], size);
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  EXPECT_EQ(inputer.seekFileAndPosition(0, 4 * GiB + 1), 4 * GiB + 1);
  EXPECT_EQ(readAt(inputer, 4 * GiB + 1, 4), "deep");
}

TEST(LargeFile, LastByteBeforeFourGiBIsSeekable) {
  // The file pointer's low word is all ones there, which is also the failure
  // value of the 32-bit seek call.
  ScratchDir dir;
  MessageRecorder recorder;
  std::string name = dir.writeSparse("edge.vob", 4 * GiB + 16, {{4 * GiB - 1, "XY"}});
  FileList list;
  list.load(dir.write("edge.lst", name + "\n").c_str());
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  EXPECT_EQ(inputer.seekFileAndPosition(0, 4 * GiB - 1), 4 * GiB - 1);
  EXPECT_EQ(readAt(inputer, 4 * GiB - 1, 2), "XY");
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST(LargeFile, SizeIsJudgedByItsLow32BitsWhenNamedDirectly) {
  // A file of 4 GiB + 3 bytes looks like a 3-byte file, too short to be a
  // list: the load gives an empty list.
  ScratchDir dir;
  FileList list;
  list.load(dir.writeSparse("odd.vob", 4 * GiB + 3, {{0, "abc"}}).c_str());
  EXPECT_EQ(list.count, 0);

  // 4 GiB + 1000 bytes reads as a 1000-byte list whose text is the file's
  // start.
  std::string target = dir.writePattern("t.bin", 9, 0);
  std::string head = target + "\n";
  head.resize(1000, '\n');
  list.load(dir.writeSparse("list-like.vob", 4 * GiB + 1000, {{0, head}}).c_str());
  ASSERT_EQ(list.count, 1);
  EXPECT_EQ(std::string(list.names[0]), target);
  EXPECT_EQ(list.totalLength, 9);
}
