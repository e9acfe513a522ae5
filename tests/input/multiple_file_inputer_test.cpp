#include "input/multiple_file_inputer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "input/inputer_fixture.h"
#include "platform/io_buffer.h"
#include "support/stand_in.h"

#ifndef _WIN32
#include <unistd.h>
#endif

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::InputerTest;
using testing_support::Message;
using testing_support::StandIn;

namespace {

class MultipleFileInputerTest : public InputerTest {
 protected:
  void openOn(const std::vector<std::int64_t>& lengths) {
    makeList(lengths);
    ASSERT_EQ(inputer.open(&list), S_OK);
    ASSERT_THAT(recorder.messages(), IsEmpty());
  }
  MultipleFileInputer inputer;
};

Message seekMessage(const char* text) { return {text, "MultipleFileInputer::seek"}; }

// An allocator that has no memory left, and the size it was asked for.
std::size_t bytesAskedFor = 0;
void* noMemory(std::size_t bytes) {
  bytesAskedFor = bytes;
  return nullptr;
}

}  // namespace

TEST(MultipleFileInputer, NewInputerIsClosed) {
  MultipleFileInputer inputer;
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_EQ(inputer.totalLength, 0);
  EXPECT_EQ(inputer.position, 0);
  EXPECT_EQ(inputer.fileIndex, 0);
  EXPECT_EQ(inputer.list, nullptr);
  EXPECT_EQ(inputer.handles, nullptr);
  EXPECT_EQ(inputer.filePosition, 0);
  EXPECT_EQ(inputer.fileLength, 0);
  EXPECT_EQ(inputer.currentHandle, platform::kInvalidFile);
  EXPECT_EQ(MultipleFileInputer::readChunk, 16384);
}

TEST_F(MultipleFileInputerTest, OpenStandsAtTheStartOfTheFirstFile) {
  openOn({10, 20});
  EXPECT_TRUE(inputer.isOpen);
  EXPECT_EQ(inputer.totalLength, 30);
  EXPECT_EQ(inputer.position, 0);
  EXPECT_EQ(inputer.fileIndex, 0);
  EXPECT_EQ(inputer.fileLength, 10);
  EXPECT_EQ(inputer.currentHandle, inputer.handles[0]);
  EXPECT_EQ(inputer.list, &list);
}

TEST_F(MultipleFileInputerTest, ReadAcrossAFileEnd) {
  openOn({10, 20});
  EXPECT_EQ(read(inputer, 25), expected.substr(0, 25));
  EXPECT_EQ(inputer.position, 25);
  EXPECT_EQ(inputer.fileIndex, 1);
  EXPECT_EQ(inputer.filePosition, 15);
}

TEST_F(MultipleFileInputerTest, SeekLandsInTheRightFile) {
  openOn({10, 20});
  EXPECT_EQ(inputer.seek(10), 0);
  EXPECT_EQ(inputer.fileIndex, 1);
  EXPECT_EQ(inputer.filePosition, 0);
  EXPECT_EQ(inputer.seek(12), 2);
  EXPECT_EQ(inputer.filePosition, 2);
  EXPECT_EQ(inputer.seek(12), 0);  // already there
  EXPECT_EQ(read(inputer, 5), expected.substr(12, 5));
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, SeekToTheSamePositionDoesNotTouchTheFile) {
  openOn({10, 20});
  ASSERT_EQ(inputer.seek(12), 2);
  // Move the file pointer behind the inputer's back: an unchanged position
  // must leave it where it is.
  std::int32_t high = 0;
  platform::setFilePointer(inputer.currentHandle, 7, &high);
  EXPECT_EQ(inputer.seek(12), 0);
  EXPECT_EQ(read(inputer, 3), expected.substr(17, 3));
}

TEST_F(MultipleFileInputerTest, SeekToTotalLengthIsOutOfBounds) {
  openOn({10, 20});
  EXPECT_EQ(inputer.seek(30), -1);
  EXPECT_THAT(recorder.messages(), ElementsAre(seekMessage("position out of bounds")));
  EXPECT_EQ(inputer.position, 0);
}

