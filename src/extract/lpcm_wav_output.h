// An LPCM substream (0xA0 + number) of private stream 1 as a WAV file. The
// header is written when the first packet gives the format and again, with
// the sizes, by finish(). Sample groups may run on from one packet into the
// next; the bytes of an incomplete group wait for the rest.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "extract/lpcm_format.h"
#include "extract/pack_sink.h"
#include "input/output_file_stream.h"

// A packet whose header a WAV file cannot follow: a reserved quantization,
// or a format other than the stream's first.
class LpcmFormatError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class LpcmWavOutput : public PackSink {
 public:
  LpcmWavOutput(const std::string& file, int number, std::size_t buffer);
  // Throws LpcmFormatError, saying at which pack and byte of the input.
  void take(const std::uint8_t* packs, std::size_t count, std::int64_t first) override;
  void finish(const FirstTimestamps& seen) override;
  bool writeFailed() const override { return failed_ || (file_ && file_->writeFailed()); }

  // The stream's format, once a packet has given it.
  const std::optional<LpcmFormat>& format() const { return format_; }

 private:
  void takePacket(const std::uint8_t* data, std::size_t size, std::int64_t index);
  void checkFormat(const std::uint8_t header[3], std::int64_t index);
  void writeSamples(const std::uint8_t* data, std::size_t size);
  void rewriteHeader();

  std::string name_;
  std::unique_ptr<OutputFileStream> file_;
  int substream_;
  int number_;
  bool failed_ = false;
  std::optional<LpcmFormat> format_;
  std::vector<std::uint8_t> pending_;  // an incomplete group
  std::vector<std::uint8_t> samples_;  // reused for each packet's output
  std::uint64_t dataBytes_ = 0;
};
