#include "dvdnav/dvd_title_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "dvdnav/ifo_builder.h"
#include "dvdnav/log_sink.h"
#include "support/scratch.h"

using testing::ElementsAre;
using testing_support::Bytes;
using testing_support::CellSectors;
using testing_support::LogSink;
using testing_support::ScratchDir;
using testing_support::programChain;
using testing_support::titleSet;
using testing_support::videoManager;

namespace {

// On Windows "VIDEO_TS.IFO" also opens "video_ts.ifo": the lower-case
// fallback is only ever taken on a case-sensitive file system.
#ifdef _WIN32
constexpr bool kCaseSensitiveFiles = false;
#else
constexpr bool kCaseSensitiveFiles = true;
#endif

// A title set whose program chain count tells it apart from the others.
Bytes titleSetWithChains(unsigned chains) {
  std::vector<Bytes> list;
  for (unsigned i = 0; i < chains; ++i) list.push_back(programChain({{10 * i, 10 * i + 9}}, {1}));
  return titleSet(list);
}

class DvdTitleReaderTest : public testing::Test {
 protected:
  std::string folder(const std::string& name) {
    std::string path = dir.path(name);
    std::filesystem::create_directories(path);
    return path;
  }
  void put(const std::string& in, const std::string& leaf, const Bytes& bytes) {
    dir.write(std::filesystem::path(in).filename().string() + "/" + leaf, bytes.str());
  }

  ScratchDir dir;
  LogSink sink;
  DvdTitleReader reader{sink.stream};
};

}  // namespace

TEST_F(DvdTitleReaderTest, NewReaderUsesUpperCaseNames) {
  EXPECT_TRUE(reader.upperCaseNames);
  EXPECT_TRUE(reader.titleSets.empty());
  EXPECT_EQ(reader.videoManager, nullptr);
}

TEST_F(DvdTitleReaderTest, LoadsTheVideoManagerAndEveryTitleSet) {
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", videoManager(2));
  put(f, "VTS_01_0.IFO", titleSetWithChains(1));
  put(f, "VTS_02_0.IFO", titleSetWithChains(2));
  EXPECT_EQ(reader.openIfo(f), 0);
  ASSERT_EQ(reader.titleSets.size(), 2u);
  EXPECT_EQ(reader.titleSets[1]->programchains.size(), 2u);
  EXPECT_TRUE(sink.has(3, "Videomanager"));
  EXPECT_TRUE(sink.has(3, "VideoTitleSet 1"));
  EXPECT_TRUE(sink.has(3, "VideoTitleSet 2"));
}

TEST_F(DvdTitleReaderTest, DumpFollowsEachHeadingAsAnEntryOfItsOwn) {
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", videoManager(1));
  put(f, "VTS_01_0.IFO", titleSetWithChains(1));
  reader.openIfo(f);
  const auto& e = LogSink::entries();
  ASSERT_EQ(e.size(), 4u);
  EXPECT_EQ(e[0], std::make_pair(3, std::string("Videomanager")));
  EXPECT_EQ(e[1].second.rfind("version : ", 0), 0u);
  EXPECT_EQ(e[2], std::make_pair(3, std::string("VideoTitleSet 1")));
  EXPECT_EQ(e[3].first, 3);
  EXPECT_NE(e[3].second.find("number of PGCIs : 1\n"), std::string::npos);
}

TEST_F(DvdTitleReaderTest, WithoutDumpsTheSameRecordsLoadAndNothingIsLogged) {
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", videoManager(2));
  put(f, "VTS_01_0.IFO", titleSetWithChains(1));
  put(f, "VTS_02_0.IFO", titleSetWithChains(2));
  reader.dumpRecords = false;
  EXPECT_EQ(reader.openIfo(f), 0);
  EXPECT_THAT(LogSink::entries(), testing::IsEmpty());
  ASSERT_EQ(reader.titleSets.size(), 2u);
  EXPECT_EQ(reader.titleSets[1]->programchains.size(), 2u);
  ASSERT_NE(reader.videoManager, nullptr);
  EXPECT_EQ(reader.videoManager->titles.size(), 2u);
}

