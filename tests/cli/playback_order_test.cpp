// Program chains as a player plays them: the tool's --playback-order output
// against libdvdread's reading of the same cells in the same order, on the
// main sample (adjoining cells) and on the branching sample, whose titles 2
// and 3 play title 1's cells in reverse and skipping one; and the audio
// delays demux prints, against the first time stamps ffprobe reads.
#include <gtest/gtest.h>

#include <algorithm>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
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

const std::string kBranching = kSamples + "/dvd-branching";

struct Chain {
  std::string disc;  // the sample's folder name
  int titleSet, pgc;
};
const std::vector<Chain> kAllChains = {{"dvd", 1, 1}, {"dvd", 1, 2}, {"dvd", 2, 1},
                                       {"dvd-branching", 1, 1}, {"dvd-branching", 1, 2},
                                       {"dvd-branching", 1, 3}};

std::string key(const Chain& c) {
  return "vts." + std::to_string(c.titleSet) + ".pgc." + std::to_string(c.pgc) + ".";
}

Result playbackOrder(const std::string& disc, int pgc, std::vector<std::string> more = {}) {
  std::vector<std::string> args = {"dvd", disc, "--titleset", "1", "--pgc", std::to_string(pgc),
                                   "--playback-order"};
  args.insert(args.end(), more.begin(), more.end());
  return runTool(args);
}

// The chain's cells, each one's sectors from the joined VOB files, in the
// chain's order, as libdvdread's facts give them.
std::string cellsInOrder(const std::string& disc, const Chain& c) {
  Facts facts = loadFacts(c.disc);
  std::string joined = titleSetBytes(disc, c.titleSet);
  std::string bytes;
  long long cells = number(facts[key(c) + "cells"]);
  for (long long i = 1; i <= cells; ++i) {
    const std::string& fact = facts[key(c) + "cell." + std::to_string(i) + ".sectors"];
    long long first = number(field(fact, "first")), last = number(field(fact, "last"));
    bytes += joined.substr(static_cast<std::size_t>(first) * 2048,
                           static_cast<std::size_t>(last - first + 1) * 2048);
  }
  return bytes;
}

// A copy of the branching sample to damage.
std::string branchingCopy(const ScratchDir& dir) {
  std::filesystem::copy(kBranching + "/VIDEO_TS", dir.path("VIDEO_TS"));
  return dir.path("VIDEO_TS");
}

unsigned readU16(const std::string& b, std::size_t at) {
  return (static_cast<unsigned char>(b[at]) << 8) | static_cast<unsigned char>(b[at + 1]);
}
unsigned readU32(const std::string& b, std::size_t at) {
  return (readU16(b, at) << 16) | readU16(b, at + 2);
}

// The byte offset of program chain `pgc`'s (1-based) header in a title set
// IFO, and of its cell `cell`'s playback entry.
std::size_t chainAt(const std::string& ifo, int pgc) {
  std::size_t table = readU32(ifo, 0xCC) * 2048u;
  return table + readU32(ifo, table + 8 + 8 * (pgc - 1) + 4);
}
std::size_t cellAt(const std::string& ifo, int pgc, int cell) {
  std::size_t chain = chainAt(ifo, pgc);
  return chain + readU16(ifo, chain + 0xE8) + 24 * (cell - 1);
}

void patchIfo(const std::string& folder, const std::function<void(std::string&)>& change) {
  std::string ifo = readWholeFile(folder + "/VTS_01_0.IFO");
  change(ifo);
  std::ofstream(folder + "/VTS_01_0.IFO", std::ios::binary | std::ios::trunc) << ifo;
}

void putU32(std::string& b, std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<char>(v >> (24 - 8 * i));
}

}  // namespace

TEST(ToolDvdPlaybackOrder, EqualsLibdvdreadReadingTheCellsInOrder) {
  for (const Chain& c : kAllChains) {
    SCOPED_TRACE(c.disc + " " + key(c));
    Facts facts = loadFacts(c.disc);
    Result run = runTool({"dvd", kSamples + "/" + c.disc, "--titleset", std::to_string(c.titleSet),
                          "--pgc", std::to_string(c.pgc), "--playback-order"});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string& fact = facts[key(c) + "playback_sha256"];
    ASSERT_EQ(fact.size() > 64, true) << "no libdvdread digest: " << fact;
    EXPECT_EQ(testing_support::sha256Hex(run.out), fact.substr(0, 64));
    EXPECT_EQ(static_cast<long long>(run.out.size()), number(field(fact, "sectors")) * 2048);
  }
}

