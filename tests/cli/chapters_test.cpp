// Chapters: the exact time arithmetic of the cells' playback times, the
// chapter list's errors, and the tool's chapter files, checked against
// lsdvd's chapter listing and against what ffmpeg makes of our ffmetadata
// file.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "cli/json.h"
#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "dvdnav/chapter_list.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::readWholeFile;
using testing_support::ScratchDir;
namespace fs = std::filesystem;

namespace {

// A cell whose playback time is the given BCD bytes.
dvdnav::CellPlayback cellOf(std::uint8_t h, std::uint8_t m, std::uint8_t s, std::uint8_t f) {
  dvdnav::CellPlayback cell;
  cell.playbacktime = {h, m, s, f};
  return cell;
}

dvdnav::ProgramChain chainOf(std::vector<dvdnav::CellPlayback> cells, std::vector<std::int32_t> map) {
  dvdnav::ProgramChain pgc;
  pgc.cells = std::move(cells);
  pgc.programmap = std::move(map);
  pgc.numcells = static_cast<std::int32_t>(pgc.cells.size());
  pgc.numprograms = static_cast<std::int32_t>(pgc.programmap.size());
  return pgc;
}

std::string chapterErrorOf(const dvdnav::ProgramChain& pgc) {
  try {
    dvdnav::chapterList(pgc);
  } catch (const dvdnav::ChapterError& error) {
    return error.what();
  }
  return "(no error)";
}

// Frame bytes: rate code in bits 7-6 (01 = 25, 11 = 29.97), BCD frames below.
constexpr std::uint8_t k25 = 0x40;
constexpr std::uint8_t k2997 = 0xC0;

}  // namespace

TEST(ChapterTime, FrameLengthsInTicks) {
  EXPECT_EQ(dvdnav::frameTicks(k25 | 0x05), 3600);
  EXPECT_EQ(dvdnav::frameTicks(k2997 | 0x05), 3003);
  // The other codes count as 25 frames a second, as the frame counts do.
  EXPECT_EQ(dvdnav::frameTicks(0x00), 3600);
  EXPECT_EQ(dvdnav::frameTicks(0x80), 3600);
}

TEST(ChapterTime, BcdPlaybackTimes) {
  const std::uint8_t pal[4] = {0x01, 0x23, 0x45, static_cast<std::uint8_t>(k25 | 0x24)};
  EXPECT_EQ(dvdnav::playbackTimeTicks(pal), (1 * 3600 + 23 * 60 + 45) * 90000LL + 24 * 3600);
  const std::uint8_t ntsc[4] = {0x10, 0x59, 0x08, static_cast<std::uint8_t>(k2997 | 0x29)};
  EXPECT_EQ(dvdnav::playbackTimeTicks(ntsc), (10 * 3600 + 59 * 60 + 8) * 90000LL + 29 * 3003);
  // An hour at 29.97 is an hour: the whole seconds are not counted in frames.
  const std::uint8_t hour[4] = {0x01, 0x00, 0x00, k2997};
  EXPECT_EQ(dvdnav::playbackTimeTicks(hour), 3600 * 90000LL);
  EXPECT_EQ(dvdnav::ticksClock(dvdnav::playbackTimeTicks(ntsc), true), "10:59:08.968");
  EXPECT_EQ(dvdnav::ticksSeconds(dvdnav::playbackTimeTicks(pal)), "5025.960");
}

TEST(ChapterTime, FramesCarryOverSecondsAt25) {
  // Four cells of 20 frames: 0.8 s each, so the frames of two cells run
  // into the next second.
  auto pgc = chainOf({cellOf(0, 0, 0, k25 | 0x20), cellOf(0, 0, 0, k25 | 0x20),
                      cellOf(0, 0, 0x01, k25 | 0x20), cellOf(0, 0, 0, k25 | 0x20)},
                     {1, 2, 4});
  auto chapters = dvdnav::chapterList(pgc);
  ASSERT_EQ(chapters.size(), 3u);
  EXPECT_EQ(chapters[0].start, 0);
  EXPECT_EQ(chapters[1].start, 72000);           // 0.8 s
  EXPECT_EQ(chapters[2].start, 72000 * 3 + 90000);  // 0.8 + 0.8 + 1.8 s
  EXPECT_EQ(chapters[0].length, 72000);
  EXPECT_EQ(chapters[1].length, 72000 + 162000);
  EXPECT_EQ(chapters[2].length, 72000);
  EXPECT_EQ(chapters[2].firstCell, 4);
  EXPECT_EQ(dvdnav::chainTicks(pgc), 72000 * 4 + 90000);
  EXPECT_EQ(dvdnav::ticksClock(chapters[2].start, true), "00:00:03.400");
}

