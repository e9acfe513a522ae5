#include "extract/extraction.h"

#include "demux/program_stream.h"
#include "extract/demuxer_sink.h"
#include "extract/dts_output.h"
#include "extract/lpcm_wav_output.h"
#include "extract/pack_sink.h"
#include "extract/vobsub_output.h"

namespace {

bool isAudio(StreamKind kind) {
  return kind == StreamKind::Ac3 || kind == StreamKind::MpegAudio || kind == StreamKind::Dts ||
         kind == StreamKind::Lpcm;
}

// The key of an audio stream's first time stamp.
int timestampKey(const StreamChoice& c) {
  switch (c.kind) {
    case StreamKind::Ac3: return FirstTimestamps::ac3(c.number);
    case StreamKind::Dts: return FirstTimestamps::privateStream(ps::kDtsSubstream + c.number);
    case StreamKind::Lpcm: return FirstTimestamps::privateStream(ps::kLpcmSubstream + c.number);
    default: return FirstTimestamps::mpegAudio(c.number);
  }
}

}  // namespace

Extraction::Extraction(std::size_t outputBuffer) : outputBuffer_(outputBuffer) {}

Extraction::~Extraction() = default;

DemuxerSink& Extraction::demuxer() {
  if (!demuxer_) {
    auto sink = std::make_unique<DemuxerSink>(outputBuffer_);
    demuxer_ = sink.get();
    outputs_.push_back({std::move(sink), {}});
  }
  return *demuxer_;
}

void Extraction::add(const StreamChoice& choice, const std::string& path, bool timing) {
  bool made = true;
  switch (choice.kind) {
    case StreamKind::Ac3: made = demuxer().addAc3(path, choice.number, timing); break;
    case StreamKind::MpegAudio: made = demuxer().addMpegAudio(path, choice.number, timing); break;
    case StreamKind::Subpicture: made = demuxer().addSubpicture(path, choice.number, timing); break;
    case StreamKind::Video: demuxer().addVideo(path, timing); break;
    case StreamKind::Dts:
      outputs_.push_back(
          {std::make_unique<DtsOutput>(path, choice.number, outputBuffer_), choice.name});
      break;
    case StreamKind::Lpcm:
      outputs_.push_back(
          {std::make_unique<LpcmWavOutput>(path, choice.number, outputBuffer_), choice.name});
      break;
  }
  if (!made) throw ExtractionError(choice.name, "cannot be set up as an output");
  if (isAudio(choice.kind)) audio_.push_back(choice);
}

void Extraction::addVobSub(const std::string& name, const std::string& idxPath,
                           const std::string& subPath, VobSubIndex index) {
  outputs_.push_back(
      {std::make_unique<VobSubOutput>(idxPath, subPath, std::move(index), outputBuffer_), name});
}

void Extraction::feed(const std::uint8_t* bytes, std::size_t count) {
  const std::size_t packs = count / ps::kPackSize;
  trailing_ = count % ps::kPackSize;
  for (std::size_t i = 0; i < packs; ++i)
    if (ps::isMpeg2PackHeader(bytes + i * ps::kPackSize)) ++programStreamPacks_;
  timestamps_.scan(bytes, packs);
  for (Output& output : outputs_) {
    try {
      output.sink->take(bytes, packs, packsFed_);
    } catch (const LpcmFormatError& error) {
      throw ExtractionError(output.name, error.what());
    }
  }
  packsFed_ += static_cast<std::int64_t>(packs);
}

void Extraction::finish() {
  for (Output& output : outputs_) output.sink->finish(timestamps_);
}

bool Extraction::writeFailed() const {
  for (const Output& output : outputs_)
    if (output.sink->writeFailed()) return true;
  return false;
}

std::vector<Extraction::Delay> Extraction::delays() const {
  const std::optional<std::int64_t> video = timestamps_.first(FirstTimestamps::video);
  std::vector<Delay> delays;
  for (const StreamChoice& c : audio_) {
    const std::optional<std::int64_t> audio = timestamps_.first(timestampKey(c));
    if (audio && video)
      delays.push_back({c.name, delayMilliseconds(*audio, *video), {}});
    else
      delays.push_back(
          {c.name, std::nullopt, audio ? "no video time stamp" : "no time stamp of this stream"});
  }
  return delays;
}