// The branching titles' cells, rebuilt from the VOB bytes: the skipped cell's
// sectors are not there, the reversed cells come last first.
TEST(ToolDvdPlaybackOrder, KeepsOnlyEachCellsOwnSectorsInTheChainsOrder) {
  for (int pgc : {2, 3}) {
    SCOPED_TRACE(pgc);
    Result run = playbackOrder(kBranching, pgc);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out == cellsInOrder(kBranching + "/VIDEO_TS", {"dvd-branching", 1, pgc}));
  }
}

// Where the cells adjoin in order, the chain's range and its cells are the
// same sectors.
TEST(ToolDvdPlaybackOrder, AdjoiningCellsGiveTheRangesBytes) {
  for (const Chain& c : {kAllChains[0], kAllChains[1], kAllChains[2], kAllChains[3]}) {
    SCOPED_TRACE(c.disc + " " + key(c));
    std::vector<std::string> args = {"dvd", kSamples + "/" + c.disc, "--titleset",
                                     std::to_string(c.titleSet), "--pgc", std::to_string(c.pgc)};
    Result ordered = runTool(args);
    args.push_back("--range");
    Result range = runTool(args);
    ASSERT_EQ(range.status, 0) << range.err;
    ASSERT_EQ(ordered.status, 0) << ordered.err;
    EXPECT_TRUE(range.out == ordered.out);
  }
}

// With --range a chain is its first-to-last range, as the filter delivers
// it: for the chain that skips a cell that is the skipped footage too, for
// the reversed one nothing. Foreign footage is written with one warning
// line naming the chain; nothing ends the run.
TEST(ToolDvdPlaybackOrder, WithRangeTheChainHoldsForeignFootageOrNothing) {
  Result skipping = runTool({"dvd", kBranching, "--titleset", "1", "--pgc", "3", "--range"});
  ASSERT_EQ(skipping.status, 0) << skipping.err;
  EXPECT_TRUE(skipping.out == cellsInOrder(kBranching + "/VIDEO_TS", {"dvd-branching", 1, 1}));
  EXPECT_EQ(std::count(skipping.err.begin(), skipping.err.end(), '\n'), 1) << skipping.err;
  EXPECT_NE(skipping.err.find("warning: program chain 3 of title set 1: its cells are not in "
                              "order"),
            std::string::npos)
      << skipping.err;
  EXPECT_NE(skipping.err.find("without --range"), std::string::npos) << skipping.err;
  Result reversed = runTool({"dvd", kBranching, "--titleset", "1", "--pgc", "2", "--range"});
  EXPECT_EQ(reversed.status, 1) << reversed.err;
  EXPECT_EQ(reversed.out.size(), 0u);
  EXPECT_NE(reversed.err.find("program chain 2 of title set 1: its cells are out of order and "
                              "the range from its first cell to its last holds nothing"),
            std::string::npos)
      << reversed.err;
}

