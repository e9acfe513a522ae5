// The tool never writes over its own inputs and never leaves a partial
// output behind: an output that is an input (by any name) is refused before
// anything is written, and a run ended by Ctrl-C, a hang-up or a request to
// terminate removes what it had begun to write.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <thread>

#include "cli/json.h"
#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/file_bytes.h"
#include "support/scratch.h"
#include "support/sha256.h"

using namespace cli_test;
using testing_support::fileBytes;
using testing_support::ScratchDir;
using testing_support::sha256Hex;
namespace fs = std::filesystem;

namespace {

// Every file below `root` and a digest of its bytes.
std::map<std::string, std::string> snapshot(const std::string& root) {
  std::map<std::string, std::string> files;
  for (const auto& e : fs::recursive_directory_iterator(root))
    if (e.is_regular_file()) files[e.path().string()] = sha256Hex(fileBytes(e.path().string()));
  return files;
}

bool anyPartial(const std::string& root) {
  for (const auto& e : fs::recursive_directory_iterator(root))
    if (e.path().filename().string().find(".partial-") != std::string::npos) return true;
  return false;
}

std::uint32_t u32(const std::string& b, std::size_t at) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(b[at])) << 24 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 1])) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 2])) << 8 |
         static_cast<unsigned char>(b[at + 3]);
}

// A copy of the sample disc whose title set 1 is one sparse VOB of `bytes`
// and whose program chain 1 ends at its last sector: a long title to read.
std::string longDisc(const ScratchDir& dir, std::int64_t bytes) {
  const std::string folder = dir.path("VIDEO_TS");
  fs::create_directories(folder);
  for (const char* f : {"VIDEO_TS.IFO", "VTS_01_0.IFO"})
    fs::copy_file(kDisc + "/" + f, folder + "/" + f);
  dir.writeSparse("VIDEO_TS/VTS_01_1.VOB", bytes, {});
  std::string ifo = fileBytes(folder + "/VTS_01_0.IFO");
  const std::size_t table = std::size_t{u32(ifo, 0xCC)} * 2048;
  const std::size_t pgc = table + u32(ifo, table + 12);
  const unsigned cells = static_cast<unsigned char>(ifo[pgc + 3]);
  const std::size_t playback =
      pgc + (static_cast<unsigned char>(ifo[pgc + 0xE8]) << 8 | static_cast<unsigned char>(ifo[pgc + 0xE9]));
  const std::uint32_t last = static_cast<std::uint32_t>(bytes / 2048 - 1);
  for (int i = 0; i < 4; ++i)
    ifo[playback + 24 * (cells - 1) + 20 + i] = static_cast<char>(last >> (24 - 8 * i));
  std::ofstream(folder + "/VTS_01_0.IFO", std::ios::binary) << ifo;
  return folder;
}

// Starts the tool, stops it once a partial output shows in `watch`, sends
// `signal` and lets it go on; its exit status, and whether it was caught
// writing at all.
struct Interrupted {
  bool caught = false;
  int status = -1;
};
Interrupted interrupt(std::vector<std::string> args, const std::string& watch, int signal) {
  args.insert(args.begin(), toolPath());
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  Interrupted result;
  if (posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ) != 0) return result;
  posix_spawn_file_actions_destroy(&files);
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!result.caught && std::chrono::steady_clock::now() < until) {
    if (anyPartial(watch)) result.caught = kill(pid, SIGSTOP) == 0;
    if (waitpid(pid, &result.status, WNOHANG) == pid) return result;
  }
  kill(pid, signal);
  kill(pid, SIGCONT);
  int status = 0;
  waitpid(pid, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  return result;
}

}  // namespace

