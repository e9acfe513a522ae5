// A program chain's cells as a player plays them: each cell's own sectors,
// in the order the chain lists them, joined into one byte range. Cells may
// skip over other titles' sectors or come in reverse order; the range from
// the first cell's start to the last cell's end would then hold foreign
// footage or nothing.
#pragma once

#include <cstdint>
#include <vector>

#include "input/concatenated_stream.h"

class CellSequence {
 public:
  // One cell: its sectors [first, endExclusive) of the title set's VOBs.
  struct Span {
    std::int32_t first;
    std::int64_t endExclusive;
  };

  // Starts over at byte 0 of `spans` joined.
  void assign(std::vector<Span> spans);

  std::int64_t length() const { return length_; }
  std::int64_t position() const { return position_; }
  bool atEnd() const { return position_ >= length_; }
  // The VOB sector the next byte comes from; at the end, the sector after
  // the last cell.
  std::int64_t currentSector() const;
  // The highest sector any cell reaches, exclusive; 0 with no cells.
  std::int64_t endSector() const;
  // The VOB sector byte `position` of the sequence comes from; -1 outside.
  std::int64_t sectorAt(std::int64_t position) const;

  // Reads up to `count` bytes from `vobs`, across cell boundaries; short
  // only at the end or when the files end before a cell does.
  std::int32_t read(ConcatenatedStream& vobs, void* buffer, std::int32_t count);
  // Moves to `position`, 0 to length; the new position, or -1 (position
  // unchanged) outside that.
  std::int64_t seek(std::int64_t position);

 private:
  // The index of the span that holds byte `position` (spans_.size() at the
  // end); spans are searched from the last one used, as reads move forward.
  std::size_t spanAt(std::int64_t position);

  std::vector<Span> spans_;
  std::vector<std::int64_t> starts_;  // the byte offset of each span in the sequence
  std::int64_t length_ = 0;
  std::int64_t position_ = 0;
  std::size_t span_ = 0;
};
