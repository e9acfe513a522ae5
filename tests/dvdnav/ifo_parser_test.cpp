// The parsers on hand-made and hostile images: every access stays inside the
// bytes given.
#include "dvdnav/ifo_parser.h"

#include <gtest/gtest.h>

#include <set>
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

template <typename T>
std::size_t heapBytes(const std::vector<T>& v) {
  return v.capacity() * sizeof(T);
}

// The distinct program chain records of a list.
std::set<const ProgramChain*> distinctChains(const ProgramChainList& chains) {
  std::set<const ProgramChain*> distinct;
  for (const ProgramChain& pgc : chains) distinct.insert(&pgc);
  return distinct;
}

// The memory the program chains of a title set hold: each distinct record
// once, and one pointer per entry.
std::size_t chainBytes(const ProgramChainList& chains) {
  std::size_t total = chains.size() * sizeof(std::shared_ptr<const ProgramChain>);
  for (const ProgramChain* pgc : distinctChains(chains))
    total += sizeof(ProgramChain) + heapBytes(pgc->precommands) + heapBytes(pgc->postcommands) +
             heapBytes(pgc->cellcommands) + heapBytes(pgc->cells) +
             heapBytes(pgc->cellpositions) + heapBytes(pgc->programmap);
  return total;
}

std::size_t commandsIn(const ProgramChainList& chains) {
  std::size_t total = 0;
  for (const ProgramChain* pgc : distinctChains(chains))
    total += pgc->precommands.size() + pgc->postcommands.size() + pgc->cellcommands.size();
  return total;
}

