// How a program chain's cells lie in its title set's VOB files. A chain
// authored straight through has each cell start right after the one before
// ends, and then the range from its first cell's first sector to its last
// cell's last sector is exactly its cells. A chain whose cells skip about
// (shared scenes, branches, a reversed order) has a range that holds other
// footage, or nothing at all; only its cells in playback order are its own.
#pragma once

#include <cstdint>

#include "dvdnav/ifo_records.h"

namespace dvdnav {

struct CellLayout {
  // Whether every cell starts at the sector after the previous one's last.
  bool inRangeOrder = true;
  // Sectors from the first cell's first to the last cell's last; 0 or less
  // when the last cell ends before the first begins.
  std::int64_t rangeSectors = 0;
  // The cells' own sectors, summed (a cell that ends before it starts adds
  // none).
  std::int64_t playbackSectors = 0;
};

// The layout of `pgc`'s cells; a chain without cells has an empty range.
CellLayout cellLayout(const ProgramChain& pgc);

}  // namespace dvdnav
