// What the tool's own outputs have in common: each is shown every 2048-byte
// pack of the input in order and keeps what belongs to its stream.
#pragma once

#include <cstdint>

class PackSink {
 public:
  virtual ~PackSink() = default;
  // Looks at one whole pack, the `index`-th of the input (from 0).
  virtual void take(const std::uint8_t* pack, std::int64_t index) = 0;
  // Completes and closes the output after the last pack.
  virtual void finish() = 0;
  // Whether a packet of the stream was seen at all.
  virtual bool sawStream() const = 0;
  // Whether a file took fewer bytes than it was given (a full disk).
  virtual bool writeFailed() const = 0;
};
