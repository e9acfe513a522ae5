// The packets of private stream 1 (0xBD) in one 2048-byte MPEG-2 program
// stream pack, where a DVD carries its DTS, LPCM and subpicture substreams.
// It only looks; the pack stays as it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

struct PrivatePacket {
  int substream = 0;              // the byte that opens the payload
  const std::uint8_t* data = nullptr;  // the payload after that byte
  std::size_t size = 0;
  std::optional<std::int64_t> pts;  // 90 kHz ticks
};

// Walks the packets of a pack: `*at` starts at 0 and is advanced past each
// packet found. Gives false when the pack holds no further private stream 1
// packet, or is not an MPEG-2 pack, or a packet does not fit in it: every
// byte read lies inside the pack.
bool nextPrivatePacket(const std::uint8_t* pack, std::size_t* at, PrivatePacket* packet);
