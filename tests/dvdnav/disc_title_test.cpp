// Disc titles as players play them, against libdvdnav playing the same
// titles and chapter ranges of every sample disc (dvdnav-blocks.txt, made by
// tools/dvdnav_blocks.c), and the part-of-title table as libdvdread reads it
// (dvdread-facts.txt).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "dvdnav/disc_title.h"
#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/log_sink.h"
#include "input/random_access_reader.h"
#include "support/sample_facts.h"
#include "support/scratch.h"
#include "support/sha256.h"

using testing_support::LogSink;

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;
const std::vector<std::string> kDiscs = {"dvd", "dvd-branching", "dvd-streams", "dvd-titles"};

// Everything the reader's selection holds, read front to back in pieces
// that do not fall on sector boundaries everywhere.
std::string readSelection(DvdTitleReader& reader) {
  std::string bytes;
  std::vector<std::uint8_t> buffer(37 * 2048);
  for (;;) {
    std::int32_t got = reader.readSectors(buffer.data(), static_cast<std::int32_t>(buffer.size()));
    if (got <= 0) break;
    bytes.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(got));
  }
  return bytes;
}

unsigned readU16(const std::string& b, std::size_t at) {
  return (static_cast<unsigned char>(b[at]) << 8) | static_cast<unsigned char>(b[at + 1]);
}
unsigned readU32(const std::string& b, std::size_t at) {
  return (readU16(b, at) << 16) | readU16(b, at + 2);
}

// A copy of the titles disc whose title set IFO `change` rewrote.
std::string patchedTitlesDisc(const testing_support::ScratchDir& dir,
                              void (*change)(std::string& ifo)) {
  std::filesystem::copy(kSamples + "/dvd-titles/VIDEO_TS", dir.path("VIDEO_TS"));
  const std::string name = dir.path("VIDEO_TS") + "/VTS_01_0.IFO";
  std::string ifo = testing_support::readWholeFile(name);
  change(ifo);
  std::ofstream(name, std::ios::binary | std::ios::trunc) << ifo;
  return dir.path("VIDEO_TS");
}

class DiscTitleTest : public ::testing::Test {
 protected:
  LogSink sink;
  DvdTitleReader reader{sink.stream};

  // A sample disc by its name, or a folder by its path (with '\\' on
  // Windows).
  void open(const std::string& disc) {
    const bool named = disc.find_first_of("/\\") == std::string::npos;
    ASSERT_EQ(reader.openIfo(named ? kSamples + "/" + disc + "/VIDEO_TS" : disc), 0);
  }
  bool said(const std::string& text) const { return sink.has(1, text); }
};

}  // namespace

TEST_F(DiscTitleTest, EveryTitleAndChapterRangeIsWhatLibdvdnavPlays) {
  for (const std::string& disc : kDiscs) {
    auto ranges = testing_support::playedRanges(kSamples + "/" + disc + "/dvdnav-blocks.txt");
    ASSERT_FALSE(ranges.empty()) << disc;
    open(disc);
    for (const auto& range : ranges) {
      SCOPED_TRACE(disc + " title " + std::to_string(range.title) + " chapters " +
                   std::to_string(range.first) + "-" + std::to_string(range.last));
      ASSERT_EQ(reader.selectTitle(range.title, range.first, range.last), 0);
      EXPECT_EQ(reader.getRangeLength(), range.sectors * 2048);
      const std::string bytes = readSelection(reader);
      EXPECT_EQ(static_cast<long long>(bytes.size()), range.sectors * 2048);
      EXPECT_EQ(testing_support::sha256Hex(bytes), range.sha256);
    }
  }
}

// Chapters 0-0 name the whole title: the same blocks as 1-N.
TEST_F(DiscTitleTest, NoChaptersGivenIsTheWholeTitle) {
  open("dvd-titles");
  const auto facts = testing_support::loadFactsFile(kSamples + "/dvd-titles/dvdnav-blocks.txt");
  ASSERT_EQ(reader.selectTitle(1, 0, 0), 0);
  EXPECT_EQ(testing_support::sha256Hex(readSelection(reader)),
            testing_support::factField(facts.at("title.1.chapters.1-5"), "sha256"));
}