TEST(ChapterTime, FramesCarryOverSecondsAt2997) {
  // 29 frames three times is 87 frames: 2.902900 s, not 2.9 or 3.0.
  auto pgc = chainOf({cellOf(0, 0, 0, k2997 | 0x29), cellOf(0, 0, 0, k2997 | 0x29),
                      cellOf(0, 0, 0, k2997 | 0x29), cellOf(0, 0, 0x02, k2997 | 0x01)},
                     {1, 4});
  auto chapters = dvdnav::chapterList(pgc);
  ASSERT_EQ(chapters.size(), 2u);
  EXPECT_EQ(chapters[1].start, 87 * 3003);
  EXPECT_EQ(chapters[1].length, 2 * 90000 + 3003);
  EXPECT_EQ(dvdnav::ticksClock(chapters[1].start, true), "00:00:02.903");
  EXPECT_EQ(dvdnav::ticksSeconds(chapters[1].length), "2.033");
  // Rounding only at the end: three cells of 0.9676 s each would print as
  // 2.904 s if each were rounded to the millisecond first.
  EXPECT_EQ(dvdnav::ticksSeconds(3 * 29 * 3003), "2.903");
}

TEST(ChapterErrors, ChainWithoutProgramsOrCells) {
  EXPECT_EQ(chapterErrorOf(chainOf({cellOf(0, 0, 1, k25)}, {})),
            "the program chain has no programs");
  EXPECT_EQ(chapterErrorOf(chainOf({}, {1})), "the program chain has no cells");
}

TEST(ChapterErrors, FirstCellOutsideTheChain) {
  auto cells = std::vector<dvdnav::CellPlayback>{cellOf(0, 0, 1, k25), cellOf(0, 0, 1, k25)};
  EXPECT_EQ(chapterErrorOf(chainOf(cells, {1, 3})),
            "program 2 starts at cell 3, but the program chain has 2 cells");
  EXPECT_EQ(chapterErrorOf(chainOf(cells, {0, 1})),
            "program 1 starts at cell 0, but the program chain has 2 cells");
  EXPECT_EQ(chapterErrorOf(chainOf(cells, {2, 1})),
            "program 2 starts at cell 1, before program 1 (cell 2)");
}

namespace {

struct Listed {
  long long startTicks;
  long long lengthTicks;
  int firstCell;
};

// Our chapters of a program chain from the ffmetadata output (exact ticks),
// with the first cells from the JSON output.
std::vector<Listed> ourChapters(const std::string& disc, int titleSet, int pgc) {
  std::vector<Listed> out;
  Result meta = runTool({"chapters", disc, "--titleset", std::to_string(titleSet), "--pgc",
                         std::to_string(pgc), "--format", "ffmetadata"});
  EXPECT_EQ(meta.status, 0) << meta.err;
  Result json = runTool({"chapters", disc, "--titleset", std::to_string(titleSet), "--pgc",
                         std::to_string(pgc), "--format", "json"});
  EXPECT_EQ(json.status, 0) << json.err;
  Json parsed = parseJson(json.out);
  const Json& chapters = parsed["title_sets"][0]["pgcs"][0]["chapters"];
  std::regex block("\\[CHAPTER\\]\nTIMEBASE=1/90000\nSTART=(\\d+)\nEND=(\\d+)\ntitle=Chapter (\\d+)\n");
  std::size_t i = 0;
  for (std::sregex_iterator it(meta.out.begin(), meta.out.end(), block), end; it != end; ++it, ++i) {
    long long start = std::stoll((*it)[1]), stop = std::stoll((*it)[2]);
    EXPECT_EQ(std::stoul((*it)[3]), i + 1);
    out.push_back({start, stop - start,
                   static_cast<int>(chapters[i]["first_cell"].integer())});
  }
  EXPECT_EQ(out.size(), chapters.size());
  return out;
}

long long clockMillis(const std::string& text) {
  int h, m, s, ms;
  if (std::sscanf(text.c_str(), "%d:%d:%d.%d", &h, &m, &s, &ms) != 4) return -1;
  return ((h * 60LL + m) * 60 + s) * 1000 + ms;
}

}  // namespace

