#include "dvdnav/disc_title.h"

#include <algorithm>

#include "dvdnav/chapter_list.h"

namespace dvdnav {

namespace {

// The part-of-title entries of title `inSet` (from 1) alone. Each title's
// list runs on to the end of the table, so its own entries are those the
// next title's list does not hold.
std::size_t ownPartCount(const TitleSetInfo& titleSet, std::int32_t inSet) {
  const std::size_t index = static_cast<std::size_t>(inSet - 1);
  const std::size_t all = titleSet.parts[index].size();
  const std::size_t after = index + 1 < titleSet.parts.size() ? titleSet.parts[index + 1].size() : 0;
  return all > after ? all - after : 0;
}

[[noreturn]] void chapterFault(std::int32_t title, std::size_t chapter, const std::string& what) {
  throw TitleError(titleName(title) + ", chapter " + std::to_string(chapter + 1) + ": " + what);
}

// The chain and first cell (from 0) of one part-of-title entry.
ChapterCells chapterStart(const TitleSetInfo& titleSet, const PartOfTitle& part,
                          std::int32_t title, std::size_t chapter) {
  const std::int32_t chains = static_cast<std::int32_t>(titleSet.programchains.size());
  if (part.pgcn < 1 || part.pgcn > chains)
    chapterFault(title, chapter, "program chain " + std::to_string(part.pgcn) +
                                     " does not exist (the title set has " +
                                     std::to_string(chains) + ")");
  const ProgramChain& pgc = titleSet.programchains[static_cast<std::size_t>(part.pgcn - 1)];
  const std::int32_t programs = static_cast<std::int32_t>(pgc.programmap.size());
  if (part.pgn < 1 || part.pgn > programs)
    chapterFault(title, chapter, "program " + std::to_string(part.pgn) +
                                     " does not exist in program chain " +
                                     std::to_string(part.pgcn) + " (it has " +
                                     std::to_string(programs) + ")");
  const std::int32_t cell = pgc.programmap[static_cast<std::size_t>(part.pgn - 1)];
  const std::int32_t cells = static_cast<std::int32_t>(pgc.cells.size());
  if (cell < 1 || cell > cells)
    chapterFault(title, chapter, "program " + std::to_string(part.pgn) + " of program chain " +
                                     std::to_string(part.pgcn) + " starts at cell " +
                                     std::to_string(cell) + ", but the chain has " +
                                     std::to_string(cells) + (cells == 1 ? " cell" : " cells"));
  return {part.pgcn - 1, cell - 1, cells};
}

}  // namespace

std::string titleName(std::int32_t number) { return "title " + std::to_string(number); }

const TitleEntry* titleEntry(const VideoManagerInfo& vmg, std::int32_t number) {
  if (number < 1 || static_cast<std::size_t>(number) > vmg.titles.size()) return nullptr;
  return &vmg.titles[static_cast<std::size_t>(number - 1)];
}

DiscTitle resolveTitle(const VideoManagerInfo& vmg, const TitleSetInfo& titleSet,
                       std::int32_t number) {
  const TitleEntry* entry = titleEntry(vmg, number);
  if (!entry) throw TitleError(titleName(number) + " is not in the title table");
  DiscTitle title;
  title.number = number;
  title.titleSet = entry->vtsnumber;
  title.titleInSet = entry->vtstitlenumber;
  title.angles = entry->numangles;
  const std::int32_t inSet = entry->vtstitlenumber;
  if (inSet < 1 || static_cast<std::size_t>(inSet) > titleSet.parts.size())
    throw TitleError(titleName(number) + " is title " + std::to_string(inSet) + " of title set " +
                     std::to_string(entry->vtsnumber) + ", whose part-of-title table has " +
                     std::to_string(titleSet.parts.size()) + " titles");
  const PartOfTitleList& parts = titleSet.parts[static_cast<std::size_t>(inSet - 1)];
  const std::size_t count =
      std::min(static_cast<std::size_t>(std::max(entry->numparts, 0)), ownPartCount(titleSet, inSet));
  if (count == 0) throw TitleError(titleName(number) + " has no chapters");
  for (std::size_t c = 0; c < count; ++c)
    title.chapters.push_back(chapterStart(titleSet, parts[c], number, c));
  // A chapter ends where the next one starts when that one follows it in
  // the same chain; otherwise the chain plays to its end.
  for (std::size_t c = 0; c + 1 < count; ++c) {
    ChapterCells& here = title.chapters[c];
    const ChapterCells& next = title.chapters[c + 1];
    if (next.pgc == here.pgc && next.firstCell > here.firstCell) here.endCell = next.firstCell;
  }
  return title;
}

std::vector<std::int32_t> chainsOf(const DiscTitle& title, std::int32_t firstChapter,
                                   std::int32_t lastChapter) {
  std::vector<std::int32_t> chains;
  for (std::int32_t c = firstChapter; c <= lastChapter; ++c) {
    const std::int32_t pgc = title.chapters[static_cast<std::size_t>(c - 1)].pgc;
    if (std::find(chains.begin(), chains.end(), pgc) == chains.end()) chains.push_back(pgc);
  }
  return chains;
}

std::int64_t titleTicks(const DiscTitle& title, const TitleSetInfo& titleSet,
                        std::int32_t firstChapter, std::int32_t lastChapter) {
  std::int64_t total = 0;
  for (std::int32_t c = firstChapter; c <= lastChapter; ++c) {
    const ChapterCells& chapter = title.chapters[static_cast<std::size_t>(c - 1)];
    const ProgramChain& pgc = titleSet.programchains[static_cast<std::size_t>(chapter.pgc)];
    for (std::int32_t cell = chapter.firstCell; cell < chapter.endCell; ++cell)
      total += playbackTimeTicks(pgc.cells[static_cast<std::size_t>(cell)].playbacktime.data());
  }
  return total;
}

}  // namespace dvdnav
