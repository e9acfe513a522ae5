// The filter's VOB demultiplexer as one output of an extraction: AC-3, MPEG
// audio and subpicture streams and the video, each written raw to its own
// file with an optional timing file, exactly as the filter writes them.
#pragma once

#include <cstddef>
#include <string>

#include "demux/vob_demuxer.h"
#include "extract/pack_sink.h"

class DemuxerSink : public PackSink {
 public:
  // Each output collects its packets into blocks of `outputBuffer` bytes.
  explicit DemuxerSink(std::size_t outputBuffer);
  // Closes what is still open, timing files included (a run that stops early).
  ~DemuxerSink() override;

  // The demultiplexer's registrations; false when the output cannot be set up.
  bool addAc3(const std::string& file, int number, bool timing);
  bool addMpegAudio(const std::string& file, int number, bool timing);
  bool addSubpicture(const std::string& file, int number, bool timing);
  void addVideo(const std::string& file, bool timing);

  void take(const std::uint8_t* packs, std::size_t count, std::int64_t first) override;
  void finish(const FirstTimestamps& seen) override;
  bool writeFailed() const override { return demuxer_.writeFailed(); }

 private:
  VobDemuxer demuxer_;
};
