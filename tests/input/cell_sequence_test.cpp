#include "input/cell_sequence.h"

#include <gtest/gtest.h>

#include "support/scratch.h"

using testing_support::ScratchDir;

namespace {

// Two VOB files of 4 and 3 sectors; every byte of sector n holds n.
class CellSequenceTest : public testing::Test {
 protected:
  std::string sectors(int from, int to) {
    std::string bytes;
    for (int n = from; n < to; ++n) bytes += std::string(2048, static_cast<char>(n));
    return bytes;
  }
  ScratchDir dir;
  ConcatenatedStream vobs{{dir.write("VTS_01_1.VOB", sectors(0, 4)),
                           dir.write("VTS_01_2.VOB", sectors(4, 7))}};
  CellSequence cells;

  std::string readAll(std::int32_t request) {
    std::string out;
    std::string buffer(static_cast<std::size_t>(request), '\0');
    while (std::int32_t got = cells.read(vobs, buffer.data(), request)) out += buffer.substr(0, static_cast<std::size_t>(got));
    return out;
  }
};

}  // namespace

TEST_F(CellSequenceTest, LengthIsTheSumOfTheCells) {
  cells.assign({{5, 7}, {1, 2}, {3, 5}});
  EXPECT_EQ(cells.length(), 5 * 2048);
  EXPECT_EQ(cells.endSector(), 7);
  EXPECT_EQ(cells.position(), 0);
  EXPECT_FALSE(cells.atEnd());
}

TEST_F(CellSequenceTest, ReadsEachCellInTurnAcrossTheFiles) {
  cells.assign({{5, 7}, {1, 2}, {3, 5}});
  EXPECT_TRUE(readAll(1000) == sectors(5, 7) + sectors(1, 2) + sectors(3, 5));
  EXPECT_TRUE(cells.atEnd());
  EXPECT_EQ(cells.currentSector(), 5);
}

TEST_F(CellSequenceTest, OneReadSpansEveryCell) {
  cells.assign({{5, 7}, {1, 2}, {3, 5}});
  std::string buffer(6 * 2048, '\0');
  EXPECT_EQ(cells.read(vobs, buffer.data(), 6 * 2048), 5 * 2048);
  EXPECT_TRUE(buffer.substr(0, 5 * 2048) == sectors(5, 7) + sectors(1, 2) + sectors(3, 5));
}

TEST_F(CellSequenceTest, SeekFindsTheCellAndTheSector) {
  cells.assign({{5, 7}, {1, 2}, {3, 5}});
  EXPECT_EQ(cells.seek(2 * 2048 + 5), 2 * 2048 + 5);
  EXPECT_EQ(cells.currentSector(), 1);
  char byte = 0;
  ASSERT_EQ(cells.read(vobs, &byte, 1), 1);
  EXPECT_EQ(byte, 1);
  // Backwards, to a cell read before.
  EXPECT_EQ(cells.seek(2048), 2048);
  EXPECT_EQ(cells.currentSector(), 6);
  ASSERT_EQ(cells.read(vobs, &byte, 1), 1);
  EXPECT_EQ(byte, 6);
}

TEST_F(CellSequenceTest, SeekOutsideFailsAndKeepsThePosition) {
  cells.assign({{5, 7}, {1, 2}});
  ASSERT_EQ(cells.seek(100), 100);
  EXPECT_EQ(cells.seek(3 * 2048 + 1), -1);
  EXPECT_EQ(cells.seek(-5), -1);
  EXPECT_EQ(cells.position(), 100);
  EXPECT_EQ(cells.seek(3 * 2048), 3 * 2048);
  EXPECT_TRUE(cells.atEnd());
  char byte = 0;
  EXPECT_EQ(cells.read(vobs, &byte, 1), 0);
}

TEST_F(CellSequenceTest, EmptyAndBackwardCellsAddNothing) {
  cells.assign({{2, 2}, {4, 3}, {6, 7}});
  EXPECT_EQ(cells.length(), 2048);
  EXPECT_TRUE(readAll(2048) == sectors(6, 7));
}

TEST_F(CellSequenceTest, CellPastTheFilesEndsTheRead) {
  cells.assign({{1, 2}, {6, 9}, {0, 1}});
  std::string buffer(5 * 2048, '\0');
  // Sector 6 is the files' last: the read stops where they end, in the
  // middle of the second cell, and goes no further on a second try.
  EXPECT_EQ(cells.read(vobs, buffer.data(), 5 * 2048), 2 * 2048);
  EXPECT_EQ(cells.currentSector(), 7);
  EXPECT_EQ(cells.read(vobs, buffer.data(), 5 * 2048), 0);
  EXPECT_FALSE(cells.atEnd());
}

TEST_F(CellSequenceTest, NoCellsIsAnEmptySequence) {
  cells.assign({});
  EXPECT_EQ(cells.length(), 0);
  EXPECT_TRUE(cells.atEnd());
  EXPECT_EQ(cells.endSector(), 0);
  char byte = 0;
  EXPECT_EQ(cells.read(vobs, &byte, 1), 0);
}

TEST_F(CellSequenceTest, SectorAtNamesTheSectorOfAnyByte) {
  cells.assign({{5, 7}, {4, 4}, {1, 2}, {9, 8}, {3, 5}});
  EXPECT_EQ(cells.sectorAt(0), 5);
  EXPECT_EQ(cells.sectorAt(2047), 5);
  EXPECT_EQ(cells.sectorAt(2048), 6);
  EXPECT_EQ(cells.sectorAt(2 * 2048), 1);
  EXPECT_EQ(cells.sectorAt(3 * 2048), 3);
  EXPECT_EQ(cells.sectorAt(5 * 2048 - 1), 4);
  EXPECT_EQ(cells.sectorAt(5 * 2048), -1);
  EXPECT_EQ(cells.sectorAt(-1), -1);
  // It does not move the sequence.
  EXPECT_EQ(cells.position(), 0);
}
