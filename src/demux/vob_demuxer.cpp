#include "demux/vob_demuxer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "demux/timing_file.h"

namespace {

constexpr std::uint8_t kAc3Sync[2] = {0x0B, 0x77};
// The picture start code; MPEG audio is searched for the same four bytes.
constexpr std::uint8_t kPictureStart[4] = {0x00, 0x00, 0x01, 0x00};

// The low 32 bits of a 33-bit time stamp from its five bytes, as a signed
// number: bit 32 is dropped, so stamps of 2^31 ticks and more come out
// negative. That is the timing file's format.
std::int32_t readStamp(const std::uint8_t* b) {
  std::uint32_t value = static_cast<std::uint32_t>(b[4] >> 1) |
                        static_cast<std::uint32_t>(b[3]) << 7 |
                        static_cast<std::uint32_t>(b[2] >> 1) << 15 |
                        static_cast<std::uint32_t>(b[1]) << 22 |
                        static_cast<std::uint32_t>((b[0] >> 1) & 3) << 30;
  return static_cast<std::int32_t>(value);
}

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
  // The 14-byte pack header (no start code is checked) and its stuffing; the
  // one packet examined follows. Every header field read below lies within
  // the first 300 bytes of the pack, whatever the bytes say.
  const std::uint8_t* q = pack + 14 + (pack[13] & 7);
  std::uint8_t id = q[3];
  switch (id) {
    case 0xBC: case 0xBE: case 0xBF: case 0xF0: case 0xF1: case 0xF2: case 0xF8: case 0xFF:
      return;
    default:
      break;
  }
  std::uint8_t flags = q[7];
  const std::uint8_t* payload = q + 9 + q[8];
  std::int32_t length = q[4] * 256 + q[5];  // bytes after the length field
  const std::uint8_t* afterLength = q + 6;
  const std::uint8_t* stamps = q + 9;

  if (id == 0xBD) {
    std::uint8_t sub = payload[0];
    if (sub == 0x00 || sub == 0x01 || sub == 0x50 || sub == 0xFF) return;
    if (sub >= 0x20 && sub <= 0x3F) {
      int number = sub & 0x1F;
      OutputFileStream* file = lookUp(subpictureFiles_, number);
      if (!file) return;
      const std::uint8_t* data = payload + 1;
      std::ostream* timing = subpictureTiming_[number];
      writePayload(*file, timing, data, length - static_cast<std::int32_t>(data - afterLength),
                   end, nullptr, 0, flags, stamps);
    } else if (sub >= 0x80 && sub <= 0x87) {
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
  if (id >= 0xE0 && id <= 0xEF) {
    if (!videoFile_) return;
    writePayload(*videoFile_, videoTiming_, payload, count, end, kPictureStart, 4, flags, stamps);
  } else if (id >= 0xC0 && id <= 0xDF) {
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
    pts = readStamp(stamps);
    dts = (flags & 0x40) ? readStamp(stamps + 5) : pts;
  } else {
    dts = readStamp(stamps);
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