// lsdvd numbers the disc's titles; each of the sample disc's titles plays
// the program chain of its number within its title set (its first part's
// chain). Per chapter, lsdvd's start cell must be ours and its length (to
// the millisecond it prints) must be within a millisecond of our exact one.
TEST(ToolChapters, AgreeWithLsdvd) {
  if (!commandExists("lsdvd")) GTEST_SKIP() << "lsdvd is not installed (apt-get install lsdvd)";
  Result lsdvd = runShell("lsdvd -c " + quote(kSamples + "/dvd") + " 2>/dev/null");
  ASSERT_EQ(lsdvd.status, 0) << lsdvd.err;
  Json info = parseJson(runTool({"info", kDisc, "--json"}).out);

  std::regex titleLine("^Title: (\\d+), Length: [0-9:.]+ Chapters: (\\d+),");
  std::regex chapterLine("^\\s+Chapter: (\\d+), Length: ([0-9:.]+), Start Cell: (\\d+)");
  std::istringstream lines(lsdvd.out);
  std::string line;
  std::vector<Listed> ours;
  int titles = 0, compared = 0;
  std::smatch m;
  while (std::getline(lines, line)) {
    if (std::regex_search(line, m, titleLine)) {
      if (line.find("Longest track") != std::string::npos) break;
      std::size_t title = std::stoul(m[1]);
      if (title <= static_cast<std::size_t>(titles)) break;  // a second listing follows
      titles = static_cast<int>(title);
      const Json& t = info["titles"][title - 1];
      int set = static_cast<int>(t["title_set"].integer());
      int pgc = static_cast<int>(t["title_in_set"].integer());
      SCOPED_TRACE("title " + m[1].str());
      ours = ourChapters(kDisc, set, pgc);
      EXPECT_EQ(static_cast<long long>(ours.size()), std::stoll(m[2]));
    } else if (std::regex_search(line, m, chapterLine)) {
      std::size_t n = std::stoul(m[1]);
      SCOPED_TRACE("title " + std::to_string(titles) + " chapter " + m[1].str());
      ASSERT_LE(n, ours.size());
      EXPECT_EQ(ours[n - 1].firstCell, std::stoi(m[3]));
      double exactMillis = static_cast<double>(ours[n - 1].lengthTicks) / 90.0;
      EXPECT_LT(std::fabs(exactMillis - static_cast<double>(clockMillis(m[2]))), 1.0)
          << "lsdvd " << m[2] << ", ours " << exactMillis << " ms";
      ++compared;
    }
  }
  EXPECT_EQ(titles, static_cast<int>(info["titles"].size()));
  EXPECT_EQ(compared, 7);  // 3 + 2 + 2 chapters on the sample disc
}

// ffmpeg takes our ffmetadata file as it is, and the Matroska file it
// writes carries our chapter starts and ends.
TEST(ToolChapters, FfmetadataMakesMatroskaChapters) {
  if (!commandExists("ffmpeg") || !commandExists("ffprobe"))
    GTEST_SKIP() << "ffmpeg is not installed (apt-get install ffmpeg)";
  for (int pgc : {1, 2}) {
    SCOPED_TRACE("pgc " + std::to_string(pgc));
    ScratchDir dir;
    std::string vob = dir.path("title.vob"), meta = dir.path("chapters.txt"),
                mkv = dir.path("out.mkv");
    ASSERT_EQ(runTool({"dvd", kDisc, "--titleset", "1", "--pgc", std::to_string(pgc), "-o", vob}).status, 0);
    Result run = runTool({"chapters", kDisc, "--titleset", "1", "--pgc", std::to_string(pgc),
                          "--format", "ffmetadata", "-o", meta});
    ASSERT_EQ(run.status, 0) << run.err;
    // The title's first pictures carry no time stamp of their own; the
    // Matroska writer needs one on every packet.
    run = runShell("ffmpeg -v error -fflags +genpts -i " + quote(vob) + " -i " + quote(meta) +
                   " -map_metadata 1 -c copy " + quote(mkv));
    ASSERT_EQ(run.status, 0) << run.err;
    run = runShell("ffprobe -v error -show_chapters -of compact=p=0 " + quote(mkv));
    ASSERT_EQ(run.status, 0) << run.err;
    std::vector<Listed> ours = ourChapters(kDisc, 1, pgc);
    std::regex chapter("start_time=([0-9.]+)\\|end=\\d+\\|end_time=([0-9.]+)\\|tag:title=Chapter (\\d+)");
    std::size_t i = 0;
    for (std::sregex_iterator it(run.out.begin(), run.out.end(), chapter), end; it != end; ++it, ++i) {
      ASSERT_LT(i, ours.size());
      EXPECT_EQ(std::stoul((*it)[3]), i + 1);
      EXPECT_NEAR(std::stod((*it)[1]), static_cast<double>(ours[i].startTicks) / 90000.0, 0.000001)
          << run.out;
      EXPECT_NEAR(std::stod((*it)[2]), 
                  static_cast<double>(ours[i].startTicks + ours[i].lengthTicks) / 90000.0, 0.000001);
    }
    EXPECT_EQ(i, ours.size()) << run.out;
  }
}

