// The MPEG-2 program stream as a DVD stores it: 2048-byte packs, each a
// pack header and PES packets. Start codes, stream ids and the DVD's private
// stream 1 substreams are named here once, with the one reader of PES
// headers and time stamps that every part of the program shares: the
// filter's demultiplexer and audio pack filter, the tool's outputs, the
// first-time-stamp scan and the scrambled-disc check.
//
// Two ways to look at a pack:
//   - `firstPacket`: the packet after the pack header, taken as it stands,
//     without a check. The filter's demultiplexer and pack filter judge a
//     pack by that packet alone; every field they read lies within the
//     first 300 bytes of the pack, whatever the bytes say.
//   - `nextPacket`: every packet of an MPEG-2 pack in turn, each checked to
//     start with a start code and to end inside the pack.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace ps {

constexpr std::size_t kPackSize = 2048;

// The byte after a 00 00 01 start code.
constexpr std::uint8_t kPackStartCode = 0xBA;
constexpr std::uint8_t kSystemHeaderStartCode = 0xBB;

// Stream ids.
constexpr std::uint8_t kProgramStreamMap = 0xBC;
constexpr std::uint8_t kPrivateStream1 = 0xBD;
constexpr std::uint8_t kPaddingStream = 0xBE;
constexpr std::uint8_t kPrivateStream2 = 0xBF;
constexpr std::uint8_t kAudioStream = 0xC0;  // MPEG audio 0xC0-0xDF
constexpr std::uint8_t kVideoStream = 0xE0;  // video 0xE0-0xEF
constexpr std::uint8_t kEcmStream = 0xF0;
constexpr std::uint8_t kEmmStream = 0xF1;
constexpr std::uint8_t kDsmccStream = 0xF2;
constexpr std::uint8_t kH2221TypeEStream = 0xF8;
constexpr std::uint8_t kProgramStreamDirectory = 0xFF;

// The first payload byte of a private stream 1 packet names its substream.
constexpr int kSubpictureSubstream = 0x20;  // 0x20-0x3F
constexpr int kAc3Substream = 0x80;         // 0x80-0x87
constexpr int kDtsSubstream = 0x88;         // 0x88-0x8F
constexpr int kLpcmSubstream = 0xA0;        // 0xA0-0xA7

inline bool isAudioStream(std::uint8_t id) { return (id & 0xE0) == kAudioStream; }
inline bool isVideoStream(std::uint8_t id) { return (id & 0xF0) == kVideoStream; }
inline bool isAc3Substream(int substream) { return (substream & ~7) == kAc3Substream; }
inline bool isSubpictureSubstream(int substream) { return (substream & ~0x1F) == kSubpictureSubstream; }

// Streams whose packets have no flags, header length or time stamps after
// the length field: the payload follows it at once.
inline bool hasNoPesExtension(std::uint8_t id) {
  switch (id) {
    case kProgramStreamMap: case kPaddingStream: case kPrivateStream2: case kEcmStream:
    case kEmmStream: case kDsmccStream: case kH2221TypeEStream: case kProgramStreamDirectory:
      return true;
    default:
      return false;
  }
}

inline bool hasStartCode(const std::uint8_t* p) { return p[0] == 0 && p[1] == 0 && p[2] == 1; }

// Whether `pack` opens with an MPEG-2 pack header (an MPEG-1 one has other
// marker bits).
inline bool isMpeg2PackHeader(const std::uint8_t* pack) {
  return hasStartCode(pack) && pack[3] == kPackStartCode && (pack[4] & 0xC0) == 0x40;
}

// The pack header's 14 bytes and its stuffing: at most 21.
inline std::size_t packHeaderSize(const std::uint8_t* pack) { return 14 + (pack[13] & 7); }

// The packet that follows the pack header, unchecked.
inline std::uint8_t* firstPacket(std::uint8_t* pack) { return pack + packHeaderSize(pack); }
inline const std::uint8_t* firstPacket(const std::uint8_t* pack) {
  return pack + packHeaderSize(pack);
}

// The fields of the PES packet header at `pes`, by their offsets; the
// caller makes sure they lie in its buffer.
inline std::uint8_t streamId(const std::uint8_t* pes) { return pes[3]; }
// The bytes after the length field.
inline std::size_t packetLength(const std::uint8_t* pes) {
  return static_cast<std::size_t>(pes[4] << 8 | pes[5]);
}
// The MPEG-2 header's marker bits '10' open its first flags byte.
inline bool hasMpeg2Header(const std::uint8_t* pes) { return (pes[6] & 0xC0) == 0x80; }
inline int scramblingControl(const std::uint8_t* pes) { return (pes[6] >> 4) & 3; }
// PTS_DTS_flags in the top two bits: 0x80 a PTS, 0xC0 a PTS and a DTS.
inline std::uint8_t timestampFlags(const std::uint8_t* pes) { return pes[7] & 0xC0; }
inline std::size_t headerDataLength(const std::uint8_t* pes) { return pes[8]; }
// Where the time stamps start, and where the payload does.
inline const std::uint8_t* timestamps(const std::uint8_t* pes) { return pes + 9; }
inline std::size_t payloadOffset(const std::uint8_t* pes) { return 9 + headerDataLength(pes); }

// The 33-bit time stamp in the five bytes at `p` (marker bits skipped), in
// 90 kHz ticks.
inline std::int64_t readTimestamp(const std::uint8_t* p) {
  return (static_cast<std::int64_t>(p[0] & 0x0E) << 29) | (p[1] << 22) | ((p[2] & 0xFE) << 14) |
         (p[3] << 7) | (p[4] >> 1);
}
// Its low 32 bits as a signed number, the form the timing files print: bit
// 32 is dropped, so stamps of 2^31 ticks and more come out negative.
inline std::int32_t readTimestampLow32(const std::uint8_t* p) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(readTimestamp(p)));
}

// One packet of a pack, as `nextPacket` finds it. Offsets count from the
// start of the pack.
struct Packet {
  std::uint8_t streamId = 0;
  std::size_t start = 0;  // the start code
  std::size_t end = 0;    // one past the last byte, at most kPackSize
  // Whether the packet holds the three bytes of an MPEG-2 header after its
  // length field (flags and header length); the rest is meaningless without.
  bool mpeg2 = false;
  std::size_t payload = 0;  // with `mpeg2`: where the payload starts (may pass `end`)
  std::optional<std::int64_t> pts;  // with `mpeg2`, when it lies inside the packet
};

// Walks the packets of a pack: `*at` starts at 0 and is moved past each
// packet found. False when the pack is not an MPEG-2 pack, or at the first
// place that holds no start code or a packet that does not end inside the
// pack: every byte read lies inside the pack. Inline: the extraction walks
// every packet of every pack several times over.
inline bool nextPacket(const std::uint8_t* pack, std::size_t* at, Packet* packet) {
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
  // The five bytes of a PTS lie inside both the header and the packet.
  const std::size_t stampEnd = *at + 14;
  const bool stamped =
      packet->mpeg2 && (pes[7] & 0x80) && stampEnd <= packet->payload && stampEnd <= end;
  packet->pts = stamped ? std::optional<std::int64_t>(readTimestamp(timestamps(pes)))
                        : std::nullopt;
  *at = end;
  return true;
}

}  // namespace ps
