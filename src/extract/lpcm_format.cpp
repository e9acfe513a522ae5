#include "extract/lpcm_format.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kRates[4] = {48000, 96000, 44100, 32000};

// One group of 20- or 24-bit samples, both frames in sample order, packed
// in runs of four samples (two for mono): first the upper 16 bits of each
// sample of the run (big-endian), then their low bits in the same order, a
// byte a sample at 24 bits, a nibble (high nibble first) at 20. Gives the
// end of the three-byte samples written at `out`.
std::uint8_t* unpackWideGroup(const LpcmFormat& format, const std::uint8_t* group,
                              std::uint8_t* out) {
  const std::size_t samples = 2 * static_cast<std::size_t>(format.channels);
  for (std::size_t start = 0; start < samples; start += 4) {
    const std::size_t run = std::min<std::size_t>(4, samples - start);
    const std::uint8_t* low = group + 2 * run;
    for (std::size_t i = 0; i < run; ++i) {
      std::uint8_t extra;
      if (format.bits == 24)
        extra = low[i];
      else
        extra = static_cast<std::uint8_t>((i % 2 == 0 ? low[i / 2] & 0xF0 : low[i / 2] << 4));
      *out++ = extra;
      *out++ = group[2 * i + 1];
      *out++ = group[2 * i];
    }
    group = low + (format.bits == 24 ? run : run / 2);
  }
  return out;
}

}  // namespace

std::string LpcmFormat::describe() const {
  return std::to_string(rate) + " Hz, " + std::to_string(bits) + " bits, " +
         std::to_string(channels) + (channels == 1 ? " channel" : " channels");
}

std::size_t LpcmFormat::groupBytes() const {
  if (bits == 16) return 2 * static_cast<std::size_t>(channels);
  return 2 * static_cast<std::size_t>(channels) * static_cast<std::size_t>(bits) / 8;
}

std::optional<LpcmFormat> decodeLpcmHeader(const std::uint8_t header[3]) {
  const int quantization = header[1] >> 6;
  if (quantization == 3) return std::nullopt;
  LpcmFormat format;
  format.bits = 16 + 4 * quantization;
  format.rate = kRates[(header[1] >> 4) & 3];
  format.channels = (header[1] & 7) + 1;
  return format;
}

void unpackLpcm(const LpcmFormat& format, const std::uint8_t* in, std::size_t count,
                std::vector<std::uint8_t>* out) {
  const std::size_t size = format.groupBytes();
  // 16-bit groups keep their size; a wider group's two frames take three
  // bytes a sample.
  const std::size_t outSize = format.bits == 16 ? size : 6 * static_cast<std::size_t>(format.channels);
  const std::size_t start = out->size();
  out->resize(start + count * outSize);
  std::uint8_t* to = out->data() + start;
  if (format.bits != 16) {
    for (std::size_t g = 0; g < count; ++g, in += size) to = unpackWideGroup(format, in, to);
    return;
  }
  // 16-bit samples only change their byte order: four at a time in one
  // 64-bit word, then the rest one by one.
  const std::size_t bytes = count * size;
  std::size_t i = 0;
  for (; i + 8 <= bytes; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, in + i, 8);
    word = ((word & 0x00FF00FF00FF00FFull) << 8) | ((word >> 8) & 0x00FF00FF00FF00FFull);
    std::memcpy(to + i, &word, 8);
  }
  for (; i < bytes; i += 2) {
    to[i] = in[i + 1];
    to[i + 1] = in[i];
  }
}