TEST_F(DvdTitleReaderTest, LowerCaseFolderUsesLowerCaseNames) {
  std::string f = folder("video_ts");
  put(f, "video_ts.ifo", videoManager(2));
  put(f, "vts_01_0.ifo", titleSetWithChains(1));
  put(f, "vts_02_0.ifo", titleSetWithChains(3));
  EXPECT_EQ(reader.openIfo(f), 0);
  EXPECT_EQ(reader.upperCaseNames, !kCaseSensitiveFiles);
  ASSERT_EQ(reader.titleSets.size(), 2u);
  EXPECT_EQ(reader.titleSets[1]->programchains.size(), 3u);
  reader.selectTitleSet(1, 1);
  EXPECT_EQ(reader.vobStream->entries[0].name,
            f + (kCaseSensitiveFiles ? "/vts_01_1.vob" : "/VTS_01_1.VOB"));
}

TEST_F(DvdTitleReaderTest, MissingTitleSetShiftsTheLaterOnesDown) {
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", videoManager(3));
  put(f, "VTS_01_0.IFO", titleSetWithChains(1));
  put(f, "VTS_03_0.IFO", titleSetWithChains(3));
  EXPECT_EQ(reader.openIfo(f), 0);
  ASSERT_EQ(reader.titleSets.size(), 2u);
  EXPECT_EQ(reader.titleSets[1]->programchains.size(), 3u);
  EXPECT_TRUE(sink.has(3, "VideoTitleSet 3"));
  EXPECT_FALSE(sink.has(3, "VideoTitleSet 2"));
}

TEST_F(DvdTitleReaderTest, TitleCountBoundsTheTitleSetsLoaded) {
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", videoManager(1));
  put(f, "VTS_01_0.IFO", titleSetWithChains(1));
  put(f, "VTS_02_0.IFO", titleSetWithChains(2));
  EXPECT_EQ(reader.openIfo(f), 0);
  EXPECT_EQ(reader.titleSets.size(), 1u);
}

TEST_F(DvdTitleReaderTest, LongIfoIsParsedFromItsFirstMillionBytes) {
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", videoManager(1));
  Bytes big = titleSetWithChains(2);
  big.grow(1200000);
  put(f, "VTS_01_0.IFO", big);
  EXPECT_EQ(reader.openIfo(f), 0);
  ASSERT_EQ(reader.titleSets.size(), 1u);
  EXPECT_EQ(reader.titleSets[0]->programchains.size(), 2u);
  for (const auto& e : LogSink::entries()) EXPECT_NE(e.first, 0) << e.second;
}

TEST_F(DvdTitleReaderTest, LongVideoManagerIsReadUpToItsMillionthByte) {
  // A Video Manager of 1,200,000 bytes whose title table lies in sector 488,
  // the one that holds the millionth byte, and whose menu cell address table
  // lies in sector 489, wholly beyond it.
  std::string f = folder("VIDEO_TS");
  Bytes vmg = videoManager(0);
  const std::size_t titles = 488 * 2048;
  vmg.u32(0xC4, 488);
  vmg.u16(titles, 2);
  vmg.u32(titles + 4, 8 + 2 * 12 - 1);
  for (unsigned t = 0; t < 2; ++t) vmg.u8(titles + 8 + 12 * t + 6, t + 1);
  const std::size_t cells = 489 * 2048;
  vmg.u32(0xD8, 489);
  vmg.u32(cells + 4, 8 + 12 - 1);
  vmg.u16(cells + 8, 1);
  vmg.grow(1200000);
  put(f, "VIDEO_TS.IFO", vmg);
  put(f, "VTS_01_0.IFO", titleSetWithChains(1));
  put(f, "VTS_02_0.IFO", titleSetWithChains(2));
  ASSERT_EQ(reader.openIfo(f), 0);
  ASSERT_EQ(reader.videoManager->titles.size(), 2u);
  EXPECT_EQ(reader.videoManager->titles[1].vtsnumber, 2);
  ASSERT_EQ(reader.titleSets.size(), 2u);
  EXPECT_EQ(reader.titleSets[1]->programchains.size(), 2u);
  EXPECT_TRUE(reader.videoManager->menucelladdresses.empty());
  EXPECT_FALSE(sink.has(0, "vmgi too large"));
  EXPECT_TRUE(sink.has(0, "VMGM_C_ADT: table lies outside the file, skipped at byte 1001472 of "
                          "1000000"));
}

