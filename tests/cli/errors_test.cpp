// Bad input and bad usage: one line on stderr naming the file and what is
// wrong, exit status 1 or 2, nothing on stdout, and no output file left
// behind that could pass for a finished one.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/file_bytes.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::fileBytes;
using testing_support::ScratchDir;
namespace fs = std::filesystem;

namespace {

void expectOneLineError(const Result& run, int status, const std::string& subject,
                        const std::string& what) {
  EXPECT_EQ(run.status, status);
  EXPECT_EQ(run.out, "");
  ASSERT_FALSE(run.err.empty());
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
  EXPECT_EQ(run.err.rfind("fennoria", 0), 0u) << run.err;
  EXPECT_NE(run.err.find(subject), std::string::npos) << run.err;
  EXPECT_NE(run.err.find(what), std::string::npos) << run.err;
}

std::vector<std::string> folderEntries(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// A copy of the sample disc whose VOB file `vob` is cut to `size` bytes.
std::string truncatedDisc(const ScratchDir& dir, const std::string& vob, std::uintmax_t size) {
  std::string copy = dir.path("VIDEO_TS");
  fs::copy(kDisc, copy);
  fs::resize_file(copy + "/" + vob, size);
  return copy;
}

}  // namespace

TEST(ToolErrors, MissingFolder) {
  for (const char* command : {"dvd", "demux", "ifo", "info", "chapters"}) {
    SCOPED_TRACE(command);
    std::vector<std::string> args = {command, "/no/such/folder"};
    if (std::string(command) == "dvd" || std::string(command) == "chapters") args.insert(args.end(), {"--titleset", "1", "--pgc", "1"});
    if (std::string(command) == "demux") args.insert(args.end(), {"--ac3", "0=/tmp/never.ac3"});
    Result run = runTool(args);
    expectOneLineError(run, 1, "/no/such/folder", "no such");
  }
  EXPECT_FALSE(fs::exists("/tmp/never.ac3"));
}

TEST(ToolErrors, FolderWithoutIfoFiles) {
  for (const char* command : {"ifo", "info"}) {
    Result run = runTool({command, kSamples + "/list"});
    expectOneLineError(run, 1, kSamples + "/list", "no VIDEO_TS.IFO");
  }
  Result run = runTool({"dvd", kSamples + "/list", "--titleset", "1", "--pgc", "1"});
  expectOneLineError(run, 1, kSamples + "/list", "no VIDEO_TS.IFO");
}

TEST(ToolErrors, TitleSetThatDoesNotExist) {
  Result run = runTool({"dvd", kDisc, "--titleset", "3", "--pgc", "1"});
  expectOneLineError(run, 2, kDisc, "title set 3 does not exist (the disc has title sets 1-2)");
  run = runTool({"demux", kDisc, "--titleset", "7", "--pgc", "1", "--ac3", "0=/tmp/never.ac3"});
  expectOneLineError(run, 2, kDisc, "title set 7 does not exist");
  EXPECT_FALSE(fs::exists("/tmp/never.ac3"));
}

TEST(ToolErrors, ProgramChainOrCellThatDoesNotExist) {
  Result run = runTool({"dvd", kDisc, "--titleset", "2", "--pgc", "2"});
  expectOneLineError(run, 2, kDisc,
                     "program chain 2 does not exist in title set 2 (it has program chain 1)");
  run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "2", "--cell", "3"});
  expectOneLineError(run, 2, kDisc,
                     "cell 3 does not exist in program chain 2 of title set 1 (it has cells 1-2)");
}

