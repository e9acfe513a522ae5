// Chapters of a program chain: one per program, timed from the playback
// times of the cells. Times are kept in exact 90 kHz ticks (a frame at 25
// frames a second is 3600 ticks, at 29.97 frames a second 3003) and only
// rounded where they are printed.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "dvdnav/ifo_records.h"

namespace dvdnav {

constexpr std::int64_t kTicksPerSecond = 90000;

// The length of one frame in 90 kHz ticks for a playback time's rate code
// (bits 7-6 of its frame byte): 11 is 29.97 frames a second (3003 ticks),
// every other code 25 (3600 ticks), as the frame counts of the records take
// them.
std::int64_t frameTicks(std::uint8_t frameByte);

// A BCD playback time (hours, minutes, seconds, then the frame byte: rate
// code in bits 7-6, BCD frames in bits 5-0) in 90 kHz ticks: the whole
// seconds as they stand, plus the frames at the rate's exact frame length.
std::int64_t playbackTimeTicks(const std::uint8_t time[4]);

struct Chapter {
  std::int32_t number = 0;     // from 1
  std::int32_t firstCell = 0;  // from 1, the program's entry cell
  std::int64_t start = 0;      // ticks from the chain's start
  std::int64_t length = 0;     // ticks, to the next chapter or the chain's end
};

// Thrown for a chain whose programs cannot be timed; the message says why.
struct ChapterError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The chain's total: the playback times of all its cells, in ticks.
std::int64_t chainTicks(const ProgramChain& pgc);

// One chapter per program of the chain's program map: a chapter starts at
// the sum of the playback times of the cells before the program's first
// cell (cells in chain order) and ends where the next one starts (the last
// at the chain's total). Throws ChapterError for a chain without programs
// or cells, or a program whose first cell is not one of the chain's cells.
std::vector<Chapter> chapterList(const ProgramChain& pgc);

// Ticks as "H:MM:SS.mmm" (hours not padded) or "HH:MM:SS.mmm" with
// `padHours`, and as seconds with three decimals; both round to the nearest
// millisecond.
std::string ticksClock(std::int64_t ticks, bool padHours);
std::string ticksSeconds(std::int64_t ticks);

}  // namespace dvdnav
