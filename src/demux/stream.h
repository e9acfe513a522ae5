// The small stream family through which the DVD side reads files, and the
// text stream on which the navigation readers compose their messages.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <sstream>
#include <utility>

#include "platform/file.h"

namespace mpdx {

// A readable byte source.
class Stream {
 public:
  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  virtual ~Stream() = default;

  // Whether no more bytes can be read.
  virtual bool isEnd() { return false; }
  // Reads up to `count` bytes; returns the number read.
  virtual std::int32_t read(void* buffer, std::uint32_t count) = 0;
  // Releases the source.
  virtual int close() { return 0; }
};

// A stream with a length and a position that can be set: a file on disk, or
// a file inside a disc image (disc/disc_files.h).
class SeekableStream : public Stream {
 public:
  // Moves to `offset` from the start: 0, or 1 with no file.
  virtual int seek(std::int64_t offset) = 0;
  // The current position; -1 with no file.
  virtual std::int64_t tell() = 0;
  // The file's size; 0 with no file, -1 when it cannot be queried.
  virtual std::int64_t getLength() = 0;
};

// A read-only stream on one named file. A file that cannot be opened is not
// an error: the stream then behaves as one at its end.
class IFileStream : public SeekableStream {
 public:
  // The second argument exists for callers that pass an open mode; a file
  // stream is always opened for shared reading.
  explicit IFileStream(const char* name, int unused = 0);
  ~IFileStream() override;

  bool isEnd() override;
  // One read of `count` bytes at the current position; 0 at the end or with
  // no file. Read errors show only as a short count.
  std::int32_t read(void* buffer, std::uint32_t count) override;
  // The result of closing the handle; 1 when there was nothing to close.
  int close() override;

  int seek(std::int64_t offset) override;
  std::int64_t tell() override;
  std::int64_t getLength() override;

 private:
  bool hasFile() const { return handle_ != platform::kInvalidFile; }

  platform::FileHandle handle_;
};

// A text stream plus the sink that receives its composed messages. The sink
// carries its own context (a lambda may capture whatever it reports to).
class LogCallback : public std::stringstream {
 public:
  using Sink = std::function<void(int level, const char* text)>;

  explicit LogCallback(Sink sink)
      : std::stringstream(std::ios::in | std::ios::out), callback(std::move(sink)) {}
  // Pending text is dropped, not emitted.
  ~LogCallback() override = default;

  Sink callback;
};

// Hands the text composed on `out` to its sink at `level` and empties it,
// when `out` is a LogCallback with a sink and some text. On any other stream
// the text simply stays where it was written.
void emit(std::ostream& out, int level = 3);

}  // namespace mpdx
