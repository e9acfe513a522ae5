// The tool's data on the bundled samples: every subcommand's output against
// an independent reference (the files themselves, libdvdread's digests and
// values, ffmpeg's demultiplexed streams, the reviewed IFO listing).
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "cli/json.h"
#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/scratch.h"
#include "support/sha256.h"

using namespace cli_test;
using testing_support::readWholeFile;
using testing_support::ScratchDir;

namespace {

std::string listedFiles() {
  const std::string dir = kSamples + "/list/";
  return readWholeFile(dir + "clip1.mpg") + readWholeFile(dir + "clip2.mpg") +
         readWholeFile(dir + "clip3.mpg");
}

// The bytes of sectors [first, last] of title set `t`'s joined VOB files.
std::string sectors(int t, long long first, long long last) {
  std::string joined = titleSetBytes(kDisc, t);
  return joined.substr(static_cast<std::size_t>(first) * 2048,
                       static_cast<std::size_t>(last - first + 1) * 2048);
}

struct Chain {
  int titleSet, pgc;
};
const std::vector<Chain> kChains = {{1, 1}, {1, 2}, {2, 1}};

std::string key(const Chain& c) {
  return "vts." + std::to_string(c.titleSet) + ".pgc." + std::to_string(c.pgc) + ".";
}

}  // namespace

TEST(ToolCat, WritesTheListedFilesOneAfterTheOther) {
  Result run = runTool({"cat", "sample.lst"}, kSamples + "/list");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(run.out == listedFiles());
}

TEST(ToolCat, WritesTheSameBytesToAnOutputFile) {
  ScratchDir dir;
  Result run = runTool({"cat", "sample.lst", "-o", dir.path("joined.mpg")}, kSamples + "/list");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(readWholeFile(dir.path("joined.mpg")) == listedFiles());
  // Nothing but the output is left in the folder.
  int entries = 0;
  for (const auto& e : std::filesystem::directory_iterator(dir.root())) (void)e, ++entries;
  EXPECT_EQ(entries, 1);
}

TEST(ToolCat, PlaysAMediaFileByItself) {
  Result run = runTool({"cat", kSamples + "/list/clip3.mpg"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(run.out == readWholeFile(kSamples + "/list/clip3.mpg"));
}

TEST(ToolDvd, ProgramChainsEqualLibdvdreadDigests) {
  Facts facts = loadFacts();
  for (const char* disc : {"dvd/VIDEO_TS", "dvd-lower/video_ts", "dvd"}) {
    for (const Chain& c : kChains) {
      SCOPED_TRACE(std::string(disc) + " " + key(c));
      Result run = runTool({"dvd", kSamples + "/" + disc, "--titleset", std::to_string(c.titleSet),
                         "--pgc", std::to_string(c.pgc)});
      ASSERT_EQ(run.status, 0) << run.err;
      const std::string& fact = facts[key(c) + "sha256"];
      EXPECT_EQ(testing_support::sha256Hex(run.out), fact.substr(0, 64));
      EXPECT_EQ(static_cast<long long>(run.out.size()), number(field(fact, "sectors")) * 2048);
    }
  }
}

TEST(ToolDvd, OneCellIsItsSectorRange) {
  Facts facts = loadFacts();
  for (int cell = 1; cell <= 3; ++cell) {
    SCOPED_TRACE(cell);
    const std::string& fact = facts["vts.1.pgc.1.cell." + std::to_string(cell) + ".sectors"];
    Result run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", "--cell", std::to_string(cell)});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out == sectors(1, number(field(fact, "first")), number(field(fact, "last"))));
  }
}

// Pack by pack: the filtered output holds exactly the packs of the range that
// are the chosen stream or not audio, in their order.
TEST(ToolDvd, Ac3FilterKeepsTheChosenStreamAndEverythingButAudio) {
  for (const Chain& c : {kChains[0], kChains[1]}) {
    SCOPED_TRACE(key(c));
    Facts facts = loadFacts();
    long long first = number(field(facts[key(c) + "cell.1.sectors"], "first"));
    std::string range = sectors(c.titleSet, first,
                                first + number(field(facts[key(c) + "sha256"], "sectors")) - 1);
    std::string expected;
    int dropped = 0;
    for (std::size_t at = 0; at < range.size(); at += 2048) {
      std::string pack = range.substr(at, 2048);
      int stream = packStream(pack);
      if (isAudio(stream) && stream != 0xBD80)
        ++dropped;
      else
        expected += pack;
    }
    ASSERT_GT(dropped, 0);
    Result run = runTool({"dvd", kDisc, "--titleset", std::to_string(c.titleSet), "--pgc",
                       std::to_string(c.pgc), "--ac3", "0"});
    ASSERT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(run.out.size(), expected.size());
    EXPECT_TRUE(run.out == expected);
  }
}

// With one MPEG audio stream kept, its packs leave as stream 0xC0.
TEST(ToolDvd, MpegFilterKeepsTheChosenStreamAsStreamZero) {
  std::string range = sectors(2, 0, 65);
  std::string expected;
  for (std::size_t at = 0; at < range.size(); at += 2048) {
    std::string pack = range.substr(at, 2048);
    int stream = packStream(pack);
    if (stream == 0xC1) {
      pack[14 + (static_cast<unsigned char>(pack[13]) & 7) + 3] = static_cast<char>(0xC0);
      expected += pack;
    } else if (!isAudio(stream)) {
      expected += pack;
    }
  }
  Result run = runTool({"dvd", kDisc, "--titleset", "2", "--pgc", "1", "--mpeg", "1"});
  ASSERT_EQ(run.status, 0) << run.err;
  ASSERT_EQ(run.out.size(), expected.size());
  EXPECT_TRUE(run.out == expected);
  EXPECT_LT(run.out.size(), range.size());
}

TEST(ToolDvd, OutputFileEqualsStandardOutput) {
  ScratchDir dir;
  Result run = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "2", "--ac3", "0", "-o", dir.path("t.vob")});
  ASSERT_EQ(run.status, 0) << run.err;
  Result piped = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "2", "--ac3", "0"});
  EXPECT_TRUE(readWholeFile(dir.path("t.vob")) == piped.out);
}

