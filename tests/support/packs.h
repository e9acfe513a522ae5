// Hand-built 2048-byte program-stream packs.
#pragma once

#include <cstdint>
#include <string>

namespace testing_support {

struct PackLayout {
  std::uint8_t streamId = 0xE0;
  int substream = -1;        // first payload byte for private stream 1, or none
  unsigned stuffing = 0;     // pack header stuffing bytes (0-7)
  unsigned headerLength = 5; // PES header data length
  std::uint8_t fill = 0x55;  // payload filler
};

// A pack: 14-byte header with stuffing, one PES packet filling the rest.
inline std::string makePack(const PackLayout& layout) {
  std::string pack(2048, static_cast<char>(layout.fill));
  const unsigned char header[14] = {0x00, 0x00, 0x01, 0xBA, 0x44, 0x00, 0x04,
                                    0x00, 0x04, 0x01, 0x01, 0x89, 0xC3, 0xF8};
  for (int i = 0; i < 14; ++i) pack[static_cast<std::size_t>(i)] = static_cast<char>(header[i]);
  pack[13] = static_cast<char>(0xF8 | layout.stuffing);
  std::size_t pes = 14 + layout.stuffing;
  for (std::size_t i = 14; i < pes; ++i) pack[i] = static_cast<char>(0xFF);
  std::size_t length = 2048 - pes - 6;
  pack[pes] = 0x00;
  pack[pes + 1] = 0x00;
  pack[pes + 2] = 0x01;
  pack[pes + 3] = static_cast<char>(layout.streamId);
  pack[pes + 4] = static_cast<char>(length >> 8);
  pack[pes + 5] = static_cast<char>(length & 0xFF);
  pack[pes + 6] = static_cast<char>(0x81);
  pack[pes + 7] = 0x00;
  pack[pes + 8] = static_cast<char>(layout.headerLength);
  for (std::size_t i = 0; i < layout.headerLength; ++i) pack[pes + 9 + i] = static_cast<char>(0xFF);
  if (layout.substream >= 0) pack[pes + 9 + layout.headerLength] = static_cast<char>(layout.substream);
  return pack;
}

}  // namespace testing_support