TEST(ToolSafety, OutputThatIsAnInputIsRefusedAndTheInputStaysWhole) {
  ScratchDir dir;
  const std::string disc = dir.path("VIDEO_TS");
  fs::copy(kDisc, disc);
  fs::copy_file(disc + "/VTS_01_1.VOB", dir.path("in.vob"));
  fs::create_hard_link(dir.path("in.vob"), dir.path("hard.vob"));
  fs::create_symlink(disc + "/VIDEO_TS.IFO", dir.path("link.ifo"));
  dir.write("o.lst", dir.path("in.vob") + "\n");
  const auto before = snapshot(dir.root());
  const std::vector<std::vector<std::string>> runs = {
      {"dvd", disc, "--titleset", "1", "--pgc", "1", "-o", disc + "/VTS_01_1.VOB"},
      {"chapters", disc, "--titleset", "1", "--pgc", "1", "-o", disc + "/VIDEO_TS.IFO"},
      {"chapters", disc, "--titleset", "1", "--pgc", "1", "-o", dir.path("link.ifo")},
      {"demux", dir.path("in.vob"), "--ac3", "0=" + dir.path("in.vob")},
      {"demux", dir.path("in.vob"), "--ac3", "0=" + dir.path("hard.vob")},
      {"demux", disc, "--titleset", "1", "--pgc", "1", "--video", disc + "/VTS_01_2.VOB"},
      {"cat", dir.path("o.lst"), "-o", dir.path("o.lst")},
      {"cat", dir.path("o.lst"), "-o", dir.path("hard.vob")},
  };
  for (const auto& args : runs) {
    SCOPED_TRACE(args.back());
    Result run = runTool(args);
    EXPECT_EQ(run.status, 2) << run.err;
    EXPECT_NE(run.err.find("is one of this run's inputs"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
  }
  EXPECT_EQ(snapshot(dir.root()), before);
  EXPECT_FALSE(anyPartial(dir.root()));
}

// Every file the tool reads, given as the output of every subcommand that
// writes, through its own name and through a link: refused, all unchanged.
TEST(ToolSafety, NoSubcommandWritesAFileItReads) {
  ScratchDir dir;
  const std::string disc = dir.path("VIDEO_TS");
  fs::copy(kDisc, disc);
  const auto before = snapshot(dir.root());
  for (const auto& entry : fs::directory_iterator(disc)) {
    const std::string input = entry.path().string();
    const std::string link = dir.path("link");
    fs::remove(link);
    fs::create_symlink(input, link);
    for (const std::string& target : {input, link}) {
      SCOPED_TRACE(target);
      for (const auto& args : std::vector<std::vector<std::string>>{
               {"dvd", disc, "--titleset", "1", "--pgc", "1", "-o", target},
               {"chapters", disc, "--titleset", "1", "--pgc", "1", "-o", target},
               {"demux", disc, "--titleset", "1", "--pgc", "1", "--ac3", "0=" + target},
               {"demux", disc, "--titleset", "1", "--pgc", "1", "--video", target}}) {
        Result run = runTool(args);
        EXPECT_EQ(run.status, 2) << args[0] << ": " << run.err;
      }
    }
    fs::remove(link);
  }
  EXPECT_EQ(snapshot(dir.root()), before);
  EXPECT_FALSE(anyPartial(dir.root()));
}

TEST(ToolSafety, TimingFileThatIsAnInputIsRefused) {
  ScratchDir dir;
  fs::copy_file(kDisc + "/VTS_01_1.VOB", dir.path("in.vob"));
  dir.write("a.ac3.timing", "an input too");
  fs::create_symlink(dir.path("in.vob"), dir.path("b.ac3.timing"));
  const auto before = snapshot(dir.root());
  Result run = runTool({"demux", dir.path("in.vob"), "--ac3", "0=" + dir.path("b.ac3"), "--timing"});
  EXPECT_EQ(run.status, 2) << run.err;
  EXPECT_NE(run.err.find("b.ac3.timing"), std::string::npos) << run.err;
  EXPECT_EQ(snapshot(dir.root()), before);
}

class ToolSignals : public testing::TestWithParam<int> {};

TEST_P(ToolSignals, RemoveEveryPartialOutputAndExitWith128PlusTheSignal) {
  const int signal = GetParam();
  ScratchDir dir;
  const std::string disc = longDisc(dir, std::int64_t{1} << 30);
  const std::string out = dir.path("out");
  fs::create_directories(out);
  dir.write("long.lst", disc + "/VTS_01_1.VOB\n");
  const std::vector<std::vector<std::string>> runs = {
      {"dvd", disc, "--titleset", "1", "--pgc", "1", "-q", "-o", out + "/t.vob"},
      {"demux", disc, "--titleset", "1", "--pgc", "1", "-q", "--ac3", "0=" + out + "/a.ac3",
       "--video", out + "/v.m2v", "--timing"},
      {"demux", disc + "/VTS_01_1.VOB", "-q", "--mpeg", "1=" + out + "/m.mp2"},
      {"cat", dir.path("long.lst"), "-q", "-o", out + "/j.mpg"},
  };
  for (const auto& args : runs) {
    SCOPED_TRACE(args[0] + " " + args[1]);
    Interrupted run = interrupt(args, out, signal);
    ASSERT_TRUE(run.caught) << "the tool ended before it could be interrupted";
    EXPECT_EQ(run.status, 128 + signal);
    EXPECT_TRUE(fs::is_empty(out)) << "left: " << fs::directory_iterator(out)->path();
  }
}

INSTANTIATE_TEST_SUITE_P(Each, ToolSignals, testing::Values(SIGINT, SIGHUP, SIGTERM),
                         [](const testing::TestParamInfo<int>& signal) {
                           switch (signal.param) {
                             case SIGINT: return std::string("Interrupt");
                             case SIGHUP: return std::string("HangUp");
                             default: return std::string("Terminate");
                           }
                         });

TEST(ToolSafety, VobFileWithoutAChosenStreamFailsAndWritesNothing) {
  ScratchDir dir;
  const std::string vob = dir.path("in.vob");
  fs::copy_file(kDisc + "/VTS_01_1.VOB", vob);
  Result run = runTool({"demux", vob, "--ac3", "5=" + dir.path("none.ac3"), "--ac3",
                        "0=" + dir.path("en.ac3"), "--timing"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("none.ac3: the input holds no packet of this stream"), std::string::npos)
      << run.err;
  EXPECT_EQ(run.err.find("en.ac3"), std::string::npos) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(snapshot(dir.root()).size(), 1u);
}

TEST(ToolSafety, FileOfRandomBytesIsRefusedAsNoProgramStream) {
  ScratchDir dir;
  std::string noise(311 * 2048, '\0');
  std::uint32_t state = 12345;
  for (char& c : noise) {
    state = state * 1103515245u + 12345u;
    c = static_cast<char>(state >> 24);
  }
  for (std::size_t size : {noise.size(), noise.size() - 100}) {
    dir.write("noise.vob", noise.substr(0, size));
    Result run = runTool({"demux", dir.path("noise.vob"), "--video", dir.path("v.m2v")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("noise.vob: holds no MPEG-2 program stream pack"), std::string::npos)
        << run.err;
    EXPECT_EQ(snapshot(dir.root()).size(), 1u);
  }
}

// A pack from sector 64 of title set 1 on scrambled: past the packs a disc
// image's opening check looks at, so only reading can find it.
TEST(ToolSafety, PackScrambledDeepInTheTitleStopsTheRun) {
  ScratchDir dir;
  const std::string disc = dir.path("VIDEO_TS");
  fs::copy(kDisc, disc);
  const std::string vob = disc + "/VTS_01_1.VOB";
  std::string bytes = fileBytes(vob);
  // The first pack there whose header has no stuffing and whose packet is
  // video, audio or private stream 1.
  std::size_t sector = 64;
  for (;; ++sector) {
    ASSERT_LE((sector + 1) * 2048, bytes.size());
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data()) + sector * 2048;
    if ((p[13] & 7) == 0 && (p[17] == 0xBD || (p[17] >= 0xC0 && p[17] <= 0xEF))) break;
  }
  bytes[sector * 2048 + 20] = static_cast<char>(bytes[sector * 2048 + 20] | 0x10);
  std::ofstream(vob, std::ios::binary) << bytes;
  const std::string out = dir.path("out");
  fs::create_directories(out);
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"dvd", disc, "--titleset", "1", "--pgc", "1", "--range", "-o", out + "/t.vob"},
           {"dvd", disc, "--titleset", "1", "--pgc", "1", "-o", out + "/t.vob"},
           {"demux", disc, "--titleset", "1", "--pgc", "1", "--video", out + "/v.m2v"}}) {
    SCOPED_TRACE(args[0]);
    Result run = runTool(args);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("the disc is scrambled (CSS; VTS_01_1.VOB is encrypted)"),
              std::string::npos)
        << run.err;
    EXPECT_TRUE(fs::is_empty(out));
  }
}