TEST_F(DvdTitleReaderTest, WrongIdentifiersGiveEmptyRecordsAndTheLoadGoesOn) {
  // A Video Manager that says it is a title set names no titles, so no title
  // set is looked for; a title set that says it is a Video Manager still
  // takes its place in the list, empty.
  std::string f = folder("VIDEO_TS");
  Bytes vmg = videoManager(2);
  vmg.text(0, "DVDVIDEO-VTS");
  put(f, "VIDEO_TS.IFO", vmg);
  put(f, "VTS_01_0.IFO", titleSetWithChains(1));
  ASSERT_EQ(reader.openIfo(f), 0);
  EXPECT_TRUE(reader.videoManager->titles.empty());
  EXPECT_TRUE(reader.titleSets.empty());

  Bytes vts = titleSetWithChains(3);
  vts.text(0, "DVDVIDEO-VMG");
  put(f, "VIDEO_TS.IFO", videoManager(2));
  put(f, "VTS_01_0.IFO", vts);
  put(f, "VTS_02_0.IFO", titleSetWithChains(2));
  EXPECT_EQ(reader.openIfo(f), 0);
  ASSERT_EQ(reader.titleSets.size(), 2u);
  EXPECT_TRUE(reader.titleSets[0]->programchains.empty());
  EXPECT_EQ(reader.titleSets[1]->programchains.size(), 2u);
  EXPECT_TRUE(sink.has(3, "VideoTitleSet 1"));
}

TEST_F(DvdTitleReaderTest, LowerCaseStaysChosenForLaterLoads) {
  std::string lower = folder("lower");
  put(lower, "video_ts.ifo", videoManager(1));
  std::string upper = folder("upper");
  put(upper, "VIDEO_TS.IFO", videoManager(1));
  put(upper, "VTS_01_0.IFO", titleSetWithChains(2));
  if (!kCaseSensitiveFiles) GTEST_SKIP() << "no lower-case fallback on this file system";
  ASSERT_EQ(reader.openIfo(lower), 0);
  ASSERT_EQ(reader.openIfo(upper), 0);
  EXPECT_FALSE(reader.upperCaseNames);
  reader.selectTitleSet(1, 1);
  EXPECT_EQ(reader.vobStream->entries[0].name, upper + "/vts_01_1.vob");
  // There is no vts_01_0.ifo in the upper-case folder.
  EXPECT_TRUE(reader.titleSets.empty());
}

TEST_F(DvdTitleReaderTest, FirstPlayChainIsReadFromByte1024) {
  std::string f = folder("VIDEO_TS");
  Bytes vmg = videoManager(1);
  vmg.bytes(0x400, programChain({{7, 8}, {9, 12}}, {1}).data());
  vmg.u32(0x84, 0x0800);  // the management table points elsewhere
  put(f, "VIDEO_TS.IFO", vmg);
  ASSERT_EQ(reader.openIfo(f), 0);
  ASSERT_EQ(reader.videoManager->firstplay.cells.size(), 2u);
  EXPECT_EQ(reader.videoManager->firstplay.cells[1].endclvobu, 12);
}

TEST_F(DvdTitleReaderTest, NoVideoManagerFailsAndKeepsThePreviousLoad) {
  std::string good = folder("good");
  put(good, "VIDEO_TS.IFO", videoManager(1));
  put(good, "VTS_01_0.IFO", titleSetWithChains(1));
  ASSERT_EQ(reader.openIfo(good), 0);
  EXPECT_EQ(reader.openIfo(folder("empty")), 1);
  EXPECT_TRUE(sink.has(0, "no vmgi found"));
  EXPECT_EQ(reader.titleSets.size(), 1u);
  EXPECT_NE(reader.videoManager, nullptr);
  EXPECT_FALSE(reader.upperCaseNames);
}

