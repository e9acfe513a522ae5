#include "extract/dts_output.h"

#include "demux/program_stream.h"
#include "extract/private_packets.h"

namespace {

// After the substream byte: the frame count and the first access unit's
// offset, which the raw stream does not need.
constexpr std::size_t kAudioHeader = 3;

}  // namespace

DtsOutput::DtsOutput(const std::string& file, int number, std::size_t buffer)
    : file_(file.c_str(), true, buffer), substream_(ps::kDtsSubstream + number) {}

void DtsOutput::take(const std::uint8_t* packs, std::size_t count, std::int64_t) {
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t at = 0;
    PrivatePacket packet;
    while (nextPrivatePacket(packs + i * ps::kPackSize, &at, &packet)) {
      if (packet.substream != substream_ || packet.size <= kAudioHeader) continue;
      file_.write(packet.data + kAudioHeader,
                  static_cast<std::uint32_t>(packet.size - kAudioHeader));
    }
  }
}

void DtsOutput::finish(const FirstTimestamps&) {
  file_.flush();
  file_.close();
}
