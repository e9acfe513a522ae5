#include "demux/program_stream.h"

namespace ps {

bool hasNoPesExtension(std::uint8_t id) {
  switch (id) {
    case kProgramStreamMap: case kPaddingStream: case kPrivateStream2: case kEcmStream:
    case kEmmStream: case kDsmccStream: case kH2221TypeEStream: case kProgramStreamDirectory:
      return true;
    default:
      return false;
  }
}

std::int64_t readTimestamp(const std::uint8_t* p) {
  return (static_cast<std::int64_t>(p[0] & 0x0E) << 29) | (p[1] << 22) | ((p[2] & 0xFE) << 14) |
         (p[3] << 7) | (p[4] >> 1);
}

std::int32_t readTimestampLow32(const std::uint8_t* p) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(readTimestamp(p)));
}

bool nextPacket(const std::uint8_t* pack, std::size_t* at, Packet* packet) {
  if (!isMpeg2PackHeader(pack)) return false;
  if (*at == 0) *at = packHeaderSize(pack);
  if (*at + 6 > kPackSize) return false;
  const std::uint8_t* pes = pack + *at;
  if (!hasStartCode(pes)) return false;
  const std::size_t end = *at + 6 + packetLength(pes);
  if (end > kPackSize) return false;
  packet->streamId = streamId(pes);
  packet->start = *at;
  packet->end = end;
  packet->mpeg2 = *at + 9 <= end && hasMpeg2Header(pes);
  packet->payload = packet->mpeg2 ? *at + payloadOffset(pes) : end;
  packet->pts.reset();
  // The five bytes of a PTS lie inside both the header and the packet.
  const std::size_t stampEnd = *at + 14;
  if (packet->mpeg2 && (pes[7] & 0x80) && stampEnd <= packet->payload && stampEnd <= end)
    packet->pts = readTimestamp(timestamps(pes));
  *at = end;
  return true;
}

}  // namespace ps