TEST_F(MultipleFileInputerTest, SeekToANegativePositionIsOutOfBounds) {
  openOn({10, 20});
  EXPECT_EQ(inputer.seek(-1), -1);
  EXPECT_THAT(recorder.messages(), ElementsAre(seekMessage("position out of bounds")));
}

TEST_F(MultipleFileInputerTest, SeekToTheLastByte) {
  openOn({10, 20});
  EXPECT_EQ(inputer.seek(29), 19);
  EXPECT_EQ(read(inputer, 1), expected.substr(29, 1));
}

TEST_F(MultipleFileInputerTest, ReadingOneByteTooManyIsRefused) {
  openOn({10, 20});
  EXPECT_EQ(inputer.readBlock(std::string(31, '\0').data(), 31), 0);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"asked to read to many bytes", "MultipleFileInputer::readBlock"}));
  EXPECT_EQ(inputer.position, 0);
  recorder.clear();
  EXPECT_EQ(read(inputer, 30), expected);
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, ReadOfZeroBytesReturnsZeroSilently) {
  openOn({10, 20});
  char one = 0;
  EXPECT_EQ(inputer.readBlock(&one, 0), 0);
  EXPECT_EQ(inputer.readBlock(&one, -5), 0);
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, EmptyFileIsSteppedOverBySeek) {
  openOn({10, 0, 20});
  EXPECT_EQ(inputer.seek(10), 0);
  EXPECT_EQ(inputer.fileIndex, 2);
  EXPECT_EQ(read(inputer, 4), expected.substr(10, 4));
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, ReadIntoAnEmptyFileFails) {
  openOn({10, 0, 20});
  EXPECT_EQ(inputer.readBlock(std::string(15, '\0').data(), 15), 0);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"position out of bounds",
                                  "MultipleFileInputer::seekFileAndPosition"}));
}

TEST_F(MultipleFileInputerTest, EmptyFirstFileIsSteppedIntoByRead) {
  openOn({0, 20});
  EXPECT_EQ(inputer.fileLength, 0);
  EXPECT_EQ(read(inputer, 20), expected);
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, MissingFileFailsTheOpen) {
  makeList({10, -1, 20});
  EXPECT_EQ(inputer.open(&list), E_FAIL);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"Failed to open file " + names[1], "MultipleFileReader"}));
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_EQ(inputer.handles, nullptr);
  EXPECT_EQ(inputer.list, nullptr);
}

TEST_F(MultipleFileInputerTest, FailedOpenReleasesEveryHandle) {
  makeList({10, 20, -1});
  EXPECT_EQ(inputer.open(&list), E_FAIL);
  EXPECT_FALSE(testing_support::isHeldOpen(names[0]));
  EXPECT_FALSE(testing_support::isHeldOpen(names[1]));
}

TEST_F(MultipleFileInputerTest, OpenHoldsEveryFileUntilClose) {
  openOn({10, 20});
  EXPECT_TRUE(testing_support::isHeldOpen(names[0]));
  EXPECT_TRUE(testing_support::isHeldOpen(names[1]));
  inputer.close();
  EXPECT_FALSE(testing_support::isHeldOpen(names[0]));
  EXPECT_FALSE(testing_support::isHeldOpen(names[1]));
}

TEST_F(MultipleFileInputerTest, LongMissingNameIsCutInTheMessage) {
  std::string name = dir.path(std::string(400, 'm') + ".mpg");
  list.load(dir.write("long.lst", name + "\n").c_str());
  ASSERT_EQ(list.count, 1);
  EXPECT_EQ(inputer.open(&list), E_FAIL);
  ASSERT_EQ(recorder.messages().size(), 1u);
  EXPECT_EQ(recorder.messages()[0].text, ("Failed to open file " + name).substr(0, 299));
}

TEST_F(MultipleFileInputerTest, OpenOfAnEmptyListFailsWithoutMessage) {
  EXPECT_EQ(inputer.open(&list), E_FAIL);
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_EQ(inputer.open(nullptr), E_FAIL);
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, ClosedInputerRefusesSeekAndRead) {
  char one = 0;
  EXPECT_EQ(inputer.seek(0), -1);
  EXPECT_EQ(inputer.readBlock(&one, 1), 0);
  EXPECT_EQ(inputer.readBlock(&one, 0), 0);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(seekMessage("position out of bounds"),
                          Message{"asked to read to many bytes", "MultipleFileInputer::readBlock"},
                          Message{"file is not open", "MultipleFileInputer - Error"}));
}