// Players read a title set's backup copy when its IFO is gone, and so does
// the tool: the same bytes, with a warning.
TEST(ToolSafety, MissingTitleSetIfoIsReadFromItsBackup) {
  ScratchDir dir;
  const std::string disc = dir.path("VIDEO_TS");
  fs::copy(kDisc, disc);
  fs::remove(disc + "/VTS_01_0.IFO");
  const std::string args[] = {"--titleset", "1", "--pgc", "1", "-o", "-"};
  Result whole = runTool({"dvd", kDisc, args[0], args[1], args[2], args[3], args[4], args[5]});
  Result run = runTool({"dvd", disc, args[0], args[1], args[2], args[3], args[4], args[5]});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(run.out == whole.out);
  EXPECT_NE(run.err.find("VTS_01_0.IFO: warning: cannot be read (no such file); its backup copy "
                         "VTS_01_0.BUP is read instead"),
            std::string::npos)
      << run.err;
}

// Neither copy of title set 1's IFO: title set 2 is still title set 2, and
// title set 1 is reported unusable, naming its file and why.
TEST(ToolSafety, TitleSetWithoutIfoOrBackupKeepsTheOthersNumbers) {
  ScratchDir dir;
  const std::string disc = dir.path("VIDEO_TS");
  fs::copy(kDisc, disc);
  fs::remove(disc + "/VTS_01_0.IFO");
  fs::remove(disc + "/VTS_01_0.BUP");
  Result whole = runTool({"dvd", kDisc, "--titleset", "2", "--pgc", "1", "-o", "-"});
  Result second = runTool({"dvd", disc, "--titleset", "2", "--pgc", "1", "-o", "-"});
  ASSERT_EQ(second.status, 0) << second.err;
  EXPECT_TRUE(second.out == whole.out);
  Result first = runTool({"dvd", disc, "--titleset", "1", "--pgc", "1", "-o", dir.path("t.vob")});
  EXPECT_EQ(first.status, 1);
  EXPECT_NE(first.err.find("title set 1 cannot be used: " + disc +
                           "/VTS_01_0.IFO: no such file; its backup copy cannot be read either"),
            std::string::npos)
      << first.err;
  EXPECT_FALSE(fs::exists(dir.path("t.vob")));
  Result info = runTool({"info", disc, "--chains"});
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_NE(info.out.find("Title set 1: unusable (" + disc + "/VTS_01_0.IFO: no such file"),
            std::string::npos)
      << info.out;
  EXPECT_NE(info.out.find("Title set 2: 1 program chain\n"), std::string::npos) << info.out;

  // Disc titles alike: a title of title set 2 plays as on the whole disc, a
  // title of title set 1 says why it cannot.
  const Json titles = parseJson(runTool({"info", kDisc, "--json"}).out)["titles"];
  for (std::size_t t = 0; t < titles.size(); ++t) {
    const std::string number = std::to_string(titles[t]["title"].integer());
    SCOPED_TRACE("title " + number);
    if (titles[t]["title_set"].integer() == 2) {
      Result onWhole = runTool({"dvd", kDisc, "--title", number, "-o", "-"});
      Result onDamaged = runTool({"dvd", disc, "--title", number, "-o", "-"});
      ASSERT_EQ(onDamaged.status, 0) << onDamaged.err;
      EXPECT_TRUE(onDamaged.out == onWhole.out);
    } else {
      Result run = runTool({"dvd", disc, "--title", number, "-o", dir.path("t.vob")});
      EXPECT_EQ(run.status, 1);
      EXPECT_NE(run.err.find("is in title set 1, which cannot be used: " + disc +
                             "/VTS_01_0.IFO: no such file"),
                std::string::npos)
          << run.err;
      EXPECT_FALSE(fs::exists(dir.path("t.vob")));
    }
  }
}

