#include "dvdnav/chapter_list.h"

#include <cstdio>

namespace dvdnav {

namespace {

std::int64_t bcdValue(std::uint8_t byte) { return (byte >> 4) * 10 + (byte & 0x0F); }

std::int64_t roundedMillis(std::int64_t ticks) {
  // 90 ticks a millisecond; halves round up (times are never negative).
  return (ticks + 45) / 90;
}

}  // namespace

std::int64_t frameTicks(std::uint8_t frameByte) {
  return (frameByte & 0xC0) == 0xC0 ? 3003 : 3600;
}

std::int64_t playbackTimeTicks(const std::uint8_t time[4]) {
  std::int64_t seconds = bcdValue(time[0]) * 3600 + bcdValue(time[1]) * 60 + bcdValue(time[2]);
  std::int64_t frames = bcdValue(static_cast<std::uint8_t>(time[3] & 0x3F));
  return seconds * kTicksPerSecond + frames * frameTicks(time[3]);
}

std::int64_t chainTicks(const ProgramChain& pgc) {
  std::int64_t total = 0;
  for (const auto& cell : pgc.cells) total += playbackTimeTicks(cell.playbacktime.data());
  return total;
}

std::vector<Chapter> chapterList(const ProgramChain& pgc) {
  if (pgc.programmap.empty()) throw ChapterError("the program chain has no programs");
  if (pgc.cells.empty()) throw ChapterError("the program chain has no cells");
  const std::int32_t cells = static_cast<std::int32_t>(pgc.cells.size());

  // Where each cell starts: the sum of the cells before it.
  std::vector<std::int64_t> cellStart(pgc.cells.size() + 1, 0);
  for (std::size_t c = 0; c < pgc.cells.size(); ++c)
    cellStart[c + 1] = cellStart[c] + playbackTimeTicks(pgc.cells[c].playbacktime.data());

  std::vector<Chapter> chapters;
  for (std::size_t p = 0; p < pgc.programmap.size(); ++p) {
    std::int32_t first = pgc.programmap[p];
    if (first < 1 || first > cells)
      throw ChapterError("program " + std::to_string(p + 1) + " starts at cell " +
                         std::to_string(first) + ", but the program chain has " +
                         std::to_string(cells) + (cells == 1 ? " cell" : " cells"));
    Chapter chapter;
    chapter.number = static_cast<std::int32_t>(p + 1);
    chapter.firstCell = first;
    chapter.start = cellStart[static_cast<std::size_t>(first - 1)];
    chapters.push_back(chapter);
  }
  const std::int64_t total = cellStart.back();
  for (std::size_t i = 0; i < chapters.size(); ++i) {
    std::int64_t end = i + 1 < chapters.size() ? chapters[i + 1].start : total;
    if (end < chapters[i].start)
      throw ChapterError("program " + std::to_string(i + 2) + " starts at cell " +
                         std::to_string(chapters[i + 1].firstCell) + ", before program " +
                         std::to_string(i + 1) + " (cell " +
                         std::to_string(chapters[i].firstCell) + ")");
    chapters[i].length = end - chapters[i].start;
  }
  return chapters;
}

std::string ticksClock(std::int64_t ticks, bool padHours) {
  long long ms = static_cast<long long>(roundedMillis(ticks));
  char text[40];
  std::snprintf(text, sizeof text, padHours ? "%02lld:%02lld:%02lld.%03lld" : "%lld:%02lld:%02lld.%03lld",
                ms / 3600000, ms / 60000 % 60, ms / 1000 % 60, ms % 1000);
  return text;
}

std::string ticksSeconds(std::int64_t ticks) {
  long long ms = static_cast<long long>(roundedMillis(ticks));
  char text[32];
  std::snprintf(text, sizeof text, "%lld.%03lld", ms / 1000, ms % 1000);
  return text;
}

}  // namespace dvdnav