namespace {

struct RefStream {
  std::string key, id, ext;
};

std::vector<RefStream> titleReferences() {
  std::ifstream in(kSamples + "/dvd/refs/index.txt");
  std::vector<RefStream> refs;
  std::string kind, k, id, ext;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    fields >> kind >> k >> id >> ext;
    if (kind == "stream" && k.find("menu") == std::string::npos) refs.push_back({k, id, ext});
  }
  return refs;
}

std::string streamOption(const RefStream& r, const std::string& file) {
  unsigned id = static_cast<unsigned>(std::stoul(r.id, nullptr, 16));
  if (id >= 0x80 && id <= 0x87) return "--ac3=" + std::to_string(id & 7) + "=" + file;
  if (id >= 0x1C0) return "--mpeg=" + std::to_string(id & 0x1F) + "=" + file;
  return "--sub=" + std::to_string(id & 0x1F) + "=" + file;
}

}  // namespace

TEST(ToolDemux, StreamsEqualTheFfmpegReferences) {
  std::vector<RefStream> refs = titleReferences();
  ASSERT_EQ(refs.size(), 8u);
  for (const Chain& c : kChains) {
    SCOPED_TRACE(key(c));
    ScratchDir dir;
    std::vector<std::string> args = {"demux", kDisc, "--titleset", std::to_string(c.titleSet),
                                     "--pgc", std::to_string(c.pgc), "--timing", "-q"};
    std::vector<RefStream> mine;
    for (const auto& r : refs)
      if (r.key + "." == key(c)) {
        mine.push_back(r);
        args.push_back(streamOption(r, dir.path(r.id + "." + r.ext)));
      }
    ASSERT_FALSE(mine.empty());
    Result run = runTool(args);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "");
    for (const auto& r : mine) {
      SCOPED_TRACE(r.id);
      std::string out = readWholeFile(dir.path(r.id + "." + r.ext));
      EXPECT_FALSE(out.empty());
      EXPECT_TRUE(out == readWholeFile(kSamples + "/dvd/refs/" + r.key + "." + r.id + "." + r.ext));
      // One timing line per PES packet with a time stamp, in the file's
      // format ("position PTS DTS" and CR LF).
      std::string timing = readWholeFile(dir.path(r.id + "." + r.ext + ".timing"));
      EXPECT_FALSE(timing.empty());
      EXPECT_NE(timing.find("\r\n"), std::string::npos);
    }
  }
}