TEST_F(DvdTitleReaderTest, EmptyVideoManagerFileIsNotFound) {
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", Bytes(0));
  EXPECT_EQ(reader.openIfo(f), 1);
  EXPECT_TRUE(sink.has(0, "no vmgi found"));
}

// Selection.

namespace {

// A title set of five chains that each cover sectors first to last.
std::unique_ptr<dvdnav::TitleSetInfo> titleSetCovering(std::int32_t first, std::int32_t last) {
  dvdnav::ProgramChain pgc;
  pgc.cells.resize(1);
  pgc.cells[0].startcfvobu = first;
  pgc.cells[0].endclvobu = last;
  auto set = std::make_unique<dvdnav::TitleSetInfo>();
  for (int i = 0; i < 5; ++i) set->programchains.push_back(pgc);
  return set;
}

// Places `canary` in the storage of `sets` just past its last entry, where
// the vector itself never looks, for as long as this object lives.
class SlotPastTheEnd {
 public:
  using TitleSets = std::vector<std::unique_ptr<dvdnav::TitleSetInfo>>;
  SlotPastTheEnd(TitleSets& sets, std::unique_ptr<dvdnav::TitleSetInfo> canary) {
    sets.reserve(sets.size() + 1);
    slot_ = new (sets.data() + sets.size()) TitleSets::value_type(std::move(canary));
  }
  ~SlotPastTheEnd() { slot_->~unique_ptr(); }
  SlotPastTheEnd(const SlotPastTheEnd&) = delete;
  SlotPastTheEnd& operator=(const SlotPastTheEnd&) = delete;

 private:
  TitleSets::value_type* slot_;
};

}  // namespace

class DvdTitleSelection : public DvdTitleReaderTest {
 protected:
  void SetUp() override {
    f = folder("VIDEO_TS");
    put(f, "VIDEO_TS.IFO", videoManager(1));
    put(f, "VTS_01_0.IFO",
        titleSet({programChain({{1000, 1999}, {5000, 5999}}, {1, 2}),
                  programChain({{40, 49}, {50, 59}, {60, 69}}, {1}),
                  programChain({}, {})}));
    ASSERT_EQ(reader.openIfo(f), 0);
    LogSink::entries().clear();
  }
  std::string f;
};

TEST_F(DvdTitleSelection, ChainRangeRunsFromFirstToLastCell) {
  reader.selectTitleSet(1, 1);
  EXPECT_EQ(reader.selectProgramChain(0), 0);
  EXPECT_EQ(reader.startBlock, 1000);
  EXPECT_EQ(reader.endBlock, 6000);
  EXPECT_TRUE(sink.has(2, "startblock 1000, endblock 5999"));
}

TEST_F(DvdTitleSelection, ChainOneIsTheSecondOfTheTable) {
  reader.selectTitleSet(1, 1);
  EXPECT_EQ(reader.selectProgramChain(1), 0);
  EXPECT_EQ(reader.startBlock, 40);
  EXPECT_EQ(reader.endBlock, 70);
}

TEST_F(DvdTitleSelection, TitleVobsAreNineNamesInOrder) {
  reader.selectTitleSet(1, 1);
  ASSERT_EQ(reader.vobStream->entries.size(), 9u);
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(reader.vobStream->entries[static_cast<std::size_t>(i)].name,
              f + "/VTS_01_" + std::to_string(i + 1) + ".VOB");
  reader.selectTitleSet(7, 0);
  ASSERT_EQ(reader.vobStream->entries.size(), 1u);
  EXPECT_EQ(reader.vobStream->entries[0].name, f + "/VTS_07_0.VOB");
}

