// The parsers on hand-made and hostile images: every access stays inside the
// bytes given.
#include "dvdnav/ifo_parser.h"

#include <gtest/gtest.h>

#include <sstream>

#include "demux/stream.h"
#include "dvdnav/ifo_builder.h"

using namespace dvdnav;
using testing_support::Bytes;
using testing_support::CellSectors;

namespace {
TitleSetInfo parseVts(const Bytes& vts, std::string* messages = nullptr) {
  TitleSetInfo info;
  std::ostringstream log;
  parseTitleSet(IfoBytes(vts.data().data(), vts.size()), info, log);
  if (messages) *messages = log.str();
  return info;
}
}  // namespace

TEST(IfoParser, WrongIdentifierLeavesTheRecordEmpty) {
  Bytes vts = testing_support::titleSet({testing_support::programChain({{1, 2}}, {1})});
  vts.text(0, "DVDVIDEO-VMG");
  EXPECT_TRUE(parseVts(vts).programchains.empty());
  VideoManagerInfo vmg;
  std::ostringstream log;
  Bytes junk(100);
  parseVideoManager(IfoBytes(junk.data().data(), junk.size()), vmg, log);
  EXPECT_TRUE(vmg.titles.empty());
}

TEST(IfoParser, ProgramChainsInTableOrder) {
  Bytes vts = testing_support::titleSet(
      {testing_support::programChain({{10, 19}, {20, 29}, {30, 39}}, {1, 3}),
       testing_support::programChain({{100, 199}}, {1})});
  TitleSetInfo info = parseVts(vts);
  ASSERT_EQ(info.programchains.size(), 2u);
  const ProgramChain& first = info.programchains[0];
  EXPECT_EQ(first.numcells, 3);
  EXPECT_EQ(first.numprograms, 2);
  ASSERT_EQ(first.cells.size(), 3u);
  EXPECT_EQ(first.cells[2].endclvobu, 39);
  EXPECT_EQ(first.programmap, (std::vector<std::int32_t>{1, 3}));
  EXPECT_EQ(first.numentrycell, 1);
  ASSERT_EQ(first.cellpositions.size(), 3u);
  EXPECT_EQ(first.cellpositions[2].cellid, 3);
  EXPECT_EQ(info.programchains[1].cells[0].startcfvobu, 100);
}

TEST(IfoParser, PartOfTitleListsRunToTheEndOfTheTable) {
  Bytes vts = testing_support::titleSet({});
  vts.u32(0xC8, 2);
  std::size_t table = 2 * 2048;
  vts.u16(table, 2);
  vts.u32(table + 8, 16);  // title 1: entries from 16
  vts.u32(table + 12, 24); // title 2: entries from 24
  for (unsigned i = 0; i < 4; ++i) {
    vts.u16(table + 16 + 4 * i, i < 2 ? 1 : 2);
    vts.u16(table + 18 + 4 * i, i % 2 + 1);
  }
  vts.u32(table + 4, 16 + 16 - 1);
  TitleSetInfo info = parseVts(vts);
  ASSERT_EQ(info.parts.size(), 2u);
  EXPECT_EQ(info.parts[0].size(), 4u);  // its own two and the next title's two
  EXPECT_EQ(info.parts[1].size(), 2u);
  EXPECT_EQ(info.parts[0][2].pgcn, 2);
}

TEST(IfoParser, TableOutsideTheFileIsSkippedWithANote) {
  Bytes vts = testing_support::titleSet({testing_support::programChain({{1, 2}}, {1})});
  vts.u32(0xE0, 500);  // cell address table far beyond the end
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  EXPECT_TRUE(info.celladdresses.empty());
  EXPECT_EQ(info.programchains.size(), 1u);
  EXPECT_NE(messages.find("VTS_C_ADT"), std::string::npos);
}

TEST(IfoParser, HugeProgramChainCountIsBoundedByTheFile) {
  Bytes vts = testing_support::titleSet({testing_support::programChain({{1, 2}}, {1})});
  vts.u16(2048, 65535);
  vts.grow(12 * 1024);
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  EXPECT_LE(info.programchains.size(), (12 * 1024 - 2048) / 8u);
  EXPECT_NE(messages.find("VTS_PGCIT"), std::string::npos);
}

TEST(IfoParser, CellTableRunningPastTheEndIsCut) {
  Bytes pgc = testing_support::programChain({{1, 2}, {3, 4}}, {1});
  pgc.u8(3, 255);  // claims 255 cells
  Bytes vts = testing_support::titleSet({pgc});
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  ASSERT_EQ(info.programchains.size(), 1u);
  EXPECT_EQ(info.programchains[0].numcells, 255);
  EXPECT_LT(info.programchains[0].cells.size(), 255u);
  EXPECT_EQ(info.programchains[0].cells[1].endclvobu, 4);
}

TEST(IfoParser, AttributeCountsAreNotCappedButStayInsideTheFile) {
  Bytes vts = testing_support::titleSet({});
  vts.u16(0x202, 10);  // ten audio streams, more than a disc may have
  TitleSetInfo info = parseVts(vts);
  EXPECT_EQ(info.attributes.title.audio.size(), 10u);
  vts.u16(0x202, 65535);
  info = parseVts(vts);
  EXPECT_LE(info.attributes.title.audio.size(), vts.size() / 8);
}

TEST(IfoParser, TruncatedFileReadsAbsentFieldsAsZero) {
  Bytes vmg = testing_support::videoManager(1);
  std::vector<std::uint8_t> head(vmg.data().begin(), vmg.data().begin() + 40);
  VideoManagerInfo info;
  std::ostringstream log;
  parseVideoManager(IfoBytes(head.data(), head.size()), info, log);
  EXPECT_EQ(info.numtitles, 0);
  EXPECT_TRUE(info.titles.empty());
  EXPECT_TRUE(info.firstplay.cells.empty());
}
