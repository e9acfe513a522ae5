#include "demux/vob_demuxer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "demux/program_stream.h"
#include "demux/timing_file.h"

namespace {

constexpr std::uint8_t kAc3Sync[2] = {0x0B, 0x77};
// The picture start code; MPEG audio is searched for the same four bytes.
constexpr std::uint8_t kPictureStart[4] = {0x00, 0x00, 0x01, 0x00};

// The low 32 bits of a file position, as the timing files print it.
std::int32_t low32(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

OutputFileStream* lookUp(std::map<int, std::unique_ptr<OutputFileStream>>& files, int number) {
  return files[number].get();  // a number never registered gets a null entry
}

}  // namespace

VobDemuxer::VobDemuxer(mpdx::LogCallback::Sink log)
    : log_(log), pack_(new std::uint8_t[packSize]) {}

VobDemuxer::~VobDemuxer() {
  CloseAll();
  pack_.reset();
  // The timing streams are not ours to close: only the entries go.
  videoTiming_ = nullptr;
  ac3Timing_.clear();
  mpegAudioTiming_.clear();
  subpictureTiming_.clear();
}

int VobDemuxer::AddAudio(const char* name, int type, int number, bool timing) {
  FileMap* files;
  TimingMap* timings;
  if (type == 0) {
    files = &ac3Files_;
    timings = &ac3Timing_;
  } else if (type == 2) {
    files = &mpegAudioFiles_;
    timings = &mpegAudioTiming_;
  } else {
    return 1;
  }
  std::string file = name ? name : "";
  std::unique_ptr<OutputFileStream> output = openOutput(file);
  if (!output) return 1;
  (*files)[number] = std::move(output);
  if (timing) (*timings)[number] = timing::openTimingFile(file);
  return 0;
}

int VobDemuxer::AddSubtitle(const char* name, int number, bool timing) {
  std::string file = name ? name : "";
  std::unique_ptr<OutputFileStream> output = openOutput(file);
  if (!output) return 1;
  subpictureFiles_[number] = std::move(output);
  if (timing) subpictureTiming_[number] = timing::openTimingFile(file);
  return 0;
}

bool VobDemuxer::AddVideo(const char* name, bool timing) {
  std::string file = name ? name : "";
  videoFile_ = openOutput(file);
  if (timing) videoTiming_ = timing::openTimingFile(file);
  return true;
}

std::unique_ptr<OutputFileStream> VobDemuxer::openOutput(const std::string& name) {
  return std::unique_ptr<OutputFileStream>(
      new (std::nothrow) OutputFileStream(name.c_str(), true, outputBuffer_));
}

void VobDemuxer::Demultiplex(const void* data, std::int32_t length) {
  // The message builder of this call; nothing is ever written to it.
  mpdx::LogCallback messages(log_);
  (void)messages;

  if (length < 0) return;
  const auto* bytes = static_cast<const std::uint8_t*>(data);

  // Complete the pack held from the previous call first.
  if (held_ > 0 && held_ < packSize) {
    std::int32_t copied = std::min(packSize - held_, length);
    if (copied > 0) std::memcpy(pack_.get() + held_, bytes, static_cast<std::size_t>(copied));
    if (held_ + copied == packSize) {
      demultiplexPacks(pack_.get(), 1);
      held_ = 0;
    } else {
      held_ += copied;
    }
    bytes += copied;
    length -= copied;
  }
  if (held_ > 0) return;  // still incomplete: everything was taken

  // Keep the trailing partial pack, then work through the whole ones.
  std::int32_t rest = length % packSize;
  held_ = rest;
  std::int32_t whole = length - rest;
  if (rest > 0) std::memcpy(pack_.get(), bytes + whole, static_cast<std::size_t>(rest));
  if (whole > 0) demultiplexPacks(bytes, whole / packSize);
}

void VobDemuxer::demultiplexPacks(const std::uint8_t* packs, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) demultiplexPack(packs + std::size_t{packSize} * i);
}

