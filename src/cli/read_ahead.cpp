#include "cli/read_ahead.h"

#include <algorithm>

namespace cli {

ReadAhead::ReadAhead(std::vector<Source> sources, std::int64_t total, std::size_t chunkSize,
                     int depth)
    : sources_(std::move(sources)),
      total_(std::max<std::int64_t>(total, 0)),
      chunkSize_(chunkSize),
      chunkCount_(static_cast<std::size_t>((total_ + static_cast<std::int64_t>(chunkSize) - 1) /
                                           static_cast<std::int64_t>(chunkSize))),
      // The caller holds one slot while the readers fill the others, so each
      // reader needs at least one more.
      ring_(std::max(static_cast<std::size_t>(std::max(depth, 0)), sources_.size() + 1)),
      failedAt_(chunkCount_) {
  for (Chunk& chunk : ring_) chunk.bytes = platform::IoBuffer(chunkSize);
  for (std::size_t i = 0; i < sources_.size(); ++i)
    readers_.emplace_back(&ReadAhead::readChunks, this, i);
}

ReadAhead::~ReadAhead() {
  {
    std::lock_guard<std::mutex> guard(lock_);
    stopping_ = true;
  }
  changed_.notify_all();
  for (std::thread& reader : readers_) reader.join();
}

void ReadAhead::readChunks(std::size_t first) {
  Source& source = sources_[first];
  for (std::size_t index = first; index < chunkCount_; index += sources_.size()) {
    Chunk& chunk = ring_[index % ring_.size()];
    {
      // Chunk `index` may be read once the caller has taken every chunk that
      // used its slot before, except the one it is holding.
      std::unique_lock<std::mutex> guard(lock_);
      changed_.wait(guard, [&] {
        return stopping_ || index >= failedAt_ || index + 1 < taken_ + ring_.size();
      });
      if (stopping_ || index >= failedAt_) return;
    }
    chunk.offset = static_cast<std::int64_t>(index * chunkSize_);
    chunk.want = static_cast<std::int32_t>(
        std::min<std::int64_t>(total_ - chunk.offset, static_cast<std::int64_t>(chunkSize_)));
    chunk.count = source(chunk.offset, chunk.bytes.data(), chunk.want, &chunk.where);
    bool failed = chunk.count < chunk.want;
    {
      std::lock_guard<std::mutex> guard(lock_);
      chunk.ready = true;
      if (failed) failedAt_ = std::min(failedAt_, index);
    }
    changed_.notify_all();
    if (failed) return;
  }
}

const ReadAhead::Chunk* ReadAhead::next() {
  std::unique_lock<std::mutex> guard(lock_);
  if (taken_ > 0) {
    // The chunk handed out last is free again.
    Chunk& last = ring_[(taken_ - 1) % ring_.size()];
    last.ready = false;
    if (last.count < last.want) return nullptr;
  }
  if (taken_ >= chunkCount_) return nullptr;
  Chunk* chunk = &ring_[taken_ % ring_.size()];
  changed_.wait(guard, [&] { return chunk->ready; });
  ++taken_;
  guard.unlock();
  changed_.notify_all();
  return chunk;
}

}  // namespace cli
