#include "demux/dts_output.h"

#include "demux/private_packets.h"
#include "demux/program_stream.h"

namespace {

// After the substream byte: the frame count and the first access unit's
// offset, which the raw stream does not need.
constexpr std::size_t kAudioHeader = 3;

}  // namespace

DtsOutput::DtsOutput(const std::string& file, int number, std::size_t buffer)
    : file_(file.c_str(), true, buffer), substream_(ps::kDtsSubstream + number) {}

void DtsOutput::take(const std::uint8_t* pack, std::int64_t) {
  std::size_t at = 0;
  PrivatePacket packet;
  while (nextPrivatePacket(pack, &at, &packet)) {
    if (packet.substream != substream_) continue;
    seen_ = true;
    if (packet.size > kAudioHeader)
      file_.write(packet.data + kAudioHeader, static_cast<std::uint32_t>(packet.size - kAudioHeader));
  }
}

void DtsOutput::finish() {
  file_.flush();
  file_.close();
}