TEST_F(DvdTitleSelection, LowerCaseNamesAlsoNameTheMenuVobs) {
  reader.upperCaseNames = false;
  reader.selectTitleSet(0, 1);
  ASSERT_EQ(reader.vobStream->entries.size(), 1u);
  EXPECT_EQ(reader.vobStream->entries[0].name, f + "/video_ts.vob");
  reader.selectTitleSet(3, 0);
  ASSERT_EQ(reader.vobStream->entries.size(), 1u);
  EXPECT_EQ(reader.vobStream->entries[0].name, f + "/vts_03_0.vob");
  reader.selectTitleSet(12, 1);
  ASSERT_EQ(reader.vobStream->entries.size(), 9u);
  EXPECT_EQ(reader.vobStream->entries[0].name, f + "/vts_12_1.vob");
  EXPECT_EQ(reader.vobStream->entries[8].name, f + "/vts_12_9.vob");
}

TEST_F(DvdTitleSelection, TitleZeroIsTheMenuVobAndUnknown) {
  reader.selectTitleSet(0, 1);
  ASSERT_EQ(reader.vobStream->entries.size(), 1u);
  EXPECT_EQ(reader.vobStream->entries[0].name, f + "/VIDEO_TS.VOB");
  EXPECT_EQ(reader.selectProgramChain(3), 1);
  EXPECT_TRUE(sink.has(1, "title 0 unknown."));
}

TEST_F(DvdTitleSelection, TitleOnePastTheLoadedOnesFailsWithoutReadingPastThem) {
  // A title set whose chains all cover sectors 7000-7999 waits in the
  // array's own memory just behind the loaded one: a read one entry too far
  // finds it and selects its range, with or without a sanitizer.
  SlotPastTheEnd canary(reader.titleSets, titleSetCovering(7000, 7999));
  reader.selectTitleSet(2, 1);
  EXPECT_EQ(reader.selectProgramChain(4), 1);
  EXPECT_EQ(reader.selectCell(0), 1);
  EXPECT_EQ(reader.selectProgramChainQuiet(4), 1);
  EXPECT_THAT(LogSink::entries(),
              ElementsAre(std::make_pair(1, std::string("title 4 does not exist.")),
                          std::make_pair(1, std::string("title 2 does not exist."))));
  EXPECT_EQ(reader.startBlock, 0);
  EXPECT_EQ(reader.endBlock, 0);
}

TEST_F(DvdTitleSelection, Title150HasNoVobsAndNamesThePgcInItsMessage) {
  reader.selectTitleSet(150, 1);
  EXPECT_TRUE(reader.vobStream->entries.empty());
  EXPECT_EQ(reader.selectProgramChain(3), 1);
  EXPECT_TRUE(sink.has(1, "title 3 does not exist."));
}

TEST_F(DvdTitleSelection, NegativeTitleSetHasNoVobs) {
  reader.selectTitleSet(-1, 1);
  EXPECT_TRUE(reader.vobStream->entries.empty());
  EXPECT_EQ(reader.selectProgramChain(0), 1);
  EXPECT_TRUE(sink.has(1, "title 0 does not exist."));
}

TEST_F(DvdTitleSelection, MissingPgcIsReported) {
  reader.selectTitleSet(1, 1);
  EXPECT_EQ(reader.selectProgramChain(3), 1);
  EXPECT_EQ(reader.selectProgramChain(-1), 1);
  EXPECT_TRUE(sink.has(1, "pgc 3 does not exist."));
  EXPECT_TRUE(sink.has(1, "pgc -1 does not exist."));
}

TEST_F(DvdTitleSelection, PgcWithoutCellsFailsTheSelection) {
  reader.selectTitleSet(1, 1);
  reader.selectProgramChain(1);
  EXPECT_EQ(reader.selectProgramChain(2), 1);
  EXPECT_TRUE(sink.has(1, "pgc 2 has no cells."));
  EXPECT_EQ(reader.startBlock, 40);
  EXPECT_EQ(reader.selectProgramChainQuiet(2), 1);
}

