#include "input/file_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/scratch.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::ScratchDir;

namespace {

std::vector<std::string> namesOf(const FileList& list) {
  std::vector<std::string> out;
  for (std::int32_t i = 0; i < list.count; ++i) out.emplace_back(list.names[i]);
  return out;
}

std::vector<std::int64_t> sizesOf(const FileList& list) {
  return std::vector<std::int64_t>(list.sizes, list.sizes + list.count);
}

void expectEmpty(const FileList& list) {
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.totalLength, 0);
  EXPECT_EQ(list.names, nullptr);
  EXPECT_EQ(list.sizes, nullptr);
}

class FileListTest : public testing::Test {
 protected:
  ScratchDir dir;
  std::string a = dir.writePattern("a.mpg", 10, 1);
  std::string b = dir.writePattern("b.mpg", 20, 2);
};

}  // namespace

TEST(FileList, NewListIsEmpty) {
  FileList list;
  expectEmpty(list);
}

TEST_F(FileListTest, CrlfAndLfListsGiveTheSameEntries) {
  FileList crlf, lf;
  crlf.load(dir.write("crlf.lst", a + "\r\n" + b + "\r\n").c_str());
  lf.load(dir.write("lf.lst", a + "\n" + b + "\n").c_str());
  EXPECT_THAT(namesOf(crlf), ElementsAre(a, b));
  EXPECT_THAT(namesOf(lf), ElementsAre(a, b));
  EXPECT_THAT(sizesOf(crlf), ElementsAre(10, 20));
  EXPECT_EQ(crlf.totalLength, 30);
  EXPECT_EQ(lf.totalLength, 30);
}

TEST_F(FileListTest, CrOnlyListGivesTheSameEntries) {
  FileList list;
  list.load(dir.write("cr.lst", a + "\r" + b).c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(a, b));
}

TEST_F(FileListTest, BlankLinesAndTrailingLineEndsAddNoEntries) {
  FileList list;
  list.load(dir.write("blank.lst", "\r\n\n\r" + a + "\n\n\r\n\r\r" + b + "\r\n\n\n\r\r").c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(a, b));
  EXPECT_EQ(list.totalLength, 30);
}

TEST_F(FileListTest, LastLineNeedsNoLineEnd) {
  FileList list;
  list.load(dir.write("noend.lst", a + "\n" + b).c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(a, b));
}

TEST_F(FileListTest, ListOfZeroToFourBytesIsEmpty) {
  std::string good = dir.write("good.lst", a + "\n" + b + "\n");
  for (const std::string bytes : {"", "x", "ab", "a\nb", "abcd"}) {
    SCOPED_TRACE(bytes.size());
    FileList list;
    list.load(good.c_str());  // something to replace
    ASSERT_EQ(list.count, 2);
    list.load(dir.write("short" + std::to_string(bytes.size()) + ".lst", bytes).c_str());
    expectEmpty(list);
  }
}

TEST_F(FileListTest, ShortListFileStaysOpen) {
  // The handle of a list file below five bytes is not closed, on purpose.
  std::string name = dir.write("tiny.lst", "abc");
  FileList list;
  list.load(name.c_str());
  EXPECT_TRUE(testing_support::isHeldOpen(name));
}

TEST_F(FileListTest, FiveByteListIsReadAsAList) {
  std::string name = dir.write("five.lst", "x.mpg");
  FileList list;
  list.load(name.c_str());
  EXPECT_THAT(namesOf(list), ElementsAre("x.mpg"));
  EXPECT_THAT(sizesOf(list), ElementsAre(0));
}

TEST_F(FileListTest, FileAbove1024BytesIsOneEntryOfItself) {
  std::string media = dir.writePattern("movie.mpg", 1025, 7);
  FileList list;
  list.load(media.c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(media));
  EXPECT_THAT(sizesOf(list), ElementsAre(1025));
  EXPECT_EQ(list.totalLength, 1025);
}

TEST_F(FileListTest, MediaFileNamedDirectlyStaysOpen) {
  std::string media = dir.writePattern("held.mpg", 5000, 7);
  FileList list;
  list.load(media.c_str());
  EXPECT_TRUE(testing_support::isHeldOpen(media));
}

TEST_F(FileListTest, File1024BytesIsReadAsAList) {
  // 512 one-character names with LF make exactly 1024 bytes.
  std::string text;
  for (int i = 0; i < 512; ++i) text += std::string(1, static_cast<char>('A' + i % 26)) + "\n";
  ASSERT_EQ(text.size(), 1024u);
  FileList list;
  list.load(dir.write("full.lst", text).c_str());
  ASSERT_EQ(list.count, 512);
  EXPECT_STREQ(list.names[0], "A");
  EXPECT_STREQ(list.names[511], std::string(1, static_cast<char>('A' + 511 % 26)).c_str());
  EXPECT_EQ(list.totalLength, 0);
}

TEST_F(FileListTest, MostNamesThatFitIn1023Bytes) {
  std::string text;
  for (int i = 0; i < 512; ++i) text += (i ? "\r" : "") + std::string(1, 'n');
  ASSERT_EQ(text.size(), 1023u);
  FileList list;
  list.load(dir.write("many.lst", text).c_str());
  EXPECT_EQ(list.count, 512);
}

TEST_F(FileListTest, SingleLineOf1024BytesIsOneWholeName) {
  std::string name(1024, 'q');
  FileList list;
  list.load(dir.write("long.lst", name).c_str());
  ASSERT_EQ(list.count, 1);
  EXPECT_EQ(std::string(list.names[0]), name);
}

