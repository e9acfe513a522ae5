// The linear PCM of a DVD: the format its per-packet header gives, and the
// sample layout, turned into little-endian samples for a WAV file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct LpcmFormat {
  int bits = 16;  // 16, 20 or 24
  int rate = 48000;
  int channels = 2;

  bool operator==(const LpcmFormat& o) const {
    return bits == o.bits && rate == o.rate && channels == o.channels;
  }
  bool operator!=(const LpcmFormat& o) const { return !(*this == o); }
  // "48000 Hz, 16 bits, 2 channels"
  std::string describe() const;
  // Bytes of one sample in the WAV file: 2, or 3 for 20 and 24 bits.
  int wavBytes() const { return bits == 16 ? 2 : 3; }
  // Bytes of the smallest run the DVD layout packs together: one sample
  // frame at 16 bits, two sample frames at 20 and 24.
  std::size_t groupBytes() const;
};

// The format in the three header bytes that follow the frame count and
// the first access unit offset; none when the quantization is the
// reserved value.
std::optional<LpcmFormat> decodeLpcmHeader(const std::uint8_t header[3]);

// Turns `count` whole groups (see groupBytes) at `in` into little-endian
// samples at the end of `out`: 16 bits as they are; 20 bits left-justified
// in 24; 24 bits as they are.
void unpackLpcm(const LpcmFormat& format, const std::uint8_t* in, std::size_t count,
                std::vector<std::uint8_t>* out);