TEST_F(DvdTitleSelection, FailedSelectionKeepsTheNumbersAndTheOldRange) {
  reader.selectTitleSet(1, 1);
  ASSERT_EQ(reader.selectProgramChain(1), 0);
  EXPECT_EQ(reader.selectProgramChain(9), 1);
  EXPECT_EQ(reader.pgcNumber, 9);
  EXPECT_EQ(reader.startBlock, 40);
  EXPECT_EQ(reader.endBlock, 70);
  reader.selectTitleSet(0, 1);
  EXPECT_EQ(reader.titleSetNumber, 0);
  EXPECT_EQ(reader.vobStream->getPosition(), 0);
  EXPECT_EQ(reader.endBlock, 70);
}

TEST_F(DvdTitleSelection, SingleCell) {
  reader.selectTitleSet(1, 1);
  reader.selectProgramChain(1);
  LogSink::entries().clear();
  EXPECT_EQ(reader.selectCell(1), 0);
  EXPECT_EQ(reader.cellNumber, 1);
  EXPECT_EQ(reader.startBlock, 50);
  EXPECT_EQ(reader.endBlock, 60);
  EXPECT_TRUE(sink.has(2, "startblock 50, endblock 59"));
  EXPECT_EQ(reader.selectCell(3), 1);
  EXPECT_TRUE(sink.has(1, "cellnum 3 does not exist."));
  reader.selectProgramChain(7);
  EXPECT_EQ(reader.selectCell(0), 1);
  EXPECT_TRUE(sink.has(1, "pgcnum 7 does not exist."));
  reader.selectTitleSet(0, 1);
  EXPECT_EQ(reader.selectCell(0), 1);
  EXPECT_TRUE(sink.has(1, "title 0 unknown."));
}

TEST_F(DvdTitleSelection, QuietSelectionSaysNothingOnFailure) {
  reader.selectTitleSet(2, 1);
  EXPECT_EQ(reader.selectProgramChainQuiet(0), 1);
  reader.selectTitleSet(0, 1);
  EXPECT_EQ(reader.selectProgramChainQuiet(0), 1);
  reader.selectTitleSet(1, 1);
  EXPECT_EQ(reader.selectProgramChainQuiet(5), 1);
  EXPECT_TRUE(LogSink::entries().empty());
  EXPECT_EQ(reader.selectProgramChainQuiet(0), 0);
  EXPECT_TRUE(sink.has(2, "startblock 1000, endblock 5999"));
  EXPECT_EQ(reader.endBlock, 6000);
}

TEST_F(DvdTitleSelection, RangeAboveFourGiBSeeksWithoutOverflow) {
  dir.writeSparse("VIDEO_TS/VTS_01_1.VOB", std::int64_t{4100000000}, {});
  reader.selectTitleSet(1, 1);
  EXPECT_EQ(reader.setSectorRange(2000000, 2000010), 0);
  EXPECT_EQ(reader.vobStream->getPosition(), std::int64_t{4096000000});
  EXPECT_EQ(reader.vobStream->entries[0].stream->tell(), std::int64_t{4096000000});
  EXPECT_EQ(reader.startBlock, 2000000);
}

TEST_F(DvdTitleReaderTest, LastSectorAtTheLargestNumberKeepsTheRangeBounded) {
  // The exclusive end one past sector 0x7FFFFFFF has no 32-bit value; the
  // range then ends at the largest one instead of wrapping round to "no end".
  std::string f = folder("VIDEO_TS");
  put(f, "VIDEO_TS.IFO", videoManager(1));
  put(f, "VTS_01_0.IFO",
      titleSet({programChain({{100, 0x7FFFFFFF}}, {1}), programChain({{7, 0xFFFFFFFF}}, {1})}));
  ASSERT_EQ(reader.openIfo(f), 0);
  reader.selectTitleSet(1, 1);
  LogSink::entries().clear();
  EXPECT_EQ(reader.selectProgramChain(0), 0);
  EXPECT_TRUE(sink.has(2, "startblock 100, endblock 2147483647"));
  EXPECT_EQ(reader.startBlock, 100);
  EXPECT_EQ(reader.endBlock, 0x7FFFFFFF);
  EXPECT_EQ(reader.getRangeLength(), (std::int64_t{0x7FFFFFFF} - 100) * 2048);
  EXPECT_EQ(reader.selectCell(0), 0);
  EXPECT_EQ(reader.endBlock, 0x7FFFFFFF);
  EXPECT_EQ(reader.selectProgramChainQuiet(0), 0);
  EXPECT_EQ(reader.endBlock, 0x7FFFFFFF);
  // An end sector read as -1 still ends the range at sector 0: no bound.
  EXPECT_EQ(reader.selectProgramChain(1), 0);
  EXPECT_EQ(reader.startBlock, 7);
  EXPECT_EQ(reader.endBlock, 0);
}

