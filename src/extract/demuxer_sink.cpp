#include "extract/demuxer_sink.h"

#include "demux/program_stream.h"
#include "demux/timing_file.h"

namespace {

// The demultiplexer's audio types.
constexpr int kAc3Type = 0;
constexpr int kMpegAudioType = 2;

}  // namespace

DemuxerSink::DemuxerSink(std::size_t outputBuffer) : demuxer_(nullptr) {
  demuxer_.setOutputBuffer(outputBuffer);
}

DemuxerSink::~DemuxerSink() {
  demuxer_.CloseAll();
  // The timing files belong to the process, not to the demultiplexer.
  timing::closeAllTimingFiles();
}

bool DemuxerSink::addAc3(const std::string& file, int number, bool timing) {
  return demuxer_.AddAudio(file.c_str(), kAc3Type, number, timing) == 0;
}

bool DemuxerSink::addMpegAudio(const std::string& file, int number, bool timing) {
  return demuxer_.AddAudio(file.c_str(), kMpegAudioType, number, timing) == 0;
}

bool DemuxerSink::addSubpicture(const std::string& file, int number, bool timing) {
  return demuxer_.AddSubtitle(file.c_str(), number, timing) == 0;
}

void DemuxerSink::addVideo(const std::string& file, bool timing) {
  demuxer_.AddVideo(file.c_str(), timing);
}

void DemuxerSink::take(const std::uint8_t* packs, std::size_t count, std::int64_t) {
  demuxer_.Demultiplex(packs, static_cast<std::int32_t>(count * ps::kPackSize));
}

void DemuxerSink::finish(const FirstTimestamps&) {
  demuxer_.CloseAll();
  timing::closeAllTimingFiles();
}