TEST(ToolErrors, UnwritableOutputLeavesNothing) {
  Result run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", "-o", "/no/such/dir/out.vob"});
  expectOneLineError(run, 1, "/no/such/dir/out.vob", "cannot create");
  run = runTool({"cat", "sample.lst", "-o", "/no/such/dir/out.mpg"}, kSamples + "/list");
  expectOneLineError(run, 1, "/no/such/dir/out.mpg", "cannot create");

  ScratchDir dir;
  run = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "0=" + dir.path("a.ac3"),
                 "--mpeg", "1=/no/such/dir/b.mp2"});
  expectOneLineError(run, 1, "/no/such/dir/b.mp2", "cannot create");
  EXPECT_TRUE(folderEntries(dir.root()).empty());
  // An output that names a folder.
  run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", "-o", dir.root()});
  expectOneLineError(run, 1, dir.root(), "is a folder");
}

// /dev/full refuses every byte, as a full disk would: the run fails, and the
// other output's unfinished file is removed.
TEST(ToolErrors, FullDiskFailsWithoutOutput) {
  ScratchDir dir;
  Result run = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "0=/dev/full"});
  expectOneLineError(run, 1, "/dev/full", "could not be written completely");
  run = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "0=" + dir.path("a.ac3"),
                 "--mpeg", "1=/dev/full"});
  expectOneLineError(run, 1, "/dev/full", "could not be written completely");
  EXPECT_TRUE(folderEntries(dir.root()).empty());
}

TEST(ToolErrors, TruncatedVobFailsWithoutOutput) {
  ScratchDir dir;
  // Cut at a sector boundary: the title set ends before the program chain.
  std::string disc = truncatedDisc(dir, "VTS_01_3.VOB", 40 * 2048);
  fs::create_directory(dir.path("out"));
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "2", "-o", dir.path("out/t.vob")});
  expectOneLineError(run, 1, "VTS_01_3.VOB", "truncated");
  run = runTool({"demux", disc, "--titleset", "1", "--pgc", "2", "--ac3", "0=" + dir.path("out/a.ac3"),
                 "--timing"});
  expectOneLineError(run, 1, "VTS_01_3.VOB", "truncated");
  EXPECT_TRUE(folderEntries(dir.path("out")).empty());
  // The first program chain lies before the cut and still reads.
  run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "1", "-o", dir.path("out/t.vob")});
  EXPECT_EQ(run.status, 0) << run.err;
}

TEST(ToolErrors, VobCutInsideASectorFails) {
  ScratchDir dir;
  std::string disc = truncatedDisc(dir, "VTS_01_2.VOB", 100000);
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "1", "-o", dir.path("t.vob")});
  expectOneLineError(run, 1, "VTS_01_2.VOB", "not a whole number of 2048-byte sectors");
  EXPECT_FALSE(fs::exists(dir.path("t.vob")));

  // A cut VOB file given to demux directly.
  fs::copy_file(kDisc + "/VTS_02_1.VOB", dir.path("cut.vob"));
  fs::resize_file(dir.path("cut.vob"), 30 * 2048 + 700);
  run = runTool({"demux", dir.path("cut.vob"), "--mpeg", "0=" + dir.path("a.mp2"), "--timing"});
  expectOneLineError(run, 1, dir.path("cut.vob"), "truncated");
  EXPECT_FALSE(fs::exists(dir.path("a.mp2")));
  EXPECT_FALSE(fs::exists(dir.path("a.mp2.timing")));
  EXPECT_EQ(folderEntries(dir.root()), (std::vector<std::string>{"VIDEO_TS", "cut.vob"}));
}

TEST(ToolErrors, MissingListAndListedFile) {
  Result run = runTool({"cat", "/no/such/list.lst"});
  expectOneLineError(run, 1, "/no/such/list.lst", "no such file");
  ScratchDir dir;
  dir.write("bad.lst", "clip1.mpg\nmissing.mpg\n");
  run = runTool({"cat", dir.path("bad.lst")}, kSamples + "/list");
  expectOneLineError(run, 1, "missing.mpg", "cannot be opened");
}

