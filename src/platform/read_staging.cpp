#include "platform/read_staging.h"

#include <atomic>
#include <cstring>

namespace platform {

namespace {

constexpr std::size_t kCacheLine = 64;

std::atomic<std::uint64_t> staged{0};

// How far `destination` lies past the file position within a page.
std::size_t distanceInPage(const void* destination, std::int64_t position) {
  std::size_t file = static_cast<std::size_t>(static_cast<std::uint64_t>(position) % kPageSize);
  return (pageOffset(destination) + kPageSize - file) % kPageSize;
}

}  // namespace

bool copiesAtFullSpeed(const void* destination, std::int64_t position) {
  std::size_t distance = distanceInPage(destination, position);
  return distance == 0 || (distance >= kCacheLine && distance <= kPageSize - kCacheLine);
}

void* ReadStaging::landing(void* destination, std::int64_t position, std::size_t* count) {
  if (copiesAtFullSpeed(destination, position)) return destination;
  if (buffer_.empty()) buffer_ = IoBuffer(kPageSize + kStagedBytes, std::nothrow);
  if (buffer_.empty()) return destination;
  if (*count > kStagedBytes) *count = kStagedBytes;
  staged.fetch_add(1, std::memory_order_relaxed);
  // Half a page past the file position's place: half a page from the
  // destination's too, since that lies within a cache line of it.
  std::size_t place = (static_cast<std::size_t>(static_cast<std::uint64_t>(position) % kPageSize) +
                       kPageSize / 2) % kPageSize;
  return buffer_.data() + place;
}

std::uint64_t ReadStaging::stagedReads() { return staged.load(std::memory_order_relaxed); }

void ReadStaging::deliver(const void* into, void* destination, std::size_t got) const {
  if (into != destination && got > 0) std::memcpy(destination, into, got);
}

}  // namespace platform
