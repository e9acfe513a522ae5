// Reading ahead on threads of their own: while the caller works through one
// chunk of the input (demultiplexing it, writing the outputs), the next ones
// are already being read, by two readers at once, each with its own handles.
// The caller still gets the chunks in input order.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/io_buffer.h"

namespace cli {

class ReadAhead {
 public:
  // Reads up to `want` bytes at `offset` of the input into `buffer` and
  // names the file they came from in `where`; the count read, which is less
  // than `want` only at an end or an error. Each reading thread has a source
  // of its own, so a source needs no locking.
  using Source = std::function<std::int32_t(std::int64_t offset, std::uint8_t* buffer,
                                            std::int32_t want, std::string* where)>;

  struct Chunk {
    platform::IoBuffer bytes;
    std::int64_t offset = 0;
    std::int32_t want = 0;   // the bytes asked for
    std::int32_t count = 0;  // the bytes read: fewer than `want` is a failed read
    std::string where;
    bool ready = false;
  };

  // Reads `total` bytes in chunks of `chunkSize` bytes, one reading thread
  // per source taking every n-th chunk, at most `depth` chunks ahead of the
  // caller.
  ReadAhead(std::vector<Source> sources, std::int64_t total, std::size_t chunkSize, int depth);
  // Stops the reading threads (after their current reads) and waits for them.
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // The next chunk in input order, valid until the next call; null after
  // the last chunk and after a chunk whose read failed.
  const Chunk* next();

 private:
  void readChunks(std::size_t first);

  std::vector<Source> sources_;
  const std::int64_t total_;
  const std::size_t chunkSize_;
  const std::size_t chunkCount_;
  std::vector<Chunk> ring_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::size_t taken_ = 0;  // chunks handed to the caller
  std::size_t failedAt_;   // the first chunk known to have failed
  bool stopping_ = false;
  std::vector<std::thread> readers_;
};

}  // namespace cli
