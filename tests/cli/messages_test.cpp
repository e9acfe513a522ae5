// What the tool says when something is wrong: the file that is missing or
// unreadable, in the system's words, and never bytes a terminal cannot show.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::ScratchDir;
namespace fs = std::filesystem;

namespace {

std::string copyOfTheDisc(const ScratchDir& dir) {
  const std::string disc = dir.path("VIDEO_TS");
  fs::copy(kDisc, disc);
  return disc;
}

bool printable(const std::string& text) {
  for (unsigned char c : text)
    if ((c < 0x20 && c != '\n') || c == 0x7F || c >= 0x80) return false;
  return true;
}

}  // namespace

TEST(ToolMessages, MissingVobPartBeforeAPresentOneIsNamed) {
  ScratchDir dir;
  const std::string disc = copyOfTheDisc(dir);
  fs::remove(disc + "/VTS_01_2.VOB");
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "2", "-o", dir.path("t.vob")});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find(disc + "/VTS_01_2.VOB: no such file, while VTS_01_3.VOB after it is "
                                "there"),
            std::string::npos)
      << run.err;
  EXPECT_FALSE(fs::exists(dir.path("t.vob")));
}

TEST(ToolMessages, TitleSetWithoutAnyVobNamesItsFirstPart) {
  ScratchDir dir;
  const std::string disc = copyOfTheDisc(dir);
  for (const char* part : {"1", "2", "3"}) fs::remove(disc + "/VTS_01_" + part + ".VOB");
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "1", "-o", dir.path("t.vob")});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find(disc + "/VTS_01_1.VOB: no such file: title set 1 has 0 sectors"),
            std::string::npos)
      << run.err;
}

TEST(ToolMessages, WhatIsNoDiscIsNamedForWhatItIs) {
  Result device = runTool({"info", "/dev/null"});
  EXPECT_EQ(device.status, 1);
  EXPECT_NE(device.err.find("/dev/null: is neither a VIDEO_TS folder, a disc image nor a drive"),
            std::string::npos)
      << device.err;
  Result missing = runTool({"info", "/no/such/disc"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("/no/such/disc: no such file or folder"), std::string::npos)
      << missing.err;
}

TEST(ToolMessages, EmptyVideoManagerWithoutBackupSaysWhy) {
  ScratchDir dir;
  const std::string disc = copyOfTheDisc(dir);
  fs::resize_file(disc + "/VIDEO_TS.IFO", 0);
  fs::remove(disc + "/VIDEO_TS.BUP");
  Result run = runTool({"info", disc});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find(disc + "/VIDEO_TS.IFO: cannot be read (empty), nor its backup copy"),
            std::string::npos)
      << run.err;
}

TEST(ToolMessages, EmptyVideoManagerIsReadFromItsBackup) {
  ScratchDir dir;
  const std::string disc = copyOfTheDisc(dir);
  fs::resize_file(disc + "/VIDEO_TS.IFO", 0);
  Result run = runTool({"info", disc});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, runTool({"info", kDisc}).out.replace(5, kDisc.size(), disc));
  EXPECT_NE(run.err.find("VIDEO_TS.IFO: warning: cannot be read (empty); its backup copy "
                         "VIDEO_TS.BUP is read instead"),
            std::string::npos)
      << run.err;
}

TEST(ToolMessages, BinaryFileGivenAsAListIsShownEscaped) {
  ScratchDir dir;
  std::string bytes;
  for (int i = 0; i < 600; ++i) bytes += static_cast<char>((i * 37 + 11) % 256 ? (i * 37 + 11) % 256 : 1);
  dir.write("binary.lst", bytes);
  Result run = runTool({"cat", dir.path("binary.lst"), "-o", dir.path("x.mpg")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(printable(run.err)) << run.err;
  EXPECT_NE(run.err.find("\\x"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1);
}

TEST(ToolMessages, RelativeListedNameSaysWhereItWasLookedFor) {
  ScratchDir dir;
  fs::create_directories(dir.path("lists"));
  dir.write("lists/clip.mpg", std::string(3000, 'x'));
  dir.write("lists/a.lst", "clip.mpg\r\n");
  Result run = runTool({"cat", dir.path("lists/a.lst"), "-o", dir.path("x.mpg")}, dir.root());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("clip.mpg: cannot be opened (no such file; listed in " +
                         dir.path("lists/a.lst") +
                         "; a relative name is looked for in the current folder, " +
                         fs::canonical(dir.root()).string() + ", not the list's)"),
            std::string::npos)
      << run.err;
}

TEST(ToolMessages, LstFileOverTheLimitIsPlayedAsAMediaFileWithANote) {
  ScratchDir dir;
  const std::string media(1025, 'm');
  dir.write("big.lst", media);
  Result run = runTool({"cat", dir.path("big.lst")}, "", " | cat");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(run.out == media);
  EXPECT_EQ(run.err, "fennoria: " + dir.path("big.lst") +
                         ": note: over 1024 bytes, so it is played as a media file, not read as a "
                         "list (a list is at most 1024 bytes)\n");
  Result small = runTool({"cat", dir.write("clip.mpg", media)}, "", " | cat");
  EXPECT_EQ(small.err, "");
}
