#include "disc/scrambled_packs.h"

#include "disc/disc_image_bytes.h"
#include "platform/io_buffer.h"

namespace disc {

namespace {

// Sectors looked at from the start of each VOB file.
constexpr int kSectorsLooked = 32;

bool endsWith(const std::string& name, const std::string& tail) {
  return name.size() >= tail.size() && sameName(name.substr(name.size() - tail.size()), tail);
}

}  // namespace

bool isScrambledPack(const std::uint8_t* p) {
  // An MPEG-2 pack header (14 bytes with no stuffing), then a PES packet of
  // a stream whose header carries the flags byte (video, MPEG audio,
  // private stream 1) at offset 0x14.
  bool pack = p[0] == 0 && p[1] == 0 && p[2] == 1 && p[3] == 0xBA && (p[4] & 0xC0) == 0x40 &&
              (p[13] & 0x07) == 0;
  if (!pack || p[14] != 0 || p[15] != 0 || p[16] != 1) return false;
  std::uint8_t id = p[17];
  bool flagged = id == 0xBD || (id >= 0xC0 && id <= 0xEF);
  return flagged && (p[0x14] & 0x30) != 0;
}

std::string findScrambledVob(const ImageFiles& files) {
  // One read per file: the sectors looked at are read together.
  platform::IoBuffer sectors(kSectorsLooked * kSectorSize);
  for (const ImageFile& file : files.table().files) {
    if (!endsWith(file.name, ".VOB")) continue;
    std::int32_t got = files.open(file.name)->read(sectors.data(),
                                                  static_cast<std::uint32_t>(sectors.size()));
    for (std::int32_t at = 0; at + kSectorSize <= got; at += kSectorSize)
      if (isScrambledPack(sectors.data() + at)) return file.name;
  }
  return {};
}

}  // namespace disc