// The audio streams program chain 1 of title set 1 plays, by pack id, as
// libdvdread reads its stream control table and the title set's codings.
std::set<int> playedAudioIds(const Facts& facts) {
  std::set<int> ids;
  const int streams = static_cast<int>(number(facts.at("vts.1.audio_streams")));
  for (int a = 0; a < streams; ++a) {
    const long long control = number(facts.at("vts.1.pgc.1.audio_control." + std::to_string(a)));
    if (!(control & 0x8000)) continue;
    const int stream = static_cast<int>((control >> 8) & 7);
    const long long coding = number(field(facts.at("vts.1.audio." + std::to_string(a)), "coding"));
    ids.insert((coding == 0 ? 0x80 : 0xC0) + stream);
  }
  return ids;
}

// A stream chosen by its id that the chain does not play would give a
// title without that audio, or an empty file: the run fails before writing
// and names the tracks there are; a stream it plays is written.
TEST(ToolSafety, StreamTheSelectionDoesNotPlayIsRefusedBeforeAnythingIsWritten) {
  const std::set<int> played = playedAudioIds(loadFacts());
  ASSERT_FALSE(played.empty());
  ScratchDir dir;
  for (const char* option : {"--ac3", "--mpeg"}) {
    for (int k = 0; k < 8; ++k) {
      const int id = (std::string(option) == "--ac3" ? 0x80 : 0xC0) + k;
      SCOPED_TRACE(std::string(option) + " " + std::to_string(k));
      const std::string title = dir.path("t.vob"), audio = dir.path("a.raw");
      Result dvd = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", option,
                            std::to_string(k), "-o", title, "-q"});
      Result demux = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", option,
                              std::to_string(k) + "=" + audio, "-q"});
      if (played.count(id)) {
        EXPECT_EQ(dvd.status, 0) << dvd.err;
        EXPECT_EQ(demux.status, 0) << demux.err;
        EXPECT_GT(fs::file_size(audio), 0u);
      } else {
        for (const Result* run : {&dvd, &demux}) {
          EXPECT_EQ(run->status, 1) << run->err;
          EXPECT_NE(run->err.find("does not play the stream " + std::string(option) + " " +
                                  std::to_string(k) + " chooses"),
                    std::string::npos)
              << run->err;
          EXPECT_NE(run->err.find("its audio tracks: 1 en, 2 de"), std::string::npos) << run->err;
        }
        EXPECT_FALSE(fs::exists(title));
        EXPECT_FALSE(fs::exists(audio));
      }
      fs::remove(title);
      fs::remove(audio);
    }
  }
  // Subpictures alike: the chain's one subtitle track is stream 0 in every
  // view (its control 0x80000000).
  ASSERT_EQ(loadFacts().at("vts.1.pgc.1.subp_control.0"), "0x80000000");
  const std::string subs = dir.path("s.sub");
  Result carried = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", "--sub", "0=" + subs, "-q"});
  EXPECT_EQ(carried.status, 0) << carried.err;
  fs::remove(subs);
  Result absent = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", "--sub", "5=" + subs, "-q"});
  EXPECT_EQ(absent.status, 1) << absent.err;
  EXPECT_NE(absent.err.find("its subtitle tracks: 1 en"), std::string::npos) << absent.err;
  EXPECT_FALSE(fs::exists(subs));
}