// Playback order: the chain's cells in its order, each cell's own sectors.
class DvdPlaybackOrder : public DvdTitleReaderTest {
 protected:
  void SetUp() override {
    f = folder("VIDEO_TS");
    put(f, "VIDEO_TS.IFO", videoManager(1));
    CellSectors angle{20, 29};
    angle.flags = 0x50;  // first cell of an angle block
    CellSectors inBlockNotAngle{20, 29};
    inBlockNotAngle.flags = 0x60;  // first cell of a block of another type
    put(f, "VTS_01_0.IFO",
        titleSet({programChain({{8, 9}, {2, 3}, {5, 5}}, {1}),
                  programChain({{0, 9}, angle}, {1}),
                  programChain({{4, 3}}, {1}),
                  programChain({}, {}),
                  programChain({inBlockNotAngle}, {1})}));
    // Sector n of the title set is 2048 bytes of the value n.
    std::string vob;
    for (int n = 0; n < 30; ++n) vob += std::string(2048, static_cast<char>(n));
    dir.write("VIDEO_TS/VTS_01_1.VOB", vob.substr(0, 6 * 2048));
    dir.write("VIDEO_TS/VTS_01_2.VOB", vob.substr(6 * 2048));
    ASSERT_EQ(reader.openIfo(f), 0);
    reader.selectTitleSet(1, 1);
    LogSink::entries().clear();
  }
  // The sector numbers of what the reader gives, a byte per sector.
  std::vector<int> readAll(std::int32_t request) {
    std::vector<int> sectors;
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(request));
    std::string bytes;
    while (std::int32_t got = reader.readRange(buffer.data(), request))
      bytes.append(reinterpret_cast<char*>(buffer.data()), static_cast<std::size_t>(got));
    for (std::size_t at = 0; at < bytes.size(); at += 2048) sectors.push_back(bytes[at]);
    return sectors;
  }
  std::string f;
};

TEST_F(DvdPlaybackOrder, CellsComeInTheChainsOrderEachWithItsOwnSectors) {
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  EXPECT_TRUE(reader.playbackOrder);
  EXPECT_EQ(reader.getRangeLength(), 5 * 2048);
  EXPECT_EQ(readAll(2048), (std::vector<int>{8, 9, 2, 3, 5}));
  EXPECT_TRUE(reader.isEnd());
  EXPECT_TRUE(sink.has(2, "cell 2: startblock 2, endblock 3"));
}

TEST_F(DvdPlaybackOrder, OneReadCrossesCellsAndFiles) {
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  EXPECT_EQ(readAll(3 * 2048 + 100), (std::vector<int>{8, 9, 2, 3, 5}));
  EXPECT_EQ(reader.getRangePosition(), 5 * 2048);
}

TEST_F(DvdPlaybackOrder, SeekLandsInTheCellThatHoldsThePosition) {
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  EXPECT_EQ(reader.seekRange(3 * 2048 + 7), 3 * 2048 + 7);
  std::uint8_t byte = 0xEE;
  ASSERT_EQ(reader.readRange(&byte, 1), 1);
  EXPECT_EQ(byte, 3);
  EXPECT_EQ(reader.seekRange(0), 0);
  ASSERT_EQ(reader.readRange(&byte, 1), 1);
  EXPECT_EQ(byte, 8);
}

