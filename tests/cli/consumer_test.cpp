// Real consumers of the tool's streams (ffprobe reading from a pipe), and the
// progress line: shown on a terminal, never in a pipe or with --quiet.
#include <gtest/gtest.h>

#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::ScratchDir;

namespace {

const char* kProbe =
    " | ffprobe -v error -show_entries stream=codec_type,codec_name,id -of compact=p=0 -";

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

TEST(ToolConsumer, FfprobeReadsTheJoinedList) {
  if (!commandExists("ffprobe")) GTEST_SKIP() << "ffprobe is not installed (apt-get install ffmpeg)";
  Result run = runTool({"cat", "sample.lst"}, kSamples + "/list", kProbe);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(has(run.out, "codec_name=mpeg2video|codec_type=video")) << run.out;
  EXPECT_TRUE(has(run.out, "codec_name=mp2|codec_type=audio")) << run.out;
}

TEST(ToolConsumer, FfprobeReadsTheProgramChain) {
  if (!commandExists("ffprobe")) GTEST_SKIP() << "ffprobe is not installed (apt-get install ffmpeg)";
  Result run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1"}, "", kProbe);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(has(run.out, "codec_name=mpeg2video|codec_type=video|id=0x1e0")) << run.out;
  EXPECT_TRUE(has(run.out, "codec_name=ac3|codec_type=audio|id=0x80")) << run.out;
  EXPECT_TRUE(has(run.out, "codec_name=mp2|codec_type=audio|id=0x1c1")) << run.out;
  EXPECT_TRUE(has(run.out, "codec_name=dvd_subtitle|codec_type=subtitle|id=0x20")) << run.out;

  // Filtered to the AC-3 stream, the MPEG audio stream is gone.
  run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "0"}, "", kProbe);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(has(run.out, "id=0x80")) << run.out;
  EXPECT_FALSE(has(run.out, "id=0x1c1")) << run.out;
  EXPECT_TRUE(has(run.out, "id=0x1e0")) << run.out;
}

TEST(ToolConsumer, FfprobeFindsTheProgramChainsDuration) {
  if (!commandExists("ffprobe")) GTEST_SKIP() << "ffprobe is not installed (apt-get install ffmpeg)";
  ScratchDir dir;
  ASSERT_EQ(runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", "-o", dir.path("p.vob")}).status, 0);
  Result run = runShell("ffprobe -v error -show_entries format=duration -of default=nw=1:nk=1 " +
                     quote(dir.path("p.vob")));
  ASSERT_EQ(run.status, 0) << run.err;
  // The program chain's playback time is 3 s (info says so too).
  EXPECT_NEAR(std::stod(run.out), 3.0, 0.25) << run.out;
}

TEST(ToolProgress, NothingOnStderrInAPipe) {
  Result run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1"}, "", " | cat >/dev/null");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
}

// On a terminal (script(1) gives the tool one) the progress line appears on
// stderr and is erased at the end; --quiet keeps it away.
TEST(ToolProgress, ShownOnATerminalAndClearedAtTheEnd) {
  if (!commandExists("script")) GTEST_SKIP() << "script(1) is not installed (util-linux)";
  ScratchDir dir;
  std::string inner = quote(toolPath()) + " dvd " + quote(kDisc) +
                      " --titleset 1 --pgc 1 -o " + quote(dir.path("t.vob"));
  Result run = runShell("script -qec " + quote(inner) + " /dev/null");
  ASSERT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_TRUE(has(run.out, "VTS_01_2.VOB")) << run.out;  // where the range ends
  EXPECT_TRUE(has(run.out, "380.0 KiB of 380.0 KiB  100%")) << run.out;
  EXPECT_TRUE(has(run.out, "0:00:00 passed")) << run.out;
  // Done in well under a second: no time left was ever guessed.
  EXPECT_FALSE(has(run.out, " left")) << run.out;
  // Erased: the last thing written is blanks between two carriage returns.
  ASSERT_FALSE(run.out.empty());
  std::string tail = run.out.substr(run.out.rfind('\r', run.out.size() - 2));
  EXPECT_EQ(tail.find_first_not_of(" \r"), std::string::npos) << tail;

  run = runShell("script -qec " + quote(inner + " --quiet") + " /dev/null");
  ASSERT_EQ(run.status, 0);
  EXPECT_FALSE(has(run.out, "%")) << run.out;
}
