// The tool's manners: help for each command, options as getopt reads them,
// and "-" for standard output wherever one output is asked for.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::readWholeFile;
using testing_support::ScratchDir;
namespace fs = std::filesystem;

TEST(ToolManners, HelpCommandIsTheCommandsOwnHelp) {
  for (const char* command : {"cat", "dvd", "demux", "ifo", "info", "chapters", "config"}) {
    SCOPED_TRACE(command);
    Result help = runTool({"help", command});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out, runTool({command, "--help"}).out);
    EXPECT_NE(help.out.find(std::string("fennoria ") + command), std::string::npos);
  }
  Result unknown = runTool({"help", "nosuch"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("unknown command 'nosuch'"), std::string::npos) << unknown.err;
}

TEST(ToolManners, OptionsTakeTheirValuesAsGetoptReadsThem) {
  ScratchDir dir;
  Result spelled = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "2", "-o", dir.path("a.vob")});
  ASSERT_EQ(spelled.status, 0) << spelled.err;
  const std::string expected = readWholeFile(dir.path("a.vob"));
  const std::vector<std::vector<std::string>> forms = {
      {"dvd", kDisc, "--titleset=1", "--pgc=2", "--output=" + dir.path("b.vob")},
      {"dvd", kDisc, "-T1", "-p2", "-o" + dir.path("b.vob")},
      {"dvd", kDisc, "-qT1", "-p", "2", "-qo" + dir.path("b.vob")},
      {"dvd", "-T", "1", "-p2", "--", kDisc, "-o", dir.path("b.vob")},
  };
  for (const auto& args : forms) {
    SCOPED_TRACE(args[2]);
    fs::remove(dir.path("b.vob"));
    Result run = runTool(args);
    if (args[4] == "--") {
      // After "--" every word is an argument: "-o" too.
      EXPECT_EQ(run.status, 2);
      continue;
    }
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(readWholeFile(dir.path("b.vob")) == expected);
  }
  Result quietWithValue = runTool({"dvd", kDisc, "-T1", "-p2", "--quiet=1"});
  EXPECT_EQ(quietWithValue.status, 2);
  EXPECT_NE(quietWithValue.err.find("--quiet takes no value"), std::string::npos)
      << quietWithValue.err;
  Result flagWithValue = runTool({"dvd", kDisc, "-T1", "-p2", "--playback-order=yes"});
  EXPECT_EQ(flagWithValue.status, 2);
  EXPECT_NE(flagWithValue.err.find("--playback-order takes no value"), std::string::npos)
      << flagWithValue.err;
  Result unknown = runTool({"dvd", kDisc, "-T1", "-p2", "-qz"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("unknown option -z"), std::string::npos) << unknown.err;
}

TEST(ToolManners, DashAsTheOneDemuxOutputIsStandardOutput) {
  ScratchDir dir;
  fs::create_directories(dir.path("tmp"));
  const std::string env = "TMPDIR=" + quote(dir.path("tmp"));
  Result file = runTool({"demux", kDisc, "-T1", "-p1", "--ac3", "0=" + dir.path("a.ac3")});
  ASSERT_EQ(file.status, 0) << file.err;
  // Standard output a file: the status is the tool's own, not a pipe's.
  const std::string out = " > " + quote(dir.path("stdout"));
  Result piped = runTool({"demux", kDisc, "-T1", "-p1", "--ac3", "0=-"}, "", out, env);
  ASSERT_EQ(piped.status, 0) << piped.err;
  EXPECT_TRUE(readWholeFile(dir.path("stdout")) == readWholeFile(dir.path("a.ac3")));
  // The delay goes where the data do not.
  EXPECT_NE(piped.err.find("-: delay "), std::string::npos) << piped.err;
  Result two = runTool({"demux", kDisc, "-T1", "-p1", "--ac3", "0=-", "--video", dir.path("v.m2v")},
                       "", out, env);
  EXPECT_EQ(two.status, 2);
  EXPECT_NE(two.err.find("only a run of one output"), std::string::npos) << two.err;
  EXPECT_FALSE(fs::exists(dir.path("v.m2v")));
  Result failed = runTool({"demux", kDisc, "-T1", "-p1", "--ac3", "7=-"}, "", out, env);
  EXPECT_EQ(failed.status, 1) << failed.err;
  EXPECT_EQ(readWholeFile(dir.path("stdout")), "");
  EXPECT_TRUE(fs::is_empty(dir.path("tmp")));
}