TEST(ToolDvdPlaybackOrder, ChainInOrderReadsItsRangeWithoutAWord) {
  Result run = runTool({"dvd", kBranching, "--titleset", "1", "--pgc", "1", "--range"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
}

// The audio choice applies to the cells as to a range: the packs of the
// other AC-3 stream go, everything else stays in order.
TEST(ToolDvdPlaybackOrder, AudioChoiceDropsTheOtherStreamsPacks) {
  for (int pgc : {2, 3}) {
    SCOPED_TRACE(pgc);
    std::string cells = cellsInOrder(kBranching + "/VIDEO_TS", {"dvd-branching", 1, pgc});
    std::string expected;
    int dropped = 0;
    for (std::size_t at = 0; at < cells.size(); at += 2048) {
      std::string pack = cells.substr(at, 2048);
      if (packStream(pack) == 0xBD80) {
        ++dropped;
        continue;
      }
      expected += pack;
    }
    ASSERT_GT(dropped, 0);
    Result run = playbackOrder(kBranching, pgc, {"--ac3", "1"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out == expected);
  }
}

// ffprobe counts the video frames of the written title: as many as the
// cells' playback times add up to (30 frames a second in the IFO's terms),
// within one frame.
TEST(ToolDvdPlaybackOrder, LastsAsLongAsItsCells) {
  if (!commandExists("ffprobe")) GTEST_SKIP() << "ffprobe is not installed (apt-get install ffmpeg)";
  for (int pgc : {1, 2, 3}) {
    SCOPED_TRACE(pgc);
    ScratchDir dir;
    Result run = playbackOrder(kBranching, pgc, {"-o", dir.path("t.vob")});
    ASSERT_EQ(run.status, 0) << run.err;
    Result probe = runShell("ffprobe -v error -select_streams v -count_packets -show_entries "
                            "stream=nb_read_packets -of csv=p=0 " + quote(dir.path("t.vob")));
    ASSERT_EQ(probe.status, 0) << probe.err;
    Facts facts = loadFacts("dvd-branching");
    long long frames = 0;
    for (int cell = 1; cell <= number(facts["vts.1.pgc." + std::to_string(pgc) + ".cells"]); ++cell) {
      const std::string& fact = facts["vts.1.pgc." + std::to_string(pgc) + ".cell." +
                                      std::to_string(cell) + ".time"];
      long long cellFrames = 0;
      int rate = 0;
      timeToFrames(fact.substr(0, fact.find(' ')), &cellFrames, &rate);
      frames += cellFrames;
    }
    EXPECT_LE(std::llabs(std::stoll(probe.out) - frames), 1);
  }
}

TEST(ToolDvdPlaybackOrder, RefusesAChainWithAnAngleBlock) {
  ScratchDir dir;
  std::string disc = branchingCopy(dir);
  // Cell 2 of chain 3: the first cell of an angle block (mode 1, type 1).
  patchIfo(disc, [](std::string& ifo) { ifo[cellAt(ifo, 3, 2)] = static_cast<char>(0x50); });
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "3", "--playback-order"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out.size(), 0u);
  EXPECT_NE(run.err.find("program chain 3 of title set 1: cell 2 belongs to an angle block"),
            std::string::npos) << run.err;
  // The other chains still play.
  EXPECT_EQ(runTool({"dvd", disc, "--titleset", "1", "--pgc", "2", "--playback-order"}).status, 0);
}

TEST(ToolDvdPlaybackOrder, CellBeyondTheTitleSetIsAClearError) {
  ScratchDir dir;
  std::string disc = branchingCopy(dir);
  // Chain 2's second cell now ends 1,000 sectors past the VOB files.
  std::int64_t sectors = static_cast<std::int64_t>(titleSetBytes(disc, 1).size() / 2048);
  patchIfo(disc, [&](std::string& ifo) {
    putU32(ifo, cellAt(ifo, 2, 2) + 20, static_cast<std::uint32_t>(sectors + 999));
  });
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "2", "--playback-order"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out.size(), 0u);
  EXPECT_NE(run.err.find("truncated: title set 1 has " + std::to_string(sectors) +
                         " sectors of VOB data, the selection ends at sector " +
                         std::to_string(sectors + 1000)),
            std::string::npos) << run.err;
}

TEST(ToolDvdPlaybackOrder, CellThatEndsBeforeItStartsIsRefused) {
  ScratchDir dir;
  std::string disc = branchingCopy(dir);
  patchIfo(disc, [](std::string& ifo) { putU32(ifo, cellAt(ifo, 3, 2) + 20, 5); });
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "3", "--playback-order"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out.size(), 0u);
  std::string first = field(loadFacts("dvd-branching")["vts.1.pgc.3.cell.2.sectors"], "first");
  EXPECT_NE(run.err.find("program chain 3 of title set 1: cell 2 ends (sector 5) before it "
                         "starts (sector " + first + ")"),
            std::string::npos) << run.err;
}

