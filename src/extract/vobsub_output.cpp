#include "extract/vobsub_output.h"

#include "demux/program_stream.h"
#include "extract/first_timestamps.h"
#include "extract/private_packets.h"

namespace {

// 90 kHz ticks to milliseconds, to the nearest.
std::int64_t milliseconds(std::int64_t ticks) {
  return ticks >= 0 ? (ticks + 45) / 90 : -((-ticks + 45) / 90);
}

}  // namespace

VobSubOutput::VobSubOutput(const std::string& idxFile, const std::string& subFile,
                           VobSubIndex index, std::size_t buffer)
    : idxFile_(idxFile), sub_(subFile.c_str(), true, buffer), index_(std::move(index)) {}

void VobSubOutput::take(const std::uint8_t* packs, std::size_t count, std::int64_t) {
  for (std::size_t i = 0; i < count; ++i) takePack(packs + i * ps::kPackSize);
}

void VobSubOutput::takePack(const std::uint8_t* pack) {
  const int substream = ps::kSubpictureSubstream + index_.number;
  std::size_t at = 0;
  PrivatePacket packet;
  std::optional<std::int64_t> pts;
  bool carries = false;
  while (nextPrivatePacket(pack, &at, &packet)) {
    if (packet.substream != substream) continue;
    carries = true;
    if (!pts) pts = packet.pts;
  }
  if (!carries) return;
  // A packet with a time stamp opens a subtitle.
  if (pts) {
    index_.entries.push_back({0, sub_.tell()});
    stamps_.push_back(*pts);
  }
  sub_.write(pack, static_cast<std::uint32_t>(ps::kPackSize));
}

void VobSubOutput::finish(const FirstTimestamps& seen) {
  const std::int64_t origin = seen.first(FirstTimestamps::video).value_or(0);
  sub_.flush();
  sub_.close();
  for (std::size_t i = 0; i < stamps_.size(); ++i)
    index_.entries[i].milliseconds = milliseconds(stamps_[i] - origin);
  const std::string text = index_.text();
  OutputFileStream idx(idxFile_.c_str(), true);
  const bool opened = idx.isOpen();
  idx.write(text.data(), static_cast<std::uint32_t>(text.size()));
  idx.flush();
  idx.close();
  failed_ = !opened || idx.writeFailed();
}
