#include "demux/private_packets.h"

namespace {

constexpr std::size_t kPackSize = 2048;

bool isMpeg2Pack(const std::uint8_t* pack) {
  return pack[0] == 0 && pack[1] == 0 && pack[2] == 1 && pack[3] == 0xBA &&
         (pack[4] & 0xC0) == 0x40;
}

}  // namespace

std::int64_t readTimestamp(const std::uint8_t* p) {
  return (static_cast<std::int64_t>(p[0] & 0x0E) << 29) | (p[1] << 22) | ((p[2] & 0xFE) << 14) |
         (p[3] << 7) | (p[4] >> 1);
}

bool nextPrivatePacket(const std::uint8_t* pack, std::size_t* at, PrivatePacket* packet) {
  if (!isMpeg2Pack(pack)) return false;
  if (*at == 0) *at = 14 + (pack[13] & 7);
  while (*at + 9 <= kPackSize) {
    const std::uint8_t* pes = pack + *at;
    if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1) return false;
    const std::size_t end = *at + 6 + ((pes[4] << 8) | pes[5]);
    if (end > kPackSize) return false;
    const std::size_t payload = *at + 9 + pes[8];
    const bool usable = pes[3] == 0xBD && (pes[6] & 0xC0) == 0x80 && payload < end;
    const std::size_t start = *at;
    *at = end;
    if (!usable) continue;
    packet->substream = pack[payload];
    packet->data = pack + payload + 1;
    packet->size = end - payload - 1;
    packet->pts.reset();
    if ((pes[7] & 0x80) && start + 14 <= payload) packet->pts = readTimestamp(pes + 9);
    return true;
  }
  return false;
}