// Every reader of the title reader gets the title: positions read at
// random give the bytes of the front-to-back read.
TEST_F(DiscTitleTest, RandomAccessReadsGiveTheTitlesBytes) {
  open("dvd-titles");
  ASSERT_EQ(reader.selectTitle(1, 2, 5), 0);
  const std::string whole = readSelection(reader);
  ASSERT_GT(whole.size(), 100000u);
  RandomAccessReader random(nullptr, &reader);
  for (std::int64_t at : {std::int64_t{0}, std::int64_t{4095}, std::int64_t{140 * 2048 + 7},
                          static_cast<std::int64_t>(whole.size()) - 3000}) {
    std::vector<std::uint8_t> piece(3000);
    auto result = random.read(at, 3000, piece.data());
    ASSERT_EQ(result.count, 3000) << at;
    EXPECT_TRUE(std::string(piece.begin(), piece.end()) ==
                whole.substr(static_cast<std::size_t>(at), 3000))
        << at;
  }
}

TEST_F(DiscTitleTest, ChaptersFollowThePartOfTitleTableAcrossChains) {
  open("dvd-titles");
  const auto facts = testing_support::loadFactsFile(kSamples + "/dvd-titles/dvdread-facts.txt");
  const dvdnav::TitleSetInfo* set = reader.titleSetInfo(1);
  ASSERT_NE(set, nullptr);
  for (int t = 1; t <= 3; ++t) {
    SCOPED_TRACE(t);
    dvdnav::DiscTitle title = dvdnav::resolveTitle(*reader.videoManager, *set, t);
    EXPECT_EQ(static_cast<long long>(title.chapters.size()),
              std::stoll(facts.at("title." + std::to_string(t) + ".chapters")));
    EXPECT_EQ(std::to_string(title.titleSet), facts.at("title." + std::to_string(t) + ".title_set"));
    // libdvdread's part-of-title entries: "pgcn/pgn" per chapter.
    std::string parts;
    for (const auto& c : title.chapters) {
      const auto& pgc = set->programchains[static_cast<std::size_t>(c.pgc)];
      std::int32_t program = 0;
      while (pgc.programmap[static_cast<std::size_t>(program)] != c.firstCell + 1) ++program;
      parts += (parts.empty() ? "" : " ") + std::to_string(c.pgc + 1) + "/" +
               std::to_string(program + 1);
    }
    EXPECT_EQ(parts, facts.at("vts.1.ptt." + std::to_string(t)));
  }
  // Title 1's third chapter runs to its chain's end; the fourth starts the
  // next chain.
  dvdnav::DiscTitle first = dvdnav::resolveTitle(*reader.videoManager, *set, 1);
  EXPECT_EQ(first.chapters[2].endCell, 3);
  EXPECT_EQ(first.chapters[3].pgc, 1);
  EXPECT_EQ(dvdnav::chainsOf(first, 2, 5), (std::vector<std::int32_t>{0, 1}));
}

TEST_F(DiscTitleTest, TitleTimeAddsTheChaptersCells) {
  open("dvd-titles");
  const dvdnav::TitleSetInfo* set = reader.titleSetInfo(1);
  dvdnav::DiscTitle title = dvdnav::resolveTitle(*reader.videoManager, *set, 1);
  // The two chains' playback times: 3 s and 2 s at 25 frames a second.
  EXPECT_EQ(dvdnav::titleTicks(title, *set, 1, 5), 5 * 90000);
  EXPECT_EQ(dvdnav::titleTicks(title, *set, 4, 5), 2 * 90000);
}

TEST_F(DiscTitleTest, TitleBeyondTheTableNamesTheTitlesTheDiscHas) {
  open("dvd-titles");
  ASSERT_EQ(reader.selectTitle(1, 0, 0), 0);
  EXPECT_EQ(reader.selectTitle(4, 0, 0), 1);
  EXPECT_TRUE(said("title 4 does not exist (the disc has titles 1-3)"));
  // Nothing of the title selected before is left to read.
  EXPECT_EQ(reader.getRangeLength(), 0);
  EXPECT_EQ(readSelection(reader).size(), 0u);
  EXPECT_EQ(reader.selectTitle(0, 0, 0), 1);
  EXPECT_TRUE(said("title 0 does not exist (the disc has titles 1-3)"));
}