TEST_F(MultipleFileInputerTest, CloseIsSafeTwiceAndResetsEverything) {
  openOn({10, 20});
  read(inputer, 15);
  inputer.close();
  inputer.close();
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_EQ(inputer.totalLength, 0);
  EXPECT_EQ(inputer.position, 0);
  EXPECT_EQ(inputer.fileIndex, 0);
  EXPECT_EQ(inputer.list, nullptr);
  EXPECT_EQ(inputer.handles, nullptr);
  EXPECT_EQ(inputer.currentHandle, platform::kInvalidFile);
}

TEST_F(MultipleFileInputerTest, ReopenStartsAgainAtZero) {
  openOn({10, 20});
  read(inputer, 25);
  ASSERT_EQ(inputer.open(&list), S_OK);
  EXPECT_EQ(inputer.position, 0);
  EXPECT_EQ(read(inputer, 30), expected);
}

TEST_F(MultipleFileInputerTest, SeekFileAndPositionChecksItsArguments) {
  openOn({10, 20});
  EXPECT_EQ(inputer.seekFileAndPosition(-1, 0), -1);
  EXPECT_EQ(inputer.seekFileAndPosition(2, 0), -1);
  EXPECT_EQ(inputer.seekFileAndPosition(1, 20), -1);
  EXPECT_EQ(inputer.seekFileAndPosition(1, -1), -1);
  const char* caption = "MultipleFileInputer::seekFileAndPosition";
  EXPECT_THAT(recorder.messages(), ElementsAre(Message{"fileIndex out of bounds", caption},
                                               Message{"fileIndex out of bounds", caption},
                                               Message{"position out of bounds", caption},
                                               Message{"position out of bounds", caption}));
}

TEST_F(MultipleFileInputerTest, SeekFileAndPositionKeepsTheJoinedPosition) {
  openOn({10, 20});
  EXPECT_EQ(inputer.seekFileAndPosition(1, 7), 7);
  EXPECT_EQ(inputer.fileIndex, 1);
  EXPECT_EQ(inputer.filePosition, 7);
  EXPECT_EQ(inputer.fileLength, 20);
  EXPECT_EQ(inputer.position, 0);
}

TEST_F(MultipleFileInputerTest, ReadsOfEverySizeMatchTheJoinedFiles) {
  // Lengths around the read chunk, so reads cross file ends inside and at
  // the edge of a chunk.
  openOn({16383, 1, 16385, 40000, 7});
  for (std::int64_t step : {1, 7, 4096, 16383, 16384, 16385, 65536}) {
    SCOPED_TRACE(step);
    ASSERT_EQ(inputer.open(&list), S_OK);
    std::string joined;
    while (static_cast<std::int64_t>(joined.size()) < inputer.totalLength) {
      std::int64_t left = inputer.totalLength - static_cast<std::int64_t>(joined.size());
      std::string piece = read(inputer, step < left ? step : left);
      ASSERT_FALSE(piece.empty());
      joined += piece;
    }
    EXPECT_EQ(joined, expected);
  }
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, SeekThenReadEverywhere) {
  openOn({100, 3, 250});
  for (std::int64_t at = 0; at < 353; at += 13) {
    SCOPED_TRACE(at);
    inputer.seek(at);
    std::int64_t n = 353 - at < 40 ? 353 - at : 40;
    EXPECT_EQ(read(inputer, n), expected.substr(static_cast<std::size_t>(at), static_cast<std::size_t>(n)));
  }
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, FileThatShrankEndsTheReadWithWhatWasRead) {
  makeList({10, 20});
  // The list recorded 20 bytes; the file now holds 5.
  dir.writePattern("f1.bin", 5, 1);
  ASSERT_EQ(inputer.open(&list), S_OK);
  std::string got = read(inputer, 30);
  EXPECT_EQ(got, expected.substr(0, 15));
  EXPECT_EQ(inputer.position, 15);
}