TEST(ToolDvdPlaybackOrder, ChainWithoutCellsIsAClearError) {
  ScratchDir dir;
  std::string disc = branchingCopy(dir);
  patchIfo(disc, [](std::string& ifo) {
    std::size_t chain = chainAt(ifo, 2);
    ifo[chain + 2] = 0;  // no programs
    ifo[chain + 3] = 0;  // no cells
  });
  Result run = runTool({"dvd", disc, "--titleset", "1", "--pgc", "2", "--playback-order"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("program chain 2 of title set 1 has no cells"), std::string::npos)
      << run.err;
}

// Demultiplexing a chain in playback order gives the streams of the bytes
// 'dvd --playback-order' writes.
TEST(ToolDemux, PlaybackOrderDemultiplexesTheCellsInOrder) {
  ScratchDir dir;
  ASSERT_EQ(playbackOrder(kBranching, 2, {"-o", dir.path("t.vob")}).status, 0);
  Result fromDisc = runTool({"demux", kBranching, "--titleset", "1", "--pgc", "2", "--playback-order",
                             "--ac3", "0=" + dir.path("a.ac3"), "--video", dir.path("a.m2v"), "-q"});
  ASSERT_EQ(fromDisc.status, 0) << fromDisc.err;
  Result fromFile = runTool({"demux", dir.path("t.vob"), "--ac3", "0=" + dir.path("b.ac3"),
                             "--video", dir.path("b.m2v"), "-q"});
  ASSERT_EQ(fromFile.status, 0) << fromFile.err;
  EXPECT_GT(readWholeFile(dir.path("a.ac3")).size(), 0u);
  EXPECT_TRUE(readWholeFile(dir.path("a.ac3")) == readWholeFile(dir.path("b.ac3")));
  EXPECT_TRUE(readWholeFile(dir.path("a.m2v")) == readWholeFile(dir.path("b.m2v")));
}

namespace {

// The first time stamp ffprobe reports for each stream id of a file.
std::map<std::string, long long> ffprobeFirstStamps(const std::string& file) {
  Result streams = runShell("ffprobe -v error -show_entries stream=index,id -of csv=p=0 " +
                            quote(file));
  std::map<std::string, std::string> ids;  // index -> id
  std::istringstream lines(streams.out);
  std::string line;
  while (std::getline(lines, line)) {
    // "index,id" and, for some streams, more fields after another comma.
    std::size_t comma = line.find(',');
    if (comma == std::string::npos) continue;
    std::size_t end = line.find(',', comma + 1);
    ids[line.substr(0, comma)] = line.substr(comma + 1, end == std::string::npos ? end : end - comma - 1);
  }
  Result packets = runShell("ffprobe -v error -show_entries packet=stream_index,pts -of csv=p=0 " +
                            quote(file));
  std::map<std::string, long long> first;
  std::istringstream rows(packets.out);
  while (std::getline(rows, line)) {
    std::size_t comma = line.find(',');
    if (comma == std::string::npos) continue;
    std::string pts = line.substr(comma + 1);
    if (pts.empty() || pts == "N/A") continue;
    std::string id = ids[line.substr(0, comma)];
    if (!first.count(id)) first[id] = std::stoll(pts);
  }
  return first;
}

long long roundedMilliseconds(long long ticks) {
  return ticks >= 0 ? (ticks + 45) / 90 : -((-ticks + 45) / 90);
}

}  // namespace

// The delay printed for each audio output is the difference of the first
// packet times ffprobe reports for that stream and the video, in the same
// extracted bytes.
TEST(ToolDemux, AudioDelayIsTheDifferenceOfFfprobesFirstPackets) {
  if (!commandExists("ffprobe")) GTEST_SKIP() << "ffprobe is not installed (apt-get install ffmpeg)";
  struct Case {
    std::string disc;
    int pgc;
    bool ordered;
    std::vector<std::pair<std::string, std::string>> streams;  // option value, ffprobe id
  };
  const std::vector<Case> cases = {
      {kSamples + "/dvd", 1, false, {{"--ac3", "0x80"}, {"--mpeg", "0x1c1"}}},
      {kSamples + "/dvd", 2, false, {{"--ac3", "0x80"}, {"--mpeg", "0x1c1"}}},
      {kBranching, 2, true, {{"--ac3", "0x80"}, {"--ac3", "0x81"}}},
      {kBranching, 3, true, {{"--ac3", "0x80"}, {"--ac3", "0x81"}}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.disc + " pgc " + std::to_string(c.pgc));
    ScratchDir dir;
    std::vector<std::string> select = {c.disc, "--titleset", "1", "--pgc", std::to_string(c.pgc)};
    if (c.ordered) select.push_back("--playback-order");
    std::vector<std::string> dvd = {"dvd"};
    dvd.insert(dvd.end(), select.begin(), select.end());
    dvd.insert(dvd.end(), {"-o", dir.path("t.vob"), "-q"});
    ASSERT_EQ(runTool(dvd).status, 0);
    std::map<std::string, long long> stamps = ffprobeFirstStamps(dir.path("t.vob"));
    ASSERT_TRUE(stamps.count("0x1e0"));

    std::vector<std::string> demux = {"demux"};
    demux.insert(demux.end(), select.begin(), select.end());
    for (std::size_t i = 0; i < c.streams.size(); ++i) {
      int number = std::stoi(c.streams[i].second, nullptr, 16) & 0x1F;
      if (c.streams[i].first == "--ac3") number &= 7;
      demux.insert(demux.end(), {c.streams[i].first,
                                 std::to_string(number) + "=" + dir.path("s" + std::to_string(i))});
    }
    Result run = runTool(demux);
    ASSERT_EQ(run.status, 0) << run.err;
    std::string expected;
    for (std::size_t i = 0; i < c.streams.size(); ++i) {
      ASSERT_TRUE(stamps.count(c.streams[i].second)) << c.streams[i].second;
      expected += dir.path("s" + std::to_string(i)) + ": delay " +
                  std::to_string(roundedMilliseconds(stamps[c.streams[i].second] - stamps["0x1e0"])) +
                  " ms\n";
    }
    EXPECT_EQ(run.out, expected);
  }
}

TEST(ToolDemux, QuietLeavesStandardOutputEmpty) {
  ScratchDir dir;
  Result run = runTool({"demux", kDisc, "--titleset", "1", "--pgc", "1", "--ac3",
                        "0=" + dir.path("a.ac3"), "-q"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");
}

// A stream the chain's control table gives it but whose packs the title
// does not hold (a copy of the sample whose first audio track is pointed at
// AC-3 stream 5): written empty with a warning, its delay unknown.
TEST(ToolDemux, DelayOfAStreamWithoutPacketsIsUnknown) {
  ScratchDir dir;
  std::filesystem::copy(kDisc, dir.path("VIDEO_TS"));
  patchIfo(dir.path("VIDEO_TS"), [](std::string& ifo) {
    ifo[chainAt(ifo, 1) + 0x0C] = static_cast<char>(0x85);  // present, stream 5
  });
  Result run = runTool({"demux", dir.path("VIDEO_TS"), "--titleset", "1", "--pgc", "1", "--ac3",
                        "5=" + dir.path("none.ac3")});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, dir.path("none.ac3") + ": delay unknown (no time stamp of this stream)\n");
}

TEST(ToolDemux, PlaybackOrderIsForAFolder) {
  ScratchDir dir;
  Result run = runTool({"demux", kSamples + "/list/clip1.mpg", "--playback-order", "--ac3",
                        "0=" + dir.path("a.ac3")});
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("are for a VIDEO_TS folder, not a file"), std::string::npos) << run.err;
}

// A chain whose cells run backwards has no range to measure: info shows
// that the cells are out of order and what playing them holds, never a
// negative size, in its table and its JSON alike. The cells' sectors come
// from libdvdread's reading of the disc.
TEST(ToolInfo, ChainWithCellsOutOfOrderShowsItsPlaybackSizeNeverANegativeOne) {
  const Facts facts = loadFacts("dvd-branching");
  for (int pgc : {2, 3}) {
    SCOPED_TRACE(pgc);
    long long sectors = 0;
    for (int cell = 1; cell <= 2; ++cell) {
      const std::string fact =
          facts.at("vts.1.pgc." + std::to_string(pgc) + ".cell." + std::to_string(cell) + ".sectors");
      sectors += number(field(fact, "last")) - number(field(fact, "first")) + 1;
    }
    Result table = runTool({"info", kBranching, "--chains"});
    ASSERT_EQ(table.status, 0) << table.err;
    EXPECT_NE(table.out.find("cells out of order; in playback order " + std::to_string(sectors) +
                             " sectors, " + std::to_string(sectors * 2048) + " bytes"),
              std::string::npos)
        << table.out;
    Result json = runTool({"info", kBranching, "--json"});
    ASSERT_EQ(json.status, 0) << json.err;
    const Json chain = parseJson(json.out)["title_sets"][0]["pgcs"][static_cast<std::size_t>(pgc - 1)];
    EXPECT_FALSE(chain["cells_in_order"].boolean);
    EXPECT_GE(chain["sectors"].num, 0);
    EXPECT_GE(chain["bytes"].num, 0);
    EXPECT_EQ(chain["playback_sectors"].num, sectors);
    EXPECT_EQ(chain["playback_bytes"].num, sectors * 2048);
  }
  EXPECT_EQ(runTool({"info", kBranching, "--chains"}).out.find(" -"), std::string::npos);
}
