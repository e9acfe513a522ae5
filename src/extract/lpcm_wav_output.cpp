#include "extract/lpcm_wav_output.h"

#include <algorithm>

#include "demux/program_stream.h"
#include "extract/private_packets.h"
#include "extract/wav_header.h"

namespace {

// After the substream byte: the frame count and the first access unit's
// offset, then the three bytes of the LPCM header.
constexpr std::size_t kSkipped = 3;
constexpr std::size_t kHeader = 3;

std::string where(std::int64_t index) {
  return "pack " + std::to_string(index) + " (byte " + std::to_string(index * static_cast<std::int64_t>(ps::kPackSize)) +
         " of the input)";
}

}  // namespace

LpcmWavOutput::LpcmWavOutput(const std::string& file, int number, std::size_t buffer)
    : name_(file),
      file_(std::make_unique<OutputFileStream>(file.c_str(), true, buffer)),
      substream_(ps::kLpcmSubstream + number),
      number_(number) {}

void LpcmWavOutput::take(const std::uint8_t* packs, std::size_t count, std::int64_t first) {
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t at = 0;
    PrivatePacket packet;
    while (nextPrivatePacket(packs + i * ps::kPackSize, &at, &packet))
      if (packet.substream == substream_)
        takePacket(packet.data, packet.size, first + static_cast<std::int64_t>(i));
  }
}

void LpcmWavOutput::takePacket(const std::uint8_t* data, std::size_t size, std::int64_t index) {
  if (size < kSkipped + kHeader) return;  // no header: nothing to place the bytes by
  checkFormat(data + kSkipped, index);
  writeSamples(data + kSkipped + kHeader, size - kSkipped - kHeader);
}

void LpcmWavOutput::checkFormat(const std::uint8_t header[3], std::int64_t index) {
  std::optional<LpcmFormat> format = decodeLpcmHeader(header);
  const std::string stream = "LPCM stream " + std::to_string(number_);
  if (!format) throw LpcmFormatError(stream + ": reserved quantization at " + where(index));
  if (!format_) {
    format_ = format;
    std::vector<std::uint8_t> first = wavHeader(*format_, 0);
    file_->write(first.data(), static_cast<std::uint32_t>(first.size()));
  } else if (*format != *format_) {
    throw LpcmFormatError(stream + ": the format changes at " + where(index) + " from " +
                          format_->describe() + " to " + format->describe());
  }
}

void LpcmWavOutput::writeSamples(const std::uint8_t* data, std::size_t size) {
  const std::size_t group = format_->groupBytes();
  samples_.clear();
  // First complete the group held from the packet before.
  if (!pending_.empty()) {
    std::size_t wanted = std::min(group - pending_.size(), size);
    pending_.insert(pending_.end(), data, data + wanted);
    data += wanted;
    size -= wanted;
    if (pending_.size() < group) return;
    unpackLpcm(*format_, pending_.data(), 1, &samples_);
    pending_.clear();
  }
  const std::size_t whole = size / group;
  unpackLpcm(*format_, data, whole, &samples_);
  pending_.assign(data + whole * group, data + size);
  // A packet too short to finish a group has nothing to write yet.
  if (samples_.empty()) return;
  file_->write(samples_.data(), static_cast<std::uint32_t>(samples_.size()));
  dataBytes_ += samples_.size();
}

void LpcmWavOutput::finish(const FirstTimestamps&) {
  file_->flush();
  file_->close();
  failed_ = file_->writeFailed();
  file_.reset();
  if (format_) rewriteHeader();
}

// The sizes are known only now: the header is written again over the first
// one, which has the same length.
void LpcmWavOutput::rewriteHeader() {
  OutputFileStream file(name_.c_str(), false);
  const bool opened = file.isOpen();
  std::vector<std::uint8_t> header = wavHeader(*format_, dataBytes_);
  file.write(header.data(), static_cast<std::uint32_t>(header.size()));
  file.flush();
  file.close();
  failed_ = failed_ || !opened || file.writeFailed();
}
