#include "input/output_file_stream.h"

#include <gtest/gtest.h>

#include <filesystem>

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

// Pieces of every size around a small buffer's, some larger than the whole
// buffer: the buffered stream reports the same positions and lengths after
// every write and leaves the same bytes as the stream that writes through.
TEST(OutputFileStream, BufferedAndDirectWritesEndTheSame) {
  ScratchDir dir;
  std::string direct = dir.path("direct.ac3");
  std::string buffered = dir.path("buffered.ac3");
  std::string expected;
  {
    OutputFileStream plain(direct.c_str(), true);
    OutputFileStream collected(buffered.c_str(), true, 64);
    for (std::uint32_t size : {1u, 63u, 64u, 65u, 0u, 7u, 200u, 57u, 1u, 128u, 3u}) {
      std::string piece(size, static_cast<char>('a' + size % 26));
      expected += piece;
      EXPECT_EQ(plain.write(piece.data(), size), size);
      EXPECT_EQ(collected.write(piece.data(), size), size);
      EXPECT_EQ(collected.tell(), plain.tell()) << "after " << size;
      EXPECT_EQ(collected.getLength(), plain.getLength()) << "after " << size;
      EXPECT_EQ(collected.isEnd(), plain.isEnd());
    }
  }
  EXPECT_EQ(readWholeFile(direct), expected);
  EXPECT_EQ(readWholeFile(buffered), expected);
}

TEST(OutputFileStream, BufferedBytesReachTheFileAtFlush) {
  ScratchDir dir;
  std::string name = dir.path("sub.sup");
  OutputFileStream out(name.c_str(), true, 4096);
  EXPECT_EQ(out.write("abcdefghij", 10), 10u);
  EXPECT_EQ(out.tell(), 10);
  EXPECT_EQ(out.getLength(), 10);  // counts the collected bytes
  EXPECT_TRUE(out.isEnd());
  // The size on disk (the open file cannot be read on Windows: it is shared
  // for writing only).
  EXPECT_EQ(std::filesystem::file_size(name), 0u);  // still collected
  EXPECT_NE(out.flush(), 0);
  EXPECT_EQ(std::filesystem::file_size(name), 10u);
  EXPECT_EQ(out.write("kl", 2), 2u);
  EXPECT_EQ(out.close(), 1);
  EXPECT_EQ(readWholeFile(name), "abcdefghijkl");
  EXPECT_FALSE(out.writeFailed());
}

TEST(OutputFileStream, BufferedOpenWithoutTruncationWritesOverTheStart) {
  ScratchDir dir;
  std::string old(100, 'o');
  std::string name = dir.write("audio.ac3", old);
  {
    OutputFileStream out(name.c_str(), false, 16);
    EXPECT_EQ(out.write("0123456789", 10), 10u);
    EXPECT_EQ(out.tell(), 10);
    EXPECT_EQ(out.getLength(), 100);
    EXPECT_FALSE(out.isEnd());
  }
  EXPECT_EQ(readWholeFile(name), "0123456789" + old.substr(10));
}

TEST(OutputFileStream, BufferedWithoutFileAnswersWithItsFixedValues) {
  ScratchDir dir;
  OutputFileStream out(dir.path("no/such/folder/a.ac3").c_str(), true, 64);
  EXPECT_EQ(out.write("abc", 3), 0u);
  EXPECT_EQ(out.tell(), 1);
  EXPECT_EQ(out.getLength(), 0);
  EXPECT_TRUE(out.isEnd());
  EXPECT_EQ(out.flush(), 1);
  EXPECT_EQ(out.close(), 1);
  EXPECT_FALSE(out.writeFailed());
}

#ifndef _WIN32
// /dev/full refuses every byte, as a full disk would.
TEST(OutputFileStream, RefusedBytesAreReportedDirectOrBuffered) {
  for (std::size_t buffer : {std::size_t{0}, std::size_t{64}}) {
    OutputFileStream out("/dev/full", false, buffer);
    ASSERT_TRUE(out.isOpen());
    out.write("abc", 3);
    out.flush();
    EXPECT_TRUE(out.writeFailed()) << "buffer " << buffer;
    out.close();
    EXPECT_TRUE(out.writeFailed()) << "buffer " << buffer;
  }
}
#endif