TEST_F(DiscTitleTest, ChaptersOutsideTheTitleAreRefused) {
  open("dvd-titles");
  ASSERT_EQ(reader.selectTitle(2, 0, 0), 0);
  EXPECT_EQ(reader.selectTitle(2, 3, 3), 1);
  EXPECT_TRUE(said("title 2 has chapters 1-2, not 3-3"));
  EXPECT_EQ(reader.selectTitle(1, 4, 2), 1);
  EXPECT_TRUE(said("title 1 has chapters 1-5, not 4-2"));
  EXPECT_EQ(reader.getRangeLength(), 0);
}

TEST_F(DiscTitleTest, ChapterNamingAMissingChainIsRefused) {
  testing_support::ScratchDir dir;
  // Title 2's first part-of-title entry names program chain 9.
  open(patchedTitlesDisc(dir, [](std::string& ifo) {
    std::size_t table = readU32(ifo, 0xC8) * 2048u;
    std::size_t title2 = table + readU32(ifo, table + 8 + 4);
    ifo[title2 + 1] = 9;
  }));
  EXPECT_EQ(reader.selectTitle(2, 0, 0), 1);
  EXPECT_TRUE(said("title 2, chapter 1: program chain 9 does not exist (the title set has 4)"));
  EXPECT_EQ(reader.selectTitle(1, 0, 0), 0);
}

TEST_F(DiscTitleTest, ChapterNamingAMissingProgramIsRefused) {
  testing_support::ScratchDir dir;
  open(patchedTitlesDisc(dir, [](std::string& ifo) {
    std::size_t table = readU32(ifo, 0xC8) * 2048u;
    std::size_t title3 = table + readU32(ifo, table + 8 + 8);
    ifo[title3 + 4 + 3] = 7;  // chapter 2: program 7 of program chain 4
  }));
  EXPECT_EQ(reader.selectTitle(3, 1, 1), 1);
  EXPECT_TRUE(said("title 3, chapter 2: program 7 does not exist in program chain 4 (it has 2)"));
}

TEST_F(DiscTitleTest, ChapterInAnAngleBlockIsRefused) {
  testing_support::ScratchDir dir;
  // Cell 2 of program chain 2 (title 1's chapter 5): the first cell of an
  // angle block (mode 1, type 1).
  open(patchedTitlesDisc(dir, [](std::string& ifo) {
    std::size_t table = readU32(ifo, 0xCC) * 2048u;
    std::size_t chain = table + readU32(ifo, table + 8 + 8 + 4);
    ifo[chain + readU16(ifo, chain + 0xE8) + 24] = static_cast<char>(0x50);
  }));
  EXPECT_EQ(reader.selectTitle(1, 0, 0), 1);
  EXPECT_TRUE(said("program chain 2 of title set 1: cell 2 belongs to an angle block "
                   "(multi-angle chains are not supported)"));
  EXPECT_EQ(reader.getRangeLength(), 0);
  // The chapters before it still play.
  EXPECT_EQ(reader.selectTitle(1, 1, 4), 0);
}

// With a title set file missing, a title names its title set by number,
// not by its place among the loaded ones.
TEST_F(DiscTitleTest, TitleSetIsFoundByItsNumber) {
  testing_support::ScratchDir dir;
  std::filesystem::copy(kSamples + "/dvd/VIDEO_TS", dir.path("VIDEO_TS"));
  std::filesystem::remove(dir.path("VIDEO_TS") + "/VTS_01_0.IFO");
  open(dir.path("VIDEO_TS"));
  ASSERT_EQ(reader.titleSets.size(), 1u);
  EXPECT_EQ(reader.titleSetInfo(1), nullptr);
  EXPECT_EQ(reader.titleSetInfo(2), reader.titleSets[0].get());
  EXPECT_EQ(reader.selectTitle(1, 0, 0), 1);
  EXPECT_TRUE(said("title 1 is in title set 1, which was not loaded"));
  const auto ranges = testing_support::playedRanges(kSamples + "/dvd/dvdnav-blocks.txt");
  ASSERT_EQ(reader.selectTitle(3, 0, 0), 0);
  for (const auto& range : ranges) {
    if (range.title == 3 && range.first == 1 && range.last == 2) {
      EXPECT_EQ(testing_support::sha256Hex(readSelection(reader)), range.sha256);
    }
  }
}