// A title set whose program chain table (at byte 2048) has `entries`
// entries, entry i pointing `spacing` × i bytes after the first block, which
// follows the entries; blocks overlap when the spacing is below their 236
// header bytes. The blocks' bytes, and `span` bytes after them, are `fill`.
Bytes titleSetWithBlocksAt(unsigned entries, std::size_t spacing, std::size_t span, unsigned fill) {
  Bytes vts(2048);
  vts.text(0, "DVDVIDEO-VTS");
  vts.u32(0xCC, 1);
  std::size_t table = 2048;
  std::size_t first = 8 + 8 * static_cast<std::size_t>(entries);
  vts.u16(table, entries);
  for (unsigned i = 0; i < entries; ++i)
    vts.u32(table + 8 + 8 * i + 4, static_cast<std::uint32_t>(first + spacing * i));
  std::size_t end = table + first + spacing * entries + span;
  for (std::size_t at = table + first; at < end; ++at) vts.u8(at, fill);
  vts.u32(table + 4, static_cast<std::uint32_t>(end - table - 1));
  return vts;
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

TEST(IfoParser, ProgramChainsSharingOneBlockAreParsedOnce) {
  Bytes vts = testing_support::titleSetSharingOneBlock(
      2000, testing_support::programChainWithCommands(2000));
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  ASSERT_EQ(info.programchains.size(), 2000u);
  EXPECT_EQ(distinctChains(info.programchains).size(), 1u);
  EXPECT_EQ(info.programchains.shared(0).use_count(), 2000);
  const ProgramChain& last = info.programchains[1999];
  ASSERT_EQ(last.precommands.size(), 2000u);
  EXPECT_EQ(last.precommands[1999].op3, 1999);
  EXPECT_EQ(last.precommands[0].cmdtype, 1);
  ASSERT_EQ(last.cells.size(), 1u);
  EXPECT_EQ(last.cells[0].endclvobu, 9);
  // A copy per entry would be 2000 times the commands; the shared record
  // keeps the memory within a small multiple of the file.
  EXPECT_LE(chainBytes(info.programchains), 8 * vts.size());
  EXPECT_EQ(messages, "");
}

TEST(IfoParser, SharedProgramChainsCopyAsValues) {
  Bytes vts =
      testing_support::titleSetSharingOneBlock(3, testing_support::programChainWithCommands(4));
  TitleSetInfo info = parseVts(vts);
  TitleSetInfo copy = info;
  info = TitleSetInfo();
  ASSERT_EQ(copy.programchains.size(), 3u);
  for (const ProgramChain& pgc : copy.programchains) EXPECT_EQ(pgc.precommands.size(), 4u);
  EXPECT_EQ(copy.programchains[2].cells[0].startcfvobu, 0);
}

TEST(IfoParser, CommandsOfDistinctBlocksStopAtTwiceWhatTheFileHolds) {
  // 250 blocks of their own, each pointing at one command table of 2000
  // commands further on: the same commands over and over.
  const unsigned entries = 250, commands = 2000;
  const std::size_t spacing = 236;
  Bytes vts = titleSetWithBlocksAt(entries, spacing, 0, 0);
  std::size_t table = 2048, first = 8 + 8 * entries;
  std::size_t commandTable = first + spacing * entries;
  for (unsigned i = 0; i < entries; ++i)
    vts.u16(table + first + spacing * i + 0xE4,
            static_cast<unsigned>(commandTable - (first + spacing * i)));
  vts.u16(table + commandTable, commands);
  vts.grow(table + commandTable + 8 + 8 * commands);
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  ASSERT_EQ(info.programchains.size(), entries);
  EXPECT_EQ(distinctChains(info.programchains).size(), entries);
  EXPECT_EQ(info.programchains[0].precommands.size(), commands);  // the first keeps them all
  EXPECT_LE(commandsIn(info.programchains), 2 * vts.size() / 8);
  EXPECT_NE(messages.find("VTS_PGCIT: more commands than the file can hold, cut"),
            std::string::npos);
}

TEST(IfoParser, CellTablesOfDistinctBlocksStopAtTwiceWhatTheFileHolds) {
  const unsigned entries = 250;
  const std::size_t spacing = 236;
  Bytes vts = titleSetWithBlocksAt(entries, spacing, 0, 0);
  std::size_t table = 2048, first = 8 + 8 * entries;
  std::size_t cellTable = first + spacing * entries;
  for (unsigned i = 0; i < entries; ++i) {
    std::size_t block = table + first + spacing * i;
    vts.u8(block + 3, 255);
    vts.u16(block + 0xE8, static_cast<unsigned>(cellTable - (first + spacing * i)));
    vts.u16(block + 0xEA, static_cast<unsigned>(cellTable - (first + spacing * i)));
  }
  vts.grow(table + cellTable + 24 * 255);
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  ASSERT_EQ(info.programchains.size(), entries);
  EXPECT_EQ(info.programchains[0].cells.size(), 255u);
  EXPECT_EQ(info.programchains[0].cellpositions.size(), 255u);
  std::size_t cells = 0, positions = 0;
  for (const ProgramChain* pgc : distinctChains(info.programchains)) {
    cells += pgc->cells.size();
    positions += pgc->cellpositions.size();
  }
  EXPECT_LE(cells, 2 * vts.size() / 24);
  EXPECT_LE(positions, 2 * vts.size() / 4);
  EXPECT_NE(messages.find("VTS_PGCIT: more cell playback entries than the file can hold, cut"),
            std::string::npos);
  EXPECT_NE(messages.find("VTS_PGCIT: more cell positions than the file can hold, cut"),
            std::string::npos);
}

TEST(IfoParser, OverlappingBlocksStopAtTwiceWhatTheFileHolds) {
  // Each entry points one byte further into the same run of bytes.
  const unsigned entries = 20000;
  Bytes vts = titleSetWithBlocksAt(entries, 1, 236, 0x80);
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  ASSERT_EQ(info.programchains.size(), entries);  // every entry keeps its place
  std::size_t decoded = 0;
  for (const ProgramChain* pgc : distinctChains(info.programchains))
    if (pgc->numcells != 0) ++decoded;
  EXPECT_GT(decoded, 0u);
  EXPECT_LE(decoded, 2 * vts.size() / 236);
  EXPECT_EQ(info.programchains[entries - 1].numcells, 0);  // past the allowance: left empty
  EXPECT_NE(messages.find("VTS_PGCIT: more program chain blocks than the file can hold, cut"),
            std::string::npos);
  EXPECT_LE(chainBytes(info.programchains), 64 * vts.size());
}

TEST(IfoParser, PartOfTitleListsShareTheirCommonTails) {
  const unsigned titles = 3000, entries = 3000;
  Bytes vts = testing_support::titleSet({});
  vts.u32(0xC8, 2);
  std::size_t table = 2 * 2048;
  std::size_t first = 8 + 4 * titles;
  vts.u16(table, titles);
  for (unsigned t = 0; t < titles; ++t)
    vts.u32(table + 8 + 4 * t, static_cast<std::uint32_t>(first + 4 * (t % 2)));
  for (unsigned i = 0; i < entries; ++i) vts.u16(table + first + 4 * i, i + 1);
  vts.u32(table + 4, static_cast<std::uint32_t>(first + 4 * entries - 1));
  vts.grow(table + first + 4 * entries);
  std::string messages;
  TitleSetInfo info = parseVts(vts, &messages);
  ASSERT_EQ(info.parts.size(), titles);
  EXPECT_EQ(info.parts[0].size(), entries);
  EXPECT_EQ(info.parts[1].size(), entries - 1);
  EXPECT_EQ(info.parts[1][0].pgcn, 2);
  EXPECT_EQ(info.parts[titles - 2].size(), entries);
  EXPECT_EQ(info.parts[titles - 1].back().pgcn, static_cast<std::int32_t>(entries));
  // All the lists are views of one run of entries.
  EXPECT_EQ(&info.parts[titles - 2][0], &info.parts[0][0]);
  EXPECT_EQ(&info.parts[titles - 1][0], &info.parts[0][1]);
  EXPECT_EQ(messages, "");
}

TEST(IfoParser, PartOfTitleListsAtUnalignedOffsetsReadTheirOwnEntries) {
  Bytes vts = testing_support::titleSet({});
  vts.u32(0xC8, 2);
  std::size_t table = 2 * 2048;
  vts.u16(table, 4);
  vts.u32(table + 8, 24);   // entries at 24, 28, 32, 36
  vts.u32(table + 12, 26);  // entries at 26, 30, 34, 38
  vts.u32(table + 16, 32);  // entries at 32, 36
  vts.u32(table + 20, 40);  // starts past the end: no entries
  for (unsigned at = 24; at < 64; ++at) vts.u8(table + at, at);
  vts.u32(table + 4, 39);
  TitleSetInfo info = parseVts(vts);
  ASSERT_EQ(info.parts.size(), 4u);
  ASSERT_EQ(info.parts[0].size(), 4u);
  ASSERT_EQ(info.parts[1].size(), 4u);
  ASSERT_EQ(info.parts[2].size(), 2u);
  EXPECT_TRUE(info.parts[3].empty());
  EXPECT_EQ(info.parts[0][0].pgcn, (24 << 8) | 25);
  EXPECT_EQ(info.parts[1][0].pgcn, (26 << 8) | 27);
  EXPECT_EQ(info.parts[1][2].pgn, (36 << 8) | 37);
  EXPECT_EQ(info.parts[1][3].pgcn, (38 << 8) | 39);
  EXPECT_EQ(info.parts[2][1].pgcn, (36 << 8) | 37);
}

TEST(IfoParser, OverlappingAttributeRecordsStopAtTwiceWhatTheFileHolds) {
  Bytes vmg = testing_support::videoManager(1);
  std::size_t table = 3 * 2048;
  vmg.u32(0xD0, 3);
  vmg.u8(table + 1, 63);
  std::size_t record = table + 8 + 4 * 63;
  for (unsigned i = 0; i < 63; ++i, record += 0x308) {
    vmg.u16(record + 8 + 2, 65535);         // menu audio streams
    vmg.u16(record + 0x108 + 2, 65535);     // title audio streams
    vmg.u16(record + 0x108 + 0x54, 65535);  // title sub-picture streams
  }
  vmg.grow(64 * 1024);
  VideoManagerInfo info;
  std::ostringstream log;
  parseVideoManager(IfoBytes(vmg.data().data(), vmg.size()), info, log);
  ASSERT_EQ(info.titlesetattributes.size(), 63u);
  // The first record's streams run on to the end of the file.
  EXPECT_EQ(info.titlesetattributes[0].menu.audio.size(),
            (vmg.size() - (table + 8 + 4 * 63 + 8 + 4)) / 8);
  std::size_t audio = info.attributes.audio.size();
  std::size_t subpictures = info.attributes.subpictures.size();
  for (const AttributeSetPair& pair : info.titlesetattributes) {
    audio += pair.menu.audio.size() + pair.title.audio.size();
    subpictures += pair.menu.subpictures.size() + pair.title.subpictures.size();
  }
  EXPECT_LE(audio, 2 * vmg.size() / 8);
  EXPECT_LE(subpictures, 2 * vmg.size() / 6);
  EXPECT_NE(log.str().find("VTS_ATRT: more audio attributes than the file can hold, cut"),
            std::string::npos);
  EXPECT_NE(log.str().find("VTS_ATRT: more sub-picture attributes than the file can hold, cut"),
            std::string::npos);
}

TEST(IfoParser, EntriesOfDifferentTablesShareABlock) {
  Bytes pgc = testing_support::programChainWithCommands(5);
  Bytes vts = testing_support::titleSetSharingOneBlock(2, pgc);
  // A menu unit table at sector 2 with one unit whose two chains point at
  // one block after them; the second title chain entry points there too.
  std::size_t lu = 2 * 2048;
  vts.u32(0xD0, 2);
  vts.u16(lu, 1);
  std::size_t unit = lu + 16;
  vts.u16(unit, 2);
  std::size_t block = unit + 64;
  vts.u32(unit + 8 + 4, static_cast<std::uint32_t>(block - unit));
  vts.u32(unit + 16 + 4, static_cast<std::uint32_t>(block - unit));
  vts.bytes(block, pgc.data());
  vts.u32(2048 + 8 + 8 + 4, static_cast<std::uint32_t>(block - 2048));
  TitleSetInfo info = parseVts(vts);
  ASSERT_EQ(info.menuunits.size(), 1u);
  ASSERT_EQ(info.menuunits[0].programchains.size(), 2u);
  EXPECT_EQ(&info.menuunits[0].programchains[0], &info.menuunits[0].programchains[1]);
  EXPECT_EQ(&info.menuunits[0].programchains[0], &info.programchains[1]);
  EXPECT_NE(&info.programchains[0], &info.programchains[1]);
  EXPECT_EQ(info.menuunits[0].programchains[0].precommands.size(), 5u);
}