TEST_F(DvdPlaybackOrder, SeekOutsideTheCellsFailsAndStaysPut) {
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  ASSERT_EQ(reader.seekRange(2048), 2048);
  EXPECT_EQ(reader.seekRange(5 * 2048 + 1), -1);
  EXPECT_EQ(reader.seekRange(-1), -1);
  EXPECT_EQ(reader.getRangePosition(), 2048);
  EXPECT_EQ(reader.seekRange(5 * 2048), 5 * 2048);  // the end itself is a place
  EXPECT_TRUE(reader.isEnd());
}

TEST_F(DvdPlaybackOrder, WholeSectorReadsTakeTheCellsInOrder) {
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  std::vector<std::uint8_t> all(6 * 2048);
  ASSERT_EQ(reader.readSectors(all.data(), 6 * 2048), 5 * 2048);
  EXPECT_EQ(all[2 * 2048], 2);
  EXPECT_EQ(all[4 * 2048 + 2047], 5);
}

TEST_F(DvdPlaybackOrder, AngleBlockIsRefusedAndNothingIsSelected) {
  EXPECT_EQ(reader.selectPlaybackOrder(1), 1);
  EXPECT_TRUE(sink.has(1, "program chain 2 of title set 1: cell 2 belongs to an angle block "
                          "(multi-angle chains are not supported)"));
  EXPECT_EQ(reader.getRangeLength(), 0);
  EXPECT_TRUE(reader.isEnd());
  std::uint8_t byte = 0;
  EXPECT_EQ(reader.readRange(&byte, 1), 0);
}

TEST_F(DvdPlaybackOrder, BlockOfAnotherTypeIsPlayed) {
  EXPECT_EQ(reader.selectPlaybackOrder(4), 0);
  EXPECT_EQ(reader.getRangeLength(), 10 * 2048);
}

TEST_F(DvdPlaybackOrder, CellThatEndsBeforeItStartsIsRefused) {
  EXPECT_EQ(reader.selectPlaybackOrder(2), 1);
  EXPECT_TRUE(sink.has(1, "program chain 3 of title set 1: cell 1 ends (sector 3) before it "
                          "starts (sector 4)"));
  EXPECT_EQ(reader.getRangeLength(), 0);
}

TEST_F(DvdPlaybackOrder, ChainWithoutCellsOrNumberOutsideTheTableIsRefused) {
  EXPECT_EQ(reader.selectPlaybackOrder(3), 1);
  EXPECT_TRUE(sink.has(1, "pgc 3 has no cells."));
  EXPECT_EQ(reader.selectPlaybackOrder(9), 1);
  EXPECT_TRUE(sink.has(1, "pgc 9 does not exist."));
  EXPECT_EQ(reader.getRangeLength(), 0);
}

TEST_F(DvdPlaybackOrder, RefusalAfterAGoodSelectionLeavesNoStaleCells) {
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  ASSERT_EQ(reader.selectPlaybackOrder(2), 1);
  EXPECT_EQ(reader.getRangeLength(), 0);
  EXPECT_TRUE(reader.isEnd());
}

TEST_F(DvdPlaybackOrder, ARangeSelectionEndsPlaybackOrder) {
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  ASSERT_EQ(reader.selectProgramChain(0), 0);
  EXPECT_FALSE(reader.playbackOrder);
  EXPECT_EQ(reader.getRangeLength(), -1);  // from sector 8 to sector 5: no range
  ASSERT_EQ(reader.selectCell(1), 0);
  EXPECT_EQ(reader.getRangeLength(), 2 * 2048);
}

TEST_F(DvdPlaybackOrder, FilesEndingInsideACellShortenTheRead) {
  // The files now end after sector 6; the chain starts at sector 8. (An
  // open file cannot be rewritten on every system: close them first.)
  reader.vobStream.reset();
  dir.write("VIDEO_TS/VTS_01_2.VOB", std::string(2048, 6));
  reader.selectTitleSet(1, 1);
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  std::vector<std::uint8_t> all(5 * 2048);
  EXPECT_EQ(reader.readSectors(all.data(), 5 * 2048), 0);  // sector 8 is past the files
  EXPECT_EQ(reader.cellOrder.currentSector(), 8);
}
