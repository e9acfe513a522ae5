// Hand-built 2048-byte packs for the demultiplexer tests: a pack header
// (with optional stuffing), one PES packet with chosen flags, stamps,
// header length and payload, and filler up to the pack's end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace demux_test {

// The five bytes of a 33-bit time stamp; `prefix` is the 4-bit marker
// (2 for a PTS alone, 3 for a PTS followed by a DTS, 1 for the DTS).
inline std::string stampBytes(std::uint64_t value, unsigned prefix) {
  std::string b(5, '\0');
  b[0] = static_cast<char>(prefix << 4 | ((value >> 30) & 7) << 1 | 1);
  b[1] = static_cast<char>((value >> 22) & 0xFF);
  b[2] = static_cast<char>(((value >> 15) & 0x7F) << 1 | 1);
  b[3] = static_cast<char>((value >> 7) & 0xFF);
  b[4] = static_cast<char>((value & 0x7F) << 1 | 1);
  return b;
}

struct Packet {
  Packet(std::uint8_t id = 0xE0, std::optional<std::uint64_t> p = {},
         std::optional<std::uint64_t> d = {}, std::string data = {})
      : streamId(id), pts(p), dts(d), payload(std::move(data)) {}

  std::uint8_t streamId = 0xE0;
  std::optional<std::uint64_t> pts;
  std::optional<std::uint64_t> dts;
  std::string payload;                   // from the first payload byte on
  unsigned stuffing = 0;                 // pack header stuffing (0-7)
  std::optional<unsigned> headerLength;  // PES header data length; default: the stamps' size
  std::optional<unsigned> pesLength;     // default: up to the end of the payload
  char filler = static_cast<char>(0xA5);  // after the packet, to the end of the pack
};

inline std::string makePack(const Packet& p) {
  std::string pack = std::string("\x00\x00\x01\xBA\x44\x00\x04\x00\x04\x01\x01\x89\xC3", 13);
  pack += static_cast<char>(0xF8 | p.stuffing);
  pack += std::string(p.stuffing, static_cast<char>(0xFF));
  std::string stamps;
  std::uint8_t flags = 0;
  if (p.pts && p.dts) {
    flags = 0xC0;
    stamps = stampBytes(*p.pts, 3) + stampBytes(*p.dts, 1);
  } else if (p.pts) {
    flags = 0x80;
    stamps = stampBytes(*p.pts, 2);
  } else if (p.dts) {
    flags = 0x40;
    stamps = stampBytes(*p.dts, 1);
  }
  unsigned header = p.headerLength ? *p.headerLength : static_cast<unsigned>(stamps.size());
  std::string optional = stamps;
  if (optional.size() < header) optional += std::string(header - optional.size(), '\xFF');
  optional.resize(header);
  unsigned length = p.pesLength ? *p.pesLength
                                : static_cast<unsigned>(3 + header + p.payload.size());
  pack += std::string("\x00\x00\x01", 3);
  pack += static_cast<char>(p.streamId);
  pack += static_cast<char>(length >> 8);
  pack += static_cast<char>(length & 0xFF);
  pack += static_cast<char>(0x81);
  pack += static_cast<char>(flags);
  pack += static_cast<char>(header);
  pack += optional;
  pack += p.payload;
  pack.resize(2048, p.filler);
  return pack;
}

// Private stream 1 payload: substream id, then (for AC-3) the frame count
// and the first-access-unit pointer, then the data.
inline std::string ac3Payload(unsigned substream, const std::string& data) {
  return std::string(1, static_cast<char>(substream)) + std::string("\x01\x00\x01", 3) + data;
}
inline std::string subpicturePayload(unsigned substream, const std::string& data) {
  return std::string(1, static_cast<char>(substream)) + data;
}

// `n` bytes of a pattern that holds neither 0x0B 0x77 nor 0x00 0x00 0x01.
inline std::string plainBytes(std::size_t n, unsigned seed = 0) {
  std::string s(n, '\0');
  for (std::size_t i = 0; i < n; ++i) s[i] = static_cast<char>(0x10 + (i * 7 + seed) % 0x60);
  return s;
}

}  // namespace demux_test
