// What every output of an extraction has in common, the filter's
// demultiplexer (through DemuxerSink) and the tool's own outputs alike: each
// is shown the input's whole 2048-byte packs in order and keeps what belongs
// to its streams.
#pragma once

#include <cstddef>
#include <cstdint>

class FirstTimestamps;

class PackSink {
 public:
  virtual ~PackSink() = default;
  // Looks at `count` whole packs; the first is the `first`-th of the input
  // (from 0).
  virtual void take(const std::uint8_t* packs, std::size_t count, std::int64_t first) = 0;
  // Completes and closes the output after the last pack; `seen` holds the
  // first time stamp of each stream of the input.
  virtual void finish(const FirstTimestamps& seen) = 0;
  // Whether a file took fewer bytes than it was given (a full disk).
  virtual bool writeFailed() const = 0;
};
