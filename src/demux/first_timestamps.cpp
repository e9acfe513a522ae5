#include "demux/first_timestamps.h"

namespace {

constexpr std::size_t kPackSize = 2048;

// The 33-bit time stamp in the five bytes at `p` (marker bits skipped).
std::int64_t timestamp(const std::uint8_t* p) {
  return (static_cast<std::int64_t>(p[0] & 0x0E) << 29) | (p[1] << 22) | ((p[2] & 0xFE) << 14) |
         (p[3] << 7) | (p[4] >> 1);
}

}  // namespace

void FirstTimestamps::scan(const std::uint8_t* packs, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) scanPack(packs + i * kPackSize);
}

void FirstTimestamps::scanPack(const std::uint8_t* pack) {
  if (pack[0] != 0 || pack[1] != 0 || pack[2] != 1 || pack[3] != 0xBA) return;
  if ((pack[4] & 0xC0) != 0x40) return;  // an MPEG-1 pack header
  std::size_t at = 14 + (pack[13] & 7);
  while (at + 6 <= kPackSize) {
    const std::uint8_t* pes = pack + at;
    if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1) return;
    const int id = pes[3];
    const std::size_t end = at + 6 + ((pes[4] << 8) | pes[5]);
    if (end > kPackSize) return;
    const bool timed = id == 0xBD || (id & 0xE0) == 0xC0 || (id & 0xF0) == 0xE0;
    // An MPEG-2 packet header: flags, the PTS flag, the header's length.
    if (timed && at + 9 <= end && (pes[6] & 0xC0) == 0x80) {
      const std::size_t payload = at + 9 + pes[8];
      int key = (id & 0xF0) == 0xE0 ? video : id;
      if (id == 0xBD) key = payload < end ? 0x100 + pack[payload] : -1;
      if (key >= 0 && (pes[7] & 0x80) && at + 14 <= payload && !first_.count(key))
        first_[key] = timestamp(pes + 9);
    }
    at = end;
  }
}

std::optional<std::int64_t> FirstTimestamps::first(int key) const {
  auto found = first_.find(key);
  if (found == first_.end()) return std::nullopt;
  return found->second;
}

std::int64_t delayMilliseconds(std::int64_t audio, std::int64_t video) {
  std::int64_t ticks = audio - video;
  return ticks >= 0 ? (ticks + 45) / 90 : -((-ticks + 45) / 90);
}