TEST_F(FileListTest, SmallMediaFileIsCutIntoNamesAtLineEnds) {
  // Bytes of a pack header up to its first NUL would end the text, so the
  // sample starts past them.
  std::string bytes = "\x01\xBA\x44" "abc\rdef\nghi";
  std::string name = dir.write("small.mpg", bytes);
  FileList list;
  list.load(name.c_str());
  EXPECT_THAT(namesOf(list), ElementsAre("\x01\xBA\x44" "abc", "def", "ghi"));
  EXPECT_THAT(sizesOf(list), ElementsAre(0, 0, 0));
}

TEST_F(FileListTest, BlanksAroundANameAreKept) {
  std::string spaced = dir.writePattern(" spaced.mpg ", 12, 3);
  FileList list;
  list.load(dir.write("spaced.lst", dir.path(" spaced.mpg ") + "\n").c_str());
  ASSERT_EQ(list.count, 1);
  EXPECT_EQ(std::string(list.names[0]), spaced);
  EXPECT_THAT(sizesOf(list), ElementsAre(12));
}

TEST_F(FileListTest, LineOfBlanksIsAName) {
  FileList list;
  list.load(dir.write("blanks.lst", a + "\n   \n\t\n").c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(a, "   ", "\t"));
  EXPECT_THAT(sizesOf(list), ElementsAre(10, 0, 0));
}

TEST_F(FileListTest, NulByteEndsTheList) {
  FileList list;
  list.load(dir.write("text-with-nul.lst", a + "\n" + b + "x" + std::string(1, '\0') + "\nmore.mpg\n").c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(a, b + "x"));
}

TEST_F(FileListTest, NulAtTheStartGivesAnEmptyList) {
  FileList list;
  list.load(dir.write("nul0.lst", std::string(1, '\0') + a + "\n").c_str());
  expectEmpty(list);
}

TEST_F(FileListTest, LineEndsOnlyGiveAnEmptyList) {
  FileList list;
  list.load(dir.write("ends.lst", "\r\n\r\n\n\r").c_str());
  expectEmpty(list);
}

TEST_F(FileListTest, MissingFileIsKeptWithLengthZero) {
  std::string missing = dir.path("missing.mpg");
  FileList list;
  list.load(dir.write("missing.lst", a + "\n" + missing + "\n" + b + "\n").c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(a, missing, b));
  EXPECT_THAT(sizesOf(list), ElementsAre(10, 0, 20));
  EXPECT_EQ(list.totalLength, 30);
}

TEST_F(FileListTest, FolderInTheListIsKeptWithLengthZero) {
  FileList list;
  list.load(dir.write("folder.lst", dir.root() + "\n" + a + "\n").c_str());
  EXPECT_THAT(sizesOf(list), ElementsAre(0, 10));
}

TEST_F(FileListTest, ListNamingItself) {
  std::string self = dir.path("self.lst");
  dir.write("self.lst", self + "\n");
  FileList list;
  list.load(self.c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(self));
  EXPECT_THAT(sizesOf(list), ElementsAre(static_cast<std::int64_t>(self.size() + 1)));
}

TEST_F(FileListTest, MissingListGivesAnEmptyList) {
  FileList list;
  list.load(a.c_str());
  list.load(dir.path("nowhere.lst").c_str());
  expectEmpty(list);
}

TEST_F(FileListTest, FolderAsListGivesAnEmptyList) {
  FileList list;
  list.load(dir.root().c_str());
  expectEmpty(list);
}

TEST(FileList, NullNameGivesAnEmptyList) {
  FileList list;
  list.load(nullptr);
  expectEmpty(list);
}

TEST_F(FileListTest, LoadReplacesThePreviousContent) {
  FileList list;
  list.load(dir.write("one.lst", a + "\n" + b + "\n").c_str());
  list.load(dir.write("two.lst", b + "\n").c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(b));
  EXPECT_EQ(list.totalLength, 20);
}

TEST_F(FileListTest, ClearEmptiesTheList) {
  FileList list;
  list.load(dir.write("c.lst", a + "\n").c_str());
  list.clear();
  expectEmpty(list);
  list.clear();
  expectEmpty(list);
}

TEST(FileList, CountLinesCountsNonEmptyLines) {
  EXPECT_EQ(FileList::countLines(""), 0);
  EXPECT_EQ(FileList::countLines("\r\n"), 0);
  EXPECT_EQ(FileList::countLines("a"), 1);
  EXPECT_EQ(FileList::countLines("a\r\n\r\nb\n"), 2);
  EXPECT_EQ(FileList::countLines(" \n \n"), 2);
}

TEST(FileList, SplitLinesStopsAtTheGivenCount) {
  char** lines = FileList::splitLines("one\ntwo\nthree\n", 2);
  ASSERT_NE(lines, nullptr);
  EXPECT_STREQ(lines[0], "one");
  EXPECT_STREQ(lines[1], "two");
  free(lines[0]);
  free(lines[1]);
  free(lines);
}

TEST(FileList, RelativeNamesResolveAgainstTheCurrentFolder) {
  // The names are handed to the file system unchanged.
  FileList list;
  std::string relative = "fennoria-relative-name-that-does-not-exist.mpg";
  ScratchDir dir;
  list.load(dir.write("rel.lst", relative + "\n").c_str());
  EXPECT_THAT(namesOf(list), ElementsAre(relative));
  EXPECT_THAT(sizesOf(list), ElementsAre(0));
}
