#include "dvdnav/cell_layout.h"

#include <algorithm>

namespace dvdnav {

CellLayout cellLayout(const ProgramChain& pgc) {
  CellLayout layout;
  if (pgc.cells.empty()) return layout;
  for (std::size_t i = 0; i < pgc.cells.size(); ++i) {
    const CellPlayback& cell = pgc.cells[i];
    layout.playbackSectors +=
        std::max<std::int64_t>(std::int64_t{cell.endclvobu} - cell.startcfvobu + 1, 0);
    if (i > 0 && std::int64_t{cell.startcfvobu} != std::int64_t{pgc.cells[i - 1].endclvobu} + 1)
      layout.inRangeOrder = false;
  }
  layout.rangeSectors =
      std::int64_t{pgc.cells.back().endclvobu} - pgc.cells.front().startcfvobu + 1;
  return layout;
}

}  // namespace dvdnav