TEST(ToolChapters, OgmAndJsonOfTheSampleTitle) {
  Result run = runTool({"chapters", kDisc, "--titleset", "1", "--pgc", "1"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  // Cells of 26 frames, 1 s + 9 frames and 25 frames at 29.97: chapter 2
  // starts at 78078 ticks (0.8675 s), chapter 3 at 78078 + 117027.
  EXPECT_EQ(run.out,
            "CHAPTER01=00:00:00.000\nCHAPTER01NAME=Chapter 1\n"
            "CHAPTER02=00:00:00.868\nCHAPTER02NAME=Chapter 2\n"
            "CHAPTER03=00:00:02.168\nCHAPTER03NAME=Chapter 3\n");
  run = runTool({"chapters", kDisc, "--titleset", "2", "--pgc", "1", "--format", "json"});
  ASSERT_EQ(run.status, 0) << run.err;
  Json json = parseJson(run.out);
  const Json& set = json["title_sets"][0];
  EXPECT_EQ(set["title_set"].integer(), 2);
  ASSERT_EQ(set["pgcs"].size(), 1u);
  EXPECT_EQ(set["pgcs"][0]["pgc"].integer(), 1);
  const Json& chapters = set["pgcs"][0]["chapters"];
  ASSERT_EQ(chapters.size(), 2u);
  EXPECT_EQ(chapters[1]["chapter"].integer(), 2);
  EXPECT_EQ(chapters[1]["first_cell"].integer(), 2);
  EXPECT_NE(run.out.find("\"start_seconds\": 0.868,\n"), std::string::npos);
  EXPECT_NE(run.out.find("\"length_seconds\": 1.133,\n"), std::string::npos);
  // Upper- and lower-case discs give the same file, but for the disc's path.
  auto withoutPath = [](std::string text) {
    std::size_t at = text.find("\"path\":");
    return text.erase(at, text.find('\n', at) - at);
  };
  EXPECT_EQ(withoutPath(runTool({"chapters", kLowerDisc, "--titleset", "2", "--pgc", "1",
                                 "--format", "json"}).out),
            withoutPath(run.out));
}

TEST(ToolChapters, WritesTheOutputFile) {
  ScratchDir dir;
  std::string out = dir.path("chapters.txt");
  Result run = runTool({"chapters", kDisc, "--titleset", "1", "--pgc", "2", "-o", out});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(readWholeFile(out), runTool({"chapters", kDisc, "--titleset", "1", "--pgc", "2"}).out);
}

TEST(ToolInfo, ListsTheChaptersOfEveryProgramChain) {
  Result table = runTool({"info", kDisc, "--chains"});
  ASSERT_EQ(table.status, 0) << table.err;
  EXPECT_NE(table.out.find("       cell 3: 0:00:00.833, sectors 139 to 189\n"
                           "       chapter 1: start 0:00:00.000, length 0:00:00.868, first cell 1\n"
                           "       chapter 2: start 0:00:00.868, length 0:00:01.300, first cell 2\n"
                           "       chapter 3: start 0:00:02.168, length 0:00:00.834, first cell 3\n"
                           "    2  0:00:02.000"),
            std::string::npos)
      << table.out;
  Json info = parseJson(runTool({"info", kDisc, "--json"}).out);
  for (std::size_t s = 0; s < info["title_sets"].size(); ++s) {
    const Json& pgcs = info["title_sets"][s]["pgcs"];
    for (std::size_t p = 0; p < pgcs.size(); ++p) {
      SCOPED_TRACE("title set " + std::to_string(s + 1) + " pgc " + std::to_string(p + 1));
      Json alone = parseJson(runTool({"chapters", kDisc, "--titleset", std::to_string(s + 1), "--pgc",
                                      std::to_string(p + 1), "--format", "json"})
                                 .out);
      const Json& listed = pgcs[p]["chapters"];
      const Json& own = alone["title_sets"][0]["pgcs"][0]["chapters"];
      ASSERT_EQ(listed.size(), own.size());
      ASSERT_EQ(static_cast<long long>(listed.size()), pgcs[p]["program_count"].integer());
      for (std::size_t c = 0; c < listed.size(); ++c) {
        EXPECT_EQ(listed[c]["chapter"].integer(), own[c]["chapter"].integer());
        EXPECT_EQ(listed[c]["first_cell"].integer(), own[c]["first_cell"].integer());
        EXPECT_EQ(listed[c]["start_seconds"].num, own[c]["start_seconds"].num);
        EXPECT_EQ(listed[c]["length_seconds"].num, own[c]["length_seconds"].num);
      }
    }
  }
}

namespace {

// A copy of the sample disc whose first program chain of title set 1 is
// changed by `edit` (given the IFO bytes and the chain's offset in them).
template <typename Edit>
std::string editedDisc(const ScratchDir& dir, Edit edit) {
  std::string copy = dir.path("VIDEO_TS");
  fs::copy(kDisc, copy);
  std::string ifo = copy + "/VTS_01_0.IFO";
  std::string bytes = readWholeFile(ifo);
  auto u8 = [&](std::size_t at) { return static_cast<unsigned char>(bytes.at(at)); };
  auto u16 = [&](std::size_t at) { return (std::size_t{u8(at)} << 8) | u8(at + 1); };
  auto u32 = [&](std::size_t at) { return (u16(at) << 16) | u16(at + 2); };
  std::size_t table = u32(0xCC) * 2048;     // the title set's program chain table
  std::size_t pgc = table + u32(table + 12);  // its first entry's chain
  edit(bytes, pgc, pgc + u16(pgc + 0xE6));    // the chain, its program map
  std::ofstream(ifo, std::ios::binary | std::ios::trunc) << bytes;
  return copy;
}

void expectChapterError(const Result& run, const std::string& subject, const std::string& what,
                        int status = 1) {
  EXPECT_EQ(run.status, status);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "fennoria: " + subject + ": " + what + "\n");
}

}  // namespace

TEST(ToolChapters, TitleSetOrProgramChainThatDoesNotExist) {
  expectChapterError(runTool({"chapters", kDisc, "--titleset", "3", "--pgc", "1"}), kDisc,
                     "title set 3 does not exist (the disc has title sets 1-2)", 2);
  expectChapterError(runTool({"chapters", kDisc, "--titleset", "2", "--pgc", "2"}), kDisc,
                     "program chain 2 does not exist in title set 2 (it has program chain 1)", 2);
}

TEST(ToolChapters, ChainWithoutPrograms) {
  ScratchDir dir;
  std::string disc = editedDisc(dir, [](std::string& b, std::size_t pgc, std::size_t) {
    b[pgc + 2] = 0;  // number of programs
  });
  expectChapterError(runTool({"chapters", disc, "--titleset", "1", "--pgc", "1"}), disc,
                     "program chain 1 of title set 1: the program chain has no programs");
  Result info = runTool({"info", disc, "--chains"});
  EXPECT_EQ(info.status, 0) << info.err;
  EXPECT_NE(info.out.find("       chapters: none (the program chain has no programs)\n"),
            std::string::npos)
      << info.out;
}

TEST(ToolChapters, ProgramStartingOutsideTheChain) {
  ScratchDir dir;
  std::string disc = editedDisc(dir, [](std::string& b, std::size_t, std::size_t map) {
    b[map + 2] = 9;  // program 3's first cell
  });
  ScratchDir outDir;
  std::string out = outDir.path("chapters.txt");
  expectChapterError(runTool({"chapters", disc, "--titleset", "1", "--pgc", "1", "-o", out}), disc,
                     "program chain 1 of title set 1: program 3 starts at cell 9, but the "
                     "program chain has 3 cells");
  EXPECT_FALSE(fs::exists(out));
  EXPECT_TRUE(fs::is_empty(outDir.root()));
  Json info = parseJson(runTool({"info", disc, "--json"}).out);
  EXPECT_EQ(info["title_sets"][0]["pgcs"][0]["chapter_problem"].str,
            "program 3 starts at cell 9, but the program chain has 3 cells");
  EXPECT_EQ(info["title_sets"][0]["pgcs"][0]["chapters"].size(), 0u);
}
