#include "extract/wav_header.h"

#include <algorithm>

namespace {

constexpr std::uint16_t kFormatPcm = 1;
constexpr std::uint16_t kFormatExtensible = 0xFFFE;
// The PCM sub-format of the extensible block (a GUID, as stored).
constexpr std::uint8_t kPcmSubFormat[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                            0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
// Speaker positions for 1 to 8 channels, front first, as a 5.1 or 7.1
// layout counts them.
constexpr std::uint32_t kChannelMasks[8] = {0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};

void put16(std::vector<std::uint8_t>* out, std::uint32_t v) {
  out->push_back(static_cast<std::uint8_t>(v));
  out->push_back(static_cast<std::uint8_t>(v >> 8));
}
void put32(std::vector<std::uint8_t>* out, std::uint32_t v) {
  put16(out, v & 0xFFFF);
  put16(out, v >> 16);
}
void putTag(std::vector<std::uint8_t>* out, const char* tag) { out->insert(out->end(), tag, tag + 4); }

std::uint32_t clamp32(std::uint64_t v) {
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(v, 0xFFFFFFFFu));
}

}  // namespace

std::vector<std::uint8_t> wavHeader(const LpcmFormat& format, std::uint64_t dataBytes) {
  const bool extensible = format.channels > 2 || format.bits > 16;
  const std::uint32_t blockAlign = static_cast<std::uint32_t>(format.channels * format.wavBytes());
  const std::uint32_t formatSize = extensible ? 40 : 16;
  std::vector<std::uint8_t> out;
  putTag(&out, "RIFF");
  put32(&out, clamp32(4 + 8 + formatSize + 8 + dataBytes));
  putTag(&out, "WAVE");
  putTag(&out, "fmt ");
  put32(&out, formatSize);
  put16(&out, extensible ? kFormatExtensible : kFormatPcm);
  put16(&out, static_cast<std::uint32_t>(format.channels));
  put32(&out, static_cast<std::uint32_t>(format.rate));
  put32(&out, static_cast<std::uint32_t>(format.rate) * blockAlign);
  put16(&out, blockAlign);
  put16(&out, static_cast<std::uint32_t>(8 * format.wavBytes()));
  if (extensible) {
    put16(&out, 22);
    put16(&out, static_cast<std::uint32_t>(format.bits));
    put32(&out, kChannelMasks[(format.channels - 1) & 7]);
    out.insert(out.end(), kPcmSubFormat, kPcmSubFormat + 16);
  }
  putTag(&out, "data");
  put32(&out, clamp32(dataBytes));
  return out;
}
