// Memory for file reads: every buffer the engine, the tool or the filter
// hands to a file read comes from here, and starts on a page boundary.
//
// The system copies a read out of its cache into the caller's memory. On
// the processor measured here that copy runs at a quarter of its speed or
// less when the destination lies just past the file position's place within
// a page, and the general-purpose heap hands out large blocks 16 bytes past
// a page boundary, just there for a read from the start of a file. A buffer
// that starts on a page boundary, read at page-aligned positions (files
// from their start, in whole pages), never is. The reads that are not (a
// sample from another filter's allocator, the rest of a buffer after a file
// of odd length) go through platform/read_staging.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace platform {

// The memory page of every system the program is built for (x86-64 Linux
// and Windows).
constexpr std::size_t kPageSize = 4096;

inline bool isPageAligned(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address) % kPageSize == 0;
}

// How far `address` lies past the page boundary below it.
inline std::size_t pageOffset(const void* address) {
  return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(address) % kPageSize);
}

// An owned block of `size` bytes starting on a page boundary. Its bytes are
// what a read puts there: nothing fills them before (a read-ahead ring of
// megabytes, or a sector buffer made for every disc opened, would pay for
// it each time). Movable, not copyable; empty when default-made or moved
// from.
class IoBuffer {
 public:
  IoBuffer() = default;
  // Throws std::bad_alloc when the memory cannot be had, as a vector does.
  explicit IoBuffer(std::size_t size);
  // Stays empty when the memory cannot be had.
  IoBuffer(std::size_t size, const std::nothrow_t&) noexcept;
  ~IoBuffer();
  IoBuffer(IoBuffer&& other) noexcept;
  IoBuffer& operator=(IoBuffer&& other) noexcept;
  IoBuffer(const IoBuffer&) = delete;
  IoBuffer& operator=(const IoBuffer&) = delete;

  std::uint8_t* data() { return bytes_; }
  const std::uint8_t* data() const { return bytes_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::uint8_t& operator[](std::size_t i) { return bytes_[i]; }
  const std::uint8_t& operator[](std::size_t i) const { return bytes_[i]; }

 private:
  void release() noexcept;

  std::uint8_t* bytes_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace platform