TEST_F(MultipleFileInputerTest, LastFileThatShrankEndsTheReadToo) {
  makeList({10});
  dir.writePattern("f0.bin", 0, 0);
  ASSERT_EQ(inputer.open(&list), S_OK);
  EXPECT_EQ(read(inputer, 10), "");
}

TEST_F(MultipleFileInputerTest, ListWithoutLengthsFailsSafely) {
  // A hand-made list without recorded lengths: every file counts as empty.
  openOn({10});
  std::int64_t* sizes = list.sizes;
  list.sizes = nullptr;
  ASSERT_EQ(inputer.open(&list), S_OK);
  EXPECT_EQ(inputer.fileLength, 0);
  EXPECT_EQ(inputer.seek(5), -1);
  EXPECT_EQ(inputer.seekFileAndPosition(0, 0), -1);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(seekMessage("file index beyond end"),
                          Message{"position out of bounds",
                                  "MultipleFileInputer::seekFileAndPosition"}));
  list.sizes = sizes;
}

TEST_F(MultipleFileInputerTest, FailedSeekKeepsTheNewJoinedPosition) {
  openOn({10, 20});
  // Lie about the total so that the walk runs past the last file.
  inputer.totalLength = 40;
  EXPECT_EQ(inputer.seek(35), -1);
  EXPECT_THAT(recorder.messages(), ElementsAre(seekMessage("file index beyond end")));
  EXPECT_EQ(inputer.position, 35);
  EXPECT_EQ(inputer.fileIndex, 0);
}

TEST_F(MultipleFileInputerTest, SeekFileAndPositionOnAClosedInputerIsRefused) {
  EXPECT_EQ(inputer.seekFileAndPosition(0, 0), -1);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"fileIndex out of bounds",
                                  "MultipleFileInputer::seekFileAndPosition"}));
}

TEST_F(MultipleFileInputerTest, NameWithoutCopyFailsTheOpenWithAMessage) {
  // An entry whose copy could not be allocated is null in the list.
  makeList({10});
  char* name = list.names[0];
  list.names[0] = nullptr;
  EXPECT_EQ(inputer.open(&list), E_FAIL);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"Failed to open file (null)", "MultipleFileReader"}));
  list.names[0] = name;
}

// The filter reloads its list in place before it reopens the inputer, so the
// inputer may be closed while the list names more or fewer files than it
// opened. It must close exactly the handles it opened.
TEST_F(MultipleFileInputerTest, ListThatGrewBeforeCloseClosesOnlyTheHandlesItOpened) {
  openOn({10, 20});
  std::string sentinelName = dir.writePattern("sentinel.bin", 64, 9);
  platform::FileHandle sentinel =
      platform::openExistingForRead(sentinelName.c_str(), platform::AccessHint::None);
  ASSERT_NE(sentinel, platform::kInvalidFile);
  std::string grown;
  for (int i = 0; i < 6; ++i) grown += names[static_cast<std::size_t>(i % 2)] + "\n";
  list.load(dir.write("list.lst", grown).c_str());
  ASSERT_EQ(list.count, 6);

  inputer.close();
  EXPECT_FALSE(testing_support::isHeldOpen(names[0]));
  EXPECT_FALSE(testing_support::isHeldOpen(names[1]));
  char first = 0;
  std::uint32_t got = 0;
  EXPECT_TRUE(platform::readFile(sentinel, &first, 1, &got));
  EXPECT_EQ(got, 1u);
  EXPECT_EQ(static_cast<unsigned char>(first), testing_support::patternByte(9, 0));
  platform::closeFile(sentinel);
}

TEST_F(MultipleFileInputerTest, ListThatShrankBeforeCloseStillClosesEveryHandle) {
  openOn({10, 20, 30});
  list.load(dir.write("list.lst", names[0] + "\n").c_str());
  ASSERT_EQ(list.count, 1);
  inputer.close();
  for (const std::string& name : names) EXPECT_FALSE(testing_support::isHeldOpen(name)) << name;
  EXPECT_EQ(inputer.handles, nullptr);
  EXPECT_EQ(inputer.handleCount, 0);
}