// A VOB that is already cut (here the tool's own program chain output) is
// demultiplexed the same way.
TEST(ToolDemux, ACutVobFileGivesTheSameStreams) {
  ScratchDir dir;
  Result cut = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", "-o", dir.path("pgc.vob")});
  ASSERT_EQ(cut.status, 0) << cut.err;
  Result run = runTool({"demux", dir.path("pgc.vob"), "--ac3", "0=" + dir.path("a.ac3"), "--mpeg",
                     "1=" + dir.path("b.mp2"), "--sub", "0=" + dir.path("s.sub")});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string refs = kSamples + "/dvd/refs/vts.1.pgc.1.";
  EXPECT_TRUE(readWholeFile(dir.path("a.ac3")) == readWholeFile(refs + "0x80.ac3"));
  EXPECT_TRUE(readWholeFile(dir.path("b.mp2")) == readWholeFile(refs + "0x1c1.mp2"));
  EXPECT_TRUE(readWholeFile(dir.path("s.sub")) == readWholeFile(refs + "0x20.sub"));
  EXPECT_FALSE(std::filesystem::exists(dir.path("a.ac3.timing")));
}

// A VOB of several megabytes (the first program chain twelve times over) is
// read in several chunks by two readers at once; the streams still come out
// whole and in order: each reference twelve times, and timing lines for
// every packet with their positions rising through the output.
TEST(ToolDemux, LargeInputComesOutInOrder) {
  ScratchDir dir;
  Result cut = runTool({"dvd", kDisc, "--titleset", "1", "--pgc", "1", "-o", dir.path("pgc.vob")});
  ASSERT_EQ(cut.status, 0) << cut.err;
  std::string pgc = readWholeFile(dir.path("pgc.vob"));
  std::string big;
  for (int i = 0; i < 12; ++i) big += pgc;
  ASSERT_GT(big.size(), 4u << 20);
  dir.write("big.vob", big);

  Result one = runTool({"demux", dir.path("pgc.vob"), "--ac3", "0=" + dir.path("one.ac3"), "--timing"});
  ASSERT_EQ(one.status, 0) << one.err;
  Result run = runTool({"demux", dir.path("big.vob"), "--ac3", "0=" + dir.path("a.ac3"), "--mpeg",
                        "1=" + dir.path("b.mp2"), "--sub", "0=" + dir.path("s.sub"), "--timing"});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string refs = kSamples + "/dvd/refs/vts.1.pgc.1.";
  for (const auto& [out, ref] : std::vector<std::pair<std::string, std::string>>{
           {"a.ac3", "0x80.ac3"}, {"b.mp2", "0x1c1.mp2"}, {"s.sub", "0x20.sub"}}) {
    std::string expected;
    for (int i = 0; i < 12; ++i) expected += readWholeFile(refs + ref);
    std::string got = readWholeFile(dir.path(out));
    EXPECT_EQ(got.size(), expected.size()) << out;
    EXPECT_TRUE(got == expected) << out;
  }
  std::istringstream single(readWholeFile(dir.path("one.ac3.timing")));
  std::istringstream lines(readWholeFile(dir.path("a.ac3.timing")));
  std::vector<long long> positions;
  long long position, pts, dts;
  while (single >> position >> pts >> dts) positions.push_back(position);
  ASSERT_FALSE(positions.empty());
  const long long size = static_cast<long long>(readWholeFile(refs + "0x80.ac3").size());
  for (int copy = 0; copy < 12; ++copy)
    for (long long first : positions) {
      ASSERT_TRUE(lines >> position >> pts >> dts) << "copy " << copy;
      EXPECT_EQ(position, first + copy * size) << "copy " << copy;
    }
  EXPECT_FALSE(lines >> position);
}

TEST(ToolDemux, VideoStreamIsTheVideoPayload) {
  ScratchDir dir;
  Result run = runTool({"demux", kDisc, "--titleset", "2", "--pgc", "1", "--video", dir.path("v.m2v")});
  ASSERT_EQ(run.status, 0) << run.err;
  std::string video = readWholeFile(dir.path("v.m2v"));
  ASSERT_GT(video.size(), 4u);
  // An MPEG video elementary stream starts with a sequence header.
  EXPECT_EQ(video.substr(0, 4), std::string("\x00\x00\x01\xB3", 4));
}