void VobDemuxer::demultiplexPack(const std::uint8_t* pack) {
  const std::uint8_t* end = pack + packSize;
  // The one packet examined follows the pack header (no start code is
  // checked); every header field read below lies within the first 300 bytes
  // of the pack, whatever the bytes say.
  const std::uint8_t* q = ps::firstPacket(pack);
  const std::uint8_t id = ps::streamId(q);
  if (ps::hasNoPesExtension(id)) return;
  const std::uint8_t flags = q[7];
  const std::uint8_t* payload = q + ps::payloadOffset(q);
  // Bytes after the length field.
  const std::int32_t length = static_cast<std::int32_t>(ps::packetLength(q));
  const std::uint8_t* afterLength = q + 6;
  const std::uint8_t* stamps = ps::timestamps(q);

  if (id == ps::kPrivateStream1) {
    const std::uint8_t sub = payload[0];
    if (sub == 0x00 || sub == 0x01 || sub == 0x50 || sub == 0xFF) return;
    if (ps::isSubpictureSubstream(sub)) {
      int number = sub & 0x1F;
      OutputFileStream* file = lookUp(subpictureFiles_, number);
      if (!file) return;
      const std::uint8_t* data = payload + 1;
      std::ostream* timing = subpictureTiming_[number];
      writePayload(*file, timing, data, length - static_cast<std::int32_t>(data - afterLength),
                   end, nullptr, 0, flags, stamps);
    } else if (ps::isAc3Substream(sub)) {
      int number = sub & 7;
      OutputFileStream* file = lookUp(ac3Files_, number);
      if (!file) return;
      const std::uint8_t* data = payload + 4;
      std::ostream* timing = ac3Timing_[number];
      writePayload(*file, timing, data, length - static_cast<std::int32_t>(data - afterLength),
                   end, kAc3Sync, 2, flags, stamps);
    }
    // Any other substream (DTS, LPCM, ...) is not taken.
    return;
  }
  std::int32_t count = length - static_cast<std::int32_t>(payload - afterLength);
  if (ps::isVideoStream(id)) {
    if (!videoFile_) return;
    writePayload(*videoFile_, videoTiming_, payload, count, end, kPictureStart, 4, flags, stamps);
  } else if (ps::isAudioStream(id)) {
    int number = id & 0x1F;
    OutputFileStream* file = lookUp(mpegAudioFiles_, number);
    if (!file) return;
    std::ostream* timing = mpegAudioTiming_[number];
    writePayload(*file, timing, payload, count, end, kPictureStart, 4, flags, stamps);
  }
  // Anything else (the system header among them) is skipped.
}

void VobDemuxer::writePayload(OutputFileStream& file, std::ostream* timing,
                              const std::uint8_t* data, std::int32_t count,
                              const std::uint8_t* packEnd, const std::uint8_t* word,
                              std::int32_t wordSize, std::uint8_t flags,
                              const std::uint8_t* stamps) {
  std::int32_t position = low32(file.tell());
  // Only the bytes inside the pack are written: a packet length that runs
  // past the pack stops at its end, and a negative count writes nothing.
  std::int32_t inside = static_cast<std::int32_t>(packEnd - data);
  std::int32_t written = count < 0 ? 0 : std::min(count, inside);
  if (written > 0) file.write(data, static_cast<std::uint32_t>(written));

  if (word) {
    // Offsets 0 to count - wordSize - 1: the last possible offset is not
    // examined. Offsets whose word would reach past the pack are not either.
    std::int32_t last = std::min(count - wordSize - 1, written - wordSize);
    for (std::int32_t i = 0; i <= last; ++i) {
      if (data[i] == word[0] && std::memcmp(data + i, word, static_cast<std::size_t>(wordSize)) == 0) {
        position += i;
        break;
      }
    }
  }

  if (!timing || timing->fail() || !(flags & 0xC0)) return;
  std::int32_t pts = -1;
  std::int32_t dts;
  if (flags & 0x80) {
    pts = ps::readTimestampLow32(stamps);
    dts = (flags & 0x40) ? ps::readTimestampLow32(stamps + 5) : pts;
  } else {
    dts = ps::readTimestampLow32(stamps);
  }
  timing::writeTimingLine(*timing, position, pts, dts);
}

int VobDemuxer::CloseAll() {
  for (FileMap* files : {&ac3Files_, &mpegAudioFiles_, &subpictureFiles_}) {
    for (auto& entry : *files) {
      if (!entry.second) continue;
      entry.second->flush();
      entry.second->close();
      closedFailed_ = closedFailed_ || entry.second->writeFailed();
      entry.second.reset();
    }
    files->clear();
  }
  if (videoFile_) {
    videoFile_->flush();
    videoFile_->close();
    closedFailed_ = closedFailed_ || videoFile_->writeFailed();
    videoFile_.reset();
  }
  return 0;
}

int VobDemuxer::FlushAll() {
  for (FileMap* files : {&ac3Files_, &mpegAudioFiles_, &subpictureFiles_})
    for (auto& entry : *files)
      if (entry.second) entry.second->flush();
  if (videoFile_) videoFile_->flush();
  return 0;
}

bool VobDemuxer::writeFailed() const {
  if (closedFailed_ || (videoFile_ && videoFile_->writeFailed())) return true;
  for (const FileMap* files : {&ac3Files_, &mpegAudioFiles_, &subpictureFiles_})
    for (const auto& entry : *files)
      if (entry.second && entry.second->writeFailed()) return true;
  return false;
}
