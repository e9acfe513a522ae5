// A subpicture substream (0x20 + number) of private stream 1 as a VobSub
// pair: the .sub file takes every pack that carries the stream, whole, and
// the .idx file, written by finish(), says where each subtitle starts and
// when. Subtitle times count from the video's first time stamp, the origin
// the demultiplexed video starts from, when there is one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "extract/pack_sink.h"
#include "extract/vobsub_index.h"
#include "input/output_file_stream.h"

class VobSubOutput : public PackSink {
 public:
  // `index` holds the size, palette, language and number for the .idx.
  VobSubOutput(const std::string& idxFile, const std::string& subFile, VobSubIndex index,
               std::size_t buffer);
  void take(const std::uint8_t* packs, std::size_t count, std::int64_t first) override;
  // Times count from the video's first time stamp in `seen`, when there is one.
  void finish(const FirstTimestamps& seen) override;
  bool writeFailed() const override { return failed_ || sub_.writeFailed(); }

 private:
  // One pack: kept whole when it carries the stream.
  void takePack(const std::uint8_t* pack);

  std::string idxFile_;
  OutputFileStream sub_;
  VobSubIndex index_;
  std::vector<std::int64_t> stamps_;  // each entry's PTS, rebased by finish()
  bool failed_ = false;
};
