#include "extract/first_timestamps.h"

#include "demux/program_stream.h"

void FirstTimestamps::scan(const std::uint8_t* packs, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) scanPack(packs + i * ps::kPackSize);
}

void FirstTimestamps::scanPack(const std::uint8_t* pack) {
  std::size_t at = 0;
  ps::Packet packet;
  while (ps::nextPacket(pack, &at, &packet)) {
    if (!packet.pts) continue;
    const std::uint8_t id = packet.streamId;
    int key = -1;
    if (ps::isVideoStream(id))
      key = video;
    else if (ps::isAudioStream(id))
      key = id;
    else if (id == ps::kPrivateStream1 && packet.payload < packet.end)
      key = privateStream(pack[packet.payload]);
    if (key >= 0 && !first_.count(key)) first_[key] = *packet.pts;
  }
}

std::optional<std::int64_t> FirstTimestamps::first(int key) const {
  auto found = first_.find(key);
  if (found == first_.end()) return std::nullopt;
  return found->second;
}

std::int64_t delayMilliseconds(std::int64_t audio, std::int64_t video) {
  std::int64_t ticks = audio - video;
  return ticks >= 0 ? (ticks + 45) / 90 : -((-ticks + 45) / 90);
}
