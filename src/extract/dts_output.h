// A DTS substream (0x88 + number) of private stream 1 as a raw .dts file:
// the payload of each packet after its 4-byte audio header, as it stands.
#pragma once

#include <cstddef>
#include <string>

#include "extract/pack_sink.h"
#include "input/output_file_stream.h"

class DtsOutput : public PackSink {
 public:
  DtsOutput(const std::string& file, int number, std::size_t buffer);
  void take(const std::uint8_t* packs, std::size_t count, std::int64_t first) override;
  void finish(const FirstTimestamps& seen) override;
  bool writeFailed() const override { return file_.writeFailed(); }

 private:
  OutputFileStream file_;
  int substream_;
};
