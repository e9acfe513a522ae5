#include "input/output_file_stream.h"

#include <gtest/gtest.h>

#include "support/scratch.h"

using testing_support::readWholeFile;
using testing_support::ScratchDir;

TEST(OutputFileStream, OpenWithoutTruncationWritesOverTheStart) {
  ScratchDir dir;
  std::string old(100, 'o');
  std::string name = dir.write("audio.ac3", old);
  {
    OutputFileStream out(name.c_str(), false);
    EXPECT_EQ(out.write("0123456789", 10), 10u);
    EXPECT_EQ(out.tell(), 10);
    EXPECT_EQ(out.getLength(), 100);
    EXPECT_FALSE(out.isEnd());
  }
  EXPECT_EQ(readWholeFile(name), "0123456789" + old.substr(10));
}

TEST(OutputFileStream, OpenWithTruncationStartsEmpty) {
  ScratchDir dir;
  std::string name = dir.write("audio.ac3", std::string(100, 'o'));
  OutputFileStream out(name.c_str(), true);
  EXPECT_EQ(out.getLength(), 0);
  EXPECT_TRUE(out.isEnd());
  EXPECT_EQ(out.write("abc", 3), 3u);
  EXPECT_NE(out.flush(), 0);
  EXPECT_EQ(out.close(), 1);
  EXPECT_EQ(readWholeFile(name), "abc");
}

TEST(OutputFileStream, NewFileIsCreatedEitherWay) {
  ScratchDir dir;
  for (bool truncate : {false, true}) {
    std::string name = dir.path(truncate ? "t.sup" : "n.sup");
    OutputFileStream out(name.c_str(), truncate);
    EXPECT_TRUE(out.isOpen());
    out.write("x", 1);
    out.close();
    EXPECT_EQ(readWholeFile(name), "x");
  }
}

TEST(OutputFileStream, NoFileAnswersWithItsFixedValues) {
  ScratchDir dir;
  OutputFileStream out(dir.path("no/such/folder/a.ac3").c_str(), true);
  EXPECT_FALSE(out.isOpen());
  EXPECT_EQ(out.write("abc", 3), 0u);
  EXPECT_EQ(out.tell(), 1);
  EXPECT_EQ(out.getLength(), 0);
  EXPECT_TRUE(out.isEnd());
  EXPECT_EQ(out.flush(), 1);
  EXPECT_EQ(out.close(), 1);
}

TEST(OutputFileStream, CloseTwiceReturnsOneBothTimes) {
  ScratchDir dir;
  OutputFileStream out(dir.path("c.ac3").c_str(), true);
  EXPECT_EQ(out.close(), 1);
  EXPECT_EQ(out.close(), 1);
  EXPECT_FALSE(out.isOpen());
}
