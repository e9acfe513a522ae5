// The VOB files of one title set joined into one byte range.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "demux/stream.h"
#include "platform/read_staging.h"

class DiscFiles;

class ConcatenatedStream {
 public:
  struct Entry {
    std::string name;
    std::int64_t start;   // offset of the file's first byte in the joined range
    std::int64_t length;  // 0 for a file that could not be opened
    std::unique_ptr<mpdx::SeekableStream> stream;
  };

  // Opens every file in order. A file that cannot be opened stays in the
  // list as an empty one.
  explicit ConcatenatedStream(std::vector<std::string> names);
  // The same for bare names opened through `files`; the entries are named
  // by files.path().
  ConcatenatedStream(const DiscFiles& files, const std::vector<std::string>& names);
  ~ConcatenatedStream();
  ConcatenatedStream(const ConcatenatedStream&) = delete;
  ConcatenatedStream& operator=(const ConcatenatedStream&) = delete;

  // Reads up to `count` bytes; a short read of one file goes on in the next
  // one at once, from wherever that file's own pointer stands. A read that
  // the system would copy slowly into `buffer` comes through `staging_`.
  std::int32_t read(void* buffer, std::int32_t count);
  // Moves to `position`; always returns 1. A position outside the range
  // leaves the position as it was and the stream at its end.
  int seek(std::int64_t position);

  std::int64_t getPosition() const { return position; }
  std::int64_t getLength() const { return totalLength; }
  bool isEnd() const { return position >= totalLength; }

  // Closes and releases every file.
  void closeAll();

  std::int64_t position = 0;
  std::int64_t totalLength = 0;
  std::vector<Entry> entries;
  std::size_t current = 0;  // index into `entries`; entries.size() is past the end

 private:
  void append(std::string name, std::unique_ptr<mpdx::SeekableStream> stream);

  platform::ReadStaging staging_;
};
