// Parsers from the bytes of an IFO file to its records.
//
// The parsers follow the sector pointers of the management table and check
// nothing but the file identifier, except that no access ever leaves the
// bytes given: a table that starts outside them is skipped and a table that
// runs past their end is cut there, each with a level-0 line on `log`
// naming the table.
//
// Work and memory stay proportional to the size of the file whatever its
// tables claim: a program chain block is decoded once however many entries
// point at it, part-of-title lists share their common tails, and the records
// that overlapping tables could make the reader decode again and again
// (program chain blocks and their commands, cells and programs, and
// attribute streams) stop, with a line naming the table, at twice what the
// file's bytes can hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

#include "dvdnav/ifo_records.h"

namespace dvdnav {

// Big-endian reads inside a byte range; a field that does not lie wholly
// inside it reads as 0.
class IfoBytes {
 public:
  IfoBytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::size_t size() const { return size_; }
  bool contains(std::int64_t offset, std::int64_t length) const {
    return offset >= 0 && length >= 0 && offset <= static_cast<std::int64_t>(size_) &&
           length <= static_cast<std::int64_t>(size_) - offset;
  }
  std::uint32_t u8(std::int64_t offset) const { return contains(offset, 1) ? at(offset) : 0; }
  std::uint32_t u16(std::int64_t offset) const {
    return contains(offset, 2) ? (at(offset) << 8) | at(offset + 1) : 0;
  }
  std::uint32_t u32(std::int64_t offset) const {
    return contains(offset, 4)
               ? (at(offset) << 24) | (at(offset + 1) << 16) | (at(offset + 2) << 8) | at(offset + 3)
               : 0;
  }
  const std::uint8_t* pointer(std::int64_t offset) const {
    return data_ + static_cast<std::size_t>(offset);
  }

 private:
  std::uint32_t at(std::int64_t offset) const { return data_[static_cast<std::size_t>(offset)]; }

  const std::uint8_t* data_;
  std::size_t size_;
};

void parseVideoManager(const IfoBytes& bytes, VideoManagerInfo& vmg, std::ostream& log);
void parseTitleSet(const IfoBytes& bytes, TitleSetInfo& vts, std::ostream& log);
// Parses the program chain block at `offset`; `table` names the table it
// belongs to in log lines.
void parseProgramChain(const IfoBytes& bytes, std::int64_t offset, ProgramChain& pgc,
                       std::ostream& log, const char* table);

AttributeSet decodeAttributeSet(const IfoBytes& bytes, std::int64_t offset, std::ostream& log,
                                const char* table);
AudioAttributes decodeAudioAttributes(const std::uint8_t field[8]);
SubpictureAttributes decodeSubpictureAttributes(const std::uint8_t field[6]);
VideoAttributes decodeVideoAttributes(std::uint8_t byte0, std::uint8_t byte1 = 0);
NavCommand decodeNavCommand(const std::uint8_t field[8]);
CellPlayback decodeCellPlayback(const std::uint8_t field[24]);

}  // namespace dvdnav
