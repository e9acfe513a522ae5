// A disc title as players number and play it: title 1-99 of the Video
// Manager's title table, made of chapters that the title set's part-of-title
// table places in program chains. A chapter plays from its program's first
// cell to the next chapter's first cell when that follows in the same chain,
// otherwise to the chain's end; a title's chapters may lie in several
// chains, which a player goes through in chapter order.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "dvdnav/ifo_records.h"

namespace dvdnav {

// The cells a player plays for one chapter: [firstCell, endCell) of the
// program chain `pgc` (all three counted from 0).
struct ChapterCells {
  std::int32_t pgc = 0;
  std::int32_t firstCell = 0;
  std::int32_t endCell = 0;
};

struct DiscTitle {
  std::int32_t number = 0;      // 1-99, as the title table counts
  std::int32_t titleSet = 0;    // from 1
  std::int32_t titleInSet = 0;  // from 1
  std::int32_t angles = 0;
  std::vector<ChapterCells> chapters;  // chapter 1 first
};

// Why a title cannot be played; the message names the title and the table.
struct TitleError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The title table entry of title `number` (from 1), or null.
const TitleEntry* titleEntry(const VideoManagerInfo& vmg, std::int32_t number);

// Title `number` of the Video Manager, its chapters resolved through
// `titleSet`, which must be the title set the entry names. Its chapter count
// is the title table's, cut to the part-of-title entries the title has.
// Throws TitleError when the entry names no title of the set, a chapter
// names a chain, program or cell that does not exist, or a chapter has no
// cells.
DiscTitle resolveTitle(const VideoManagerInfo& vmg, const TitleSetInfo& titleSet,
                       std::int32_t number);

// The chains a range of chapters (from 1, inclusive) plays, each once, in
// the order they are first played.
std::vector<std::int32_t> chainsOf(const DiscTitle& title, std::int32_t firstChapter,
                                   std::int32_t lastChapter);

// The playback time of chapters [firstChapter, lastChapter] (from 1) in
// 90 kHz ticks: their cells' playback times added up.
std::int64_t titleTicks(const DiscTitle& title, const TitleSetInfo& titleSet,
                        std::int32_t firstChapter, std::int32_t lastChapter);

// "title T" for messages.
std::string titleName(std::int32_t number);

}  // namespace dvdnav