TEST(ToolErrors, BadUsageExitsWithTwo) {
  const std::vector<std::vector<std::string>> cases = {
      {"dvd", kDisc, "--pgc", "1"},
      {"dvd", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "0", "--mpeg", "1"},
      {"dvd", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "9"},
      {"dvd", kDisc, "--titleset", "x", "--pgc", "1"},
      {"dvd", kDisc, "--titleset", "1", "--pgc", "1", "--frobnicate"},
      {"demux", kDisc, "--titleset", "1", "--pgc", "1"},
      {"demux", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "0"},
      {"cat"},
      {"ifo"},
      {"info", kDisc, "extra"},
      {"chapters", kDisc, "--titleset", "1"},
      {"chapters", kDisc, "--pgc", "1"},
      {"chapters", kDisc, "--titleset", "1", "--pgc", "1", "--format", "srt"},
      {"chapters", kDisc, "--titleset", "0", "--pgc", "1"},
      {"chapters", "--titleset", "1", "--pgc", "1"},
      {"config", "get", "NoSuchSetting"},
      {"config", "frob"},
      {"nosuchcommand"},
  };
  for (const auto& args : cases) {
    std::string shown;
    for (const auto& a : args) shown += a + " ";
    SCOPED_TRACE(shown);
    Result run = runTool(args);
    EXPECT_EQ(run.status, 2) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
  }
  EXPECT_EQ(runTool({}).status, 2);
}

TEST(ToolHelp, EverySubcommandHasHelpWithExamples) {
  for (const char* command : {"cat", "dvd", "demux", "ifo", "info", "chapters", "config"}) {
    SCOPED_TRACE(command);
    Result run = runTool({command, "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out.rfind(std::string("usage: fennoria ") + command, 0), 0u) << run.out;
    EXPECT_NE(run.out.find("examples:\n  fennoria " + std::string(command)), std::string::npos);
  }
  Result run = runTool({"--help"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("commands:"), std::string::npos);
}

// A VOB file cut short by someone else while the tool reads it: the tool is
// stopped as soon as it has the file open, the file is cut to half, and the
// tool goes on. It must fail with the usual one line, naming how much was
// missing, and leave no output, not die of a bus error.
TEST(ToolErrors, VobFileCutWhileDemultiplexedFailsWithoutOutput) {
  ScratchDir dir;
  const std::string vob = dir.path("long.vob");
  {
    const std::string title = fileBytes(kSamples + "/dvd-streams/VIDEO_TS/VTS_01_1.VOB");
    std::ofstream out(vob, std::ios::binary);
    for (int i = 0; i < 200; ++i) out << title;  // about 250 MiB
  }
  const std::int64_t size = static_cast<std::int64_t>(fs::file_size(vob));
  const std::string err = dir.path("err.txt");
  const std::string dts = dir.path("a.dts");
  std::vector<std::string> args = {toolPath(), "demux", vob, "--dts", "0=" + dts, "-q"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = 0;
  ASSERT_EQ(posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ), 0);
  posix_spawn_file_actions_destroy(&files);
  // Stopped once the file shows among its mappings.
  bool stopped = false;
  const std::string maps = "/proc/" + std::to_string(pid) + "/maps";
  for (int i = 0; i < 200000 && !stopped; ++i) {
    std::ifstream in(maps);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (text.find(vob) != std::string::npos) stopped = kill(pid, SIGSTOP) == 0;
    if (!in) break;  // it has ended
  }
  ASSERT_TRUE(stopped) << "the tool ended before it could be stopped";
  ASSERT_EQ(truncate(vob.c_str(), size / 2), 0);
  kill(pid, SIGCONT);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  Result run{WEXITSTATUS(status), "", fileBytes(err)};
  expectOneLineError(run, 1, vob, "read failed");
  // The bytes from the first page past the cut on were missing.
  const std::size_t at = run.err.find("read failed ");
  ASSERT_NE(at, std::string::npos);
  const std::int64_t missing = std::stoll(run.err.substr(at + 12));
  EXPECT_GT(missing, 0);
  EXPECT_LE(missing, size - size / 2);
  EXPECT_EQ(folderEntries(dir.root()), (std::vector<std::string>{"err.txt", "long.vob"}));
}
