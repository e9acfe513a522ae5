// What the output pin keeps between calls, for tests that check the state a
// call left behind where no interface shows it.
#pragma once

#include "filter/output_pin.h"

struct OutputPinProbe {
  static const SourceSettings& settings(const OutputPin& pin) { return pin.settings_; }
  static bool endOfStream(const OutputPin& pin) { return pin.endOfStream_; }
  static std::int32_t& lastReportedFile(OutputPin& pin) { return pin.lastReportedFile_; }
  static DvdTitleReader* titleReader(const OutputPin& pin) { return pin.titleSource_.reader(); }
  static VobDemuxer* demuxer(const OutputPin& pin) { return pin.demuxer_.get(); }
  static std::int32_t carryOffset(const OutputPin& pin) { return pin.titleSource_.carryOffset(); }
  static std::size_t audioTrackCount(const OutputPin& pin) { return pin.audioTracks_.size(); }
  static std::size_t subtitleTrackCount(const OutputPin& pin) {
    return pin.subtitleTracks_.size();
  }
  static bool standardReads(const OutputPin& pin) { return pin.standardReads_; }
};