TEST(ToolIfo, EqualsTheReviewedListing) {
  const std::string golden = readWholeFile(kSamples + "/dvd/ifo-dump.txt");
  for (const std::string& disc : {kDisc, kLowerDisc}) {
    SCOPED_TRACE(disc);
    Result run = runTool({"ifo", disc});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, golden);
  }
}

TEST(ToolInfo, JsonAgreesWithLibdvdread) {
  Facts f = loadFacts();
  Result run = runTool({"info", kDisc, "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  Json info = parseJson(run.out);
  const Json& disc = info["disc"];
  EXPECT_EQ(disc["provider_id"].str, f["vmg.provider_id"]);
  EXPECT_EQ(disc["volumes"].integer(), number(f["vmg.volumes"]));
  EXPECT_EQ(disc["volume"].integer(), number(f["vmg.volume"]));
  EXPECT_EQ(disc["side"].integer(), number(f["vmg.disc_side"]));
  EXPECT_EQ(disc["title_set_count"].integer(), number(f["vmg.title_sets"]));
  EXPECT_EQ(disc["title_count"].integer(), number(f["vmg.titles"]));
  ASSERT_EQ(static_cast<long long>(info["titles"].size()), number(f["vmg.titles"]));
  for (std::size_t i = 0; i < info["titles"].size(); ++i) {
    const Json& t = info["titles"][i];
    std::string k = "title." + std::to_string(i + 1) + ".";
    SCOPED_TRACE(k);
    EXPECT_EQ(t["title"].integer(), static_cast<long long>(i + 1));
    EXPECT_EQ(t["title_set"].integer(), number(f[k + "title_set"]));
    EXPECT_EQ(t["title_in_set"].integer(), number(f[k + "title_in_set"]));
    EXPECT_EQ(t["chapter_count"].integer(), number(f[k + "chapters"]));
    EXPECT_EQ(t["chapters"].size(), static_cast<std::size_t>(number(f[k + "chapters"])));
    EXPECT_EQ(t["angles"].integer(), number(f[k + "angles"]));
  }
  const Json& sets = info["title_sets"];
  ASSERT_EQ(static_cast<long long>(sets.size()), number(f["vmg.title_sets"]));
  const std::map<long long, std::string> codings = {{0, "ac3"}, {2, "mpeg1"}, {3, "mpeg2ext"},
                                                    {4, "lpcm"}, {6, "dts"}};
  for (std::size_t s = 0; s < sets.size(); ++s) {
    const Json& vts = sets[s];
    std::string k = "vts." + std::to_string(s + 1) + ".";
    SCOPED_TRACE(k);
    EXPECT_EQ(vts["title_set"].integer(), static_cast<long long>(s + 1));
    ASSERT_EQ(static_cast<long long>(vts["pgcs"].size()), number(f[k + "pgcs"]));
    for (std::size_t p = 0; p < vts["pgcs"].size(); ++p) {
      const Json& pgc = vts["pgcs"][p];
      std::string pk = k + "pgc." + std::to_string(p + 1) + ".";
      SCOPED_TRACE(pk);
      EXPECT_EQ(pgc["pgc"].integer(), static_cast<long long>(p + 1));
      EXPECT_EQ(pgc["program_count"].integer(), number(f[pk + "programs"]));
      EXPECT_EQ(pgc["cell_count"].integer(), number(f[pk + "cells"]));
      ASSERT_EQ(static_cast<long long>(pgc["audio"].size()), number(f[k + "audio_streams"]));
      for (std::size_t a = 0; a < pgc["audio"].size(); ++a) {
        const std::string& fact = f[k + "audio." + std::to_string(a)];
        const Json& audio = pgc["audio"][a];
        EXPECT_EQ(audio["track"].integer(), static_cast<long long>(a + 1));
        EXPECT_EQ(audio["coding"].str, codings.at(number(field(fact, "coding"))));
        // libdvdread keeps the channel count less one.
        EXPECT_EQ(audio["channels"].integer(), number(field(fact, "channels")) + 1);
        EXPECT_EQ(audio["language"].str, field(fact, "lang"));
      }
      ASSERT_EQ(static_cast<long long>(pgc["subtitles"].size()), number(f[k + "subp_streams"]));
      for (std::size_t t = 0; t < pgc["subtitles"].size(); ++t) {
        EXPECT_EQ(pgc["subtitles"][t]["track"].integer(), static_cast<long long>(t + 1));
        EXPECT_EQ(pgc["subtitles"][t]["language"].str, field(f[k + "subp." + std::to_string(t)], "lang"));
      }
      long long cells = number(f[pk + "cells"]);
      long long first = number(field(f[pk + "cell.1.sectors"], "first"));
      long long last = number(field(f[pk + "cell." + std::to_string(cells) + ".sectors"], "last"));
      EXPECT_EQ(pgc["first_sector"].integer(), first);
      EXPECT_EQ(pgc["last_sector"].integer(), last);
      EXPECT_EQ(pgc["sectors"].integer(), number(field(f[pk + "sha256"], "sectors")));
      EXPECT_EQ(pgc["bytes"].integer(), number(field(f[pk + "sha256"], "sectors")) * 2048);
      ASSERT_EQ(static_cast<long long>(pgc["cells"].size()), cells);
      double total = 0;
      for (long long c = 0; c < cells; ++c) {
        const Json& cell = pgc["cells"][static_cast<std::size_t>(c)];
        std::string ck = pk + "cell." + std::to_string(c + 1) + ".";
        EXPECT_EQ(cell["cell"].integer(), c + 1);
        EXPECT_EQ(cell["first_sector"].integer(), number(field(f[ck + "sectors"], "first")));
        EXPECT_EQ(cell["last_sector"].integer(), number(field(f[ck + "sectors"], "last")));
        long long cellFrames;
        int cellRate;
        timeToFrames(f[ck + "time"], &cellFrames, &cellRate);
        // Frames last 1001/30000 s at the 30 rate code, 1/25 s otherwise.
        const double frames = static_cast<double>(cellFrames);
        const double seconds = cellRate == 30 ? frames * 1001.0 / 30000.0 : frames / 25.0;
        EXPECT_NEAR(cell["length_seconds"].num, seconds, 0.0015);
        total += seconds;
      }
      EXPECT_NEAR(pgc["duration_seconds"].num, total, 0.0015);
    }
  }
}

TEST(ToolInfo, TableNamesEveryProgramChainAndStream) {
  Result run = runTool({"info", kDisc, "--chains"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("Provider \"DVDAuthor 0.7.2\""), std::string::npos);
  EXPECT_NE(run.out.find("Title set 1: 2 program chains"), std::string::npos);
  EXPECT_NE(run.out.find("  Audio 1: en  ac3      2 ch  48000 Hz\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("  Subtitle 1: en\n"), std::string::npos);
  EXPECT_NE(run.out.find("    1  0:00:03.000          3      3             0          189      190  389120"),
            std::string::npos)
      << run.out;
  // Without --chains only the titles and their tracks.
  EXPECT_EQ(runTool({"info", kDisc}).out.find("Title set 1:"), std::string::npos);
}

// A symbolic link or a pipe is written through, never renamed onto. The
// test makes its own link and pipe: were the rule broken, a system device
// would be replaced.
TEST(ToolDemux, WritesThroughLinksAndPipes) {
  ScratchDir dir;
  std::string target = dir.path("target.ac3");
  std::string link = dir.path("link.ac3");
  std::filesystem::create_symlink(target, link);
  Result run = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", "--ac3", "0=" + link});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_TRUE(readWholeFile(target) == readWholeFile(kSamples + "/dvd/refs/vts.1.pgc.1.0x80.ac3"));

  std::string pipe = dir.path("pipe");
  std::string copy = dir.path("copy.vob");
  ASSERT_EQ(runShell("mkfifo " + quote(pipe)).status, 0);
  run = runShell("cat " + quote(pipe) + " > " + quote(copy) + " & " + quote(toolPath()) +
                 " dvd " + quote(kDisc) + " --titleset 1 --pgc 1 -o " + quote(pipe) + "; s=$?; wait; exit $s");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(std::filesystem::file_size(copy), 190u * 2048);
  EXPECT_EQ(std::filesystem::status(pipe).type(), std::filesystem::file_type::fifo);
}
