#include "input/dvd_inputer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "input/inputer_fixture.h"
#include "support/stand_in.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::InputerTest;
using testing_support::Message;
using testing_support::StandIn;

namespace {
class DvdInputerTest : public InputerTest {
 protected:
  DvdInputer inputer;
};
}  // namespace

TEST_F(DvdInputerTest, ReadsTheJoinedFiles) {
  makeList({10, 20});
  inputer.open(&list);
  ASSERT_TRUE(inputer.isOpen);
  EXPECT_EQ(read(inputer, 25), expected.substr(0, 25));
  EXPECT_EQ(inputer.seek(12), 2);
  EXPECT_EQ(read(inputer, 18), expected.substr(12));
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(DvdInputerTest, MissingFileHasItsOwnMessage) {
  makeList({10, -1});
  inputer.open(&list);
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"Failed to open a file in the list.", "DvdInputer::open"}));
}

TEST_F(DvdInputerTest, MessagesNameTheDvdInputer) {
  makeList({10, 0, 20});
  char buffer[64];
  EXPECT_EQ(inputer.readBlock(buffer, 1), 0);
  EXPECT_EQ(inputer.readBlock(buffer, 0), 0);
  EXPECT_EQ(inputer.seek(0), -1);
  inputer.open(&list);
  ASSERT_TRUE(inputer.isOpen);
  EXPECT_EQ(inputer.seek(30), -1);
  EXPECT_EQ(inputer.seekFileAndPosition(3, 0), -1);
  EXPECT_EQ(inputer.readBlock(buffer, 31), 0);
  EXPECT_EQ(inputer.readBlock(buffer, 15), 0);  // runs into the empty file
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"asked to read to many bytes", "DvdInputer::readBlock"},
                          Message{"file is not open", "DvdInputer - Error"},
                          Message{"position out of bounds", "DvdInputer::seek"},
                          Message{"position out of bounds", "DvdInputer::seek"},
                          Message{"fileIndex out of bounds", "DvdInputer::seekFileAndPosition"},
                          Message{"asked to read to many bytes", "DvdInputer::readBlock"},
                          Message{"position out of bounds", "DvdInputer::seekFileAndPosition"}));
}

TEST_F(DvdInputerTest, ListWithoutLengthsFailsSafely) {
  makeList({10});
  std::int64_t* sizes = list.sizes;
  list.sizes = nullptr;
  inputer.open(&list);
  ASSERT_TRUE(inputer.isOpen);
  EXPECT_EQ(inputer.fileLength, 0);
  EXPECT_EQ(inputer.seek(3), -1);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"file index beyond end", "DvdInputer::seek"}));
  list.sizes = sizes;
}

TEST_F(DvdInputerTest, OpenOfAnEmptyListStaysClosed) {
  inputer.open(&list);
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(DvdInputerTest, NoMemoryForTheHandlesHasItsOwnCaption) {
  makeList({10, 20});
  {
    StandIn<JoinedFileInputer::HandleAllocator> standIn(
        JoinedFileInputer::allocateHandles, [](std::size_t) -> void* { return nullptr; });
    inputer.open(&list);
  }
  EXPECT_FALSE(inputer.isOpen);
  EXPECT_EQ(inputer.handles, nullptr);
  EXPECT_THAT(recorder.messages(),
              ElementsAre(Message{"Could not get memory for list of file handles.",
                                  "DvdInputer::open"}));
}
