// What the UDF and ISO 9660 readers share: whole sectors read with their
// bounds checked, little-endian fields, and the way they report a fault.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "disc/disc_image.h"

namespace disc {

using Sector = std::array<std::uint8_t, kSectorSize>;

[[noreturn]] void raise(Problem kind, const std::string& message);

// The image's length in whole sectors.
std::int64_t sectorCount(ImageBytes& image);
// Reads sector `number`; a sector at or beyond the end is a truncated image,
// reported with `what` (the descriptor that was wanted).
Sector readSector(ImageBytes& image, std::int64_t number, const std::string& what);
// Reports a truncated image when `extent` of file `name` ends beyond it.
void checkInsideImage(ImageBytes& image, const Extent& extent, const std::string& name);

inline std::uint32_t le16(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t le32(const std::uint8_t* p) {
  return le16(p) | (le16(p + 2) << 16);
}
inline std::uint64_t le64(const std::uint8_t* p) {
  return le32(p) | (static_cast<std::uint64_t>(le32(p + 4)) << 32);
}

// ASCII letters folded, so that "video_ts.ifo" finds "VIDEO_TS.IFO".
bool sameName(const std::string& a, const std::string& b);

}  // namespace disc

namespace disc {

// The two file systems. Each fills `files` with the VIDEO_TS folder's files
// and returns true, or returns false when the image does not have that file
// system at all; faults in one that is there are raised.
bool readUdfFiles(ImageBytes& image, std::vector<ImageFile>& files, std::string& label);
bool readIso9660Files(ImageBytes& image, std::vector<ImageFile>& files, std::string& label);
// A volume name as a label: printable ASCII kept (others as '?'), trailing
// blanks and NULs taken off.
std::string labelText(const std::uint8_t* bytes, std::size_t count);

}  // namespace disc