TEST_F(MultipleFileInputerTest, EntryAddedByAReloadHasNoHandleToSeekInto) {
  openOn({10, 20});
  std::string third = dir.writePattern("third.bin", 30, 3);
  list.load(dir.write("list.lst", names[0] + "\n" + names[1] + "\n" + third + "\n").c_str());
  ASSERT_EQ(list.count, 3);
  EXPECT_EQ(inputer.seekFileAndPosition(2, 0), -1);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"fileIndex out of bounds", "MultipleFileInputer::seekFileAndPosition"}));
  EXPECT_EQ(inputer.fileIndex, 0);
}

TEST_F(MultipleFileInputerTest, MiddleFileThatShrankEndsTheReadBeforeTheNextFile) {
  makeList({10, 20, 30});
  // The list recorded 20 bytes for the middle file; it now holds 5. The
  // read ends there: stepping on into the third file would hand out its
  // bytes at the joined positions of the missing ones.
  dir.writePattern("f1.bin", 5, 1);
  ASSERT_EQ(inputer.open(&list), S_OK);
  EXPECT_EQ(read(inputer, 60), expected.substr(0, 15));
  EXPECT_EQ(inputer.position, 15);
  EXPECT_EQ(inputer.fileIndex, 1);
  EXPECT_THAT(recorder.messages(), IsEmpty());
  // The third file is still there at its recorded place.
  EXPECT_EQ(inputer.seek(30), 0);
  EXPECT_EQ(read(inputer, 30), expected.substr(30));
}

TEST_F(MultipleFileInputerTest, NoMemoryForTheHandlesFailsTheOpenWithAMessage) {
  makeList({10, 20});
  bytesAskedFor = 0;
  {
    StandIn<JoinedFileInputer::HandleAllocator> standIn(JoinedFileInputer::allocateHandles,
                                                        &noMemory);
    EXPECT_EQ(inputer.open(&list), E_FAIL);
  }
  EXPECT_EQ(bytesAskedFor, 2 * sizeof(platform::FileHandle));
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"Could not get memory for list of file handles.",
                                  "MultipleFileInputer::open"}));
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_EQ(inputer.list, nullptr);
  EXPECT_EQ(inputer.totalLength, 0);
  EXPECT_EQ(inputer.handles, nullptr);
  EXPECT_FALSE(testing_support::isHeldOpen(names[0]));
  recorder.clear();
  EXPECT_EQ(inputer.open(&list), S_OK);
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(MultipleFileInputerTest, SmallMediaFileNamedAsTheListFailsTheOpenOnItsFirstBytes) {
  // A subpicture unit of 290 bytes is read as a list. It begins with its
  // size (0x0122) and the offset of its control sequence (0x0104), and its
  // first NUL ends the text after those four bytes: one name, which no file
  // bears.
  list.load((std::string(FENNORIA_SAMPLES_DIR) + "/dvd/refs/vts.1.pgc.1.0x20.sub").c_str());
  ASSERT_EQ(list.count, 1);
  EXPECT_EQ(inputer.open(&list), E_FAIL);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"Failed to open file \x01\x22\x01\x04", "MultipleFileReader"}));
  EXPECT_FALSE(inputer.isOpen);
}

#ifndef _WIN32
namespace {
std::vector<std::size_t> readsAskedFor;
std::ptrdiff_t noteRead(int descriptor, void* bytes, std::size_t count) {
  readsAskedFor.push_back(count);
  return ::read(descriptor, bytes, count);
}
}  // namespace

TEST_F(MultipleFileInputerTest, ReadBlockAsksTheSystemForAtMostOneChunkAtATime) {
  // One call across three files: the long first file is read in chunks, and
  // every file end cuts the piece that reaches it. (Into page-aligned
  // memory, where every file starts far from its place within a page, as
  // reads into a string may not.)
  openOn({40000, 10, 16384});
  readsAskedFor.clear();
  platform::IoBuffer buffer(56394);
  std::int64_t got = 0;
  {
    StandIn<platform::posix::ReadCall> standIn(platform::posix::readCall, &noteRead);
    got = inputer.readBlock(buffer.data(), 56394);
  }
  ASSERT_EQ(got, 56394);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.data()), 56394), expected);
  EXPECT_THAT(readsAskedFor, ElementsAre(16384u, 16384u, 7232u, 10u, 16384u));
}
#endif
