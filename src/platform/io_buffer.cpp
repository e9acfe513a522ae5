#include "platform/io_buffer.h"

namespace platform {

namespace {

// The standard library's aligned allocation (the C library's aligned
// allocator on Linux, _aligned_malloc on Windows), so one file serves both.
constexpr std::align_val_t kAlignment{kPageSize};

}  // namespace

IoBuffer::IoBuffer(std::size_t size) {
  if (size == 0) return;
  bytes_ = static_cast<std::uint8_t*>(::operator new(size, kAlignment));
  size_ = size;
}

IoBuffer::IoBuffer(std::size_t size, const std::nothrow_t&) noexcept {
  if (size == 0) return;
  bytes_ = static_cast<std::uint8_t*>(::operator new(size, kAlignment, std::nothrow));
  if (bytes_) size_ = size;
}

IoBuffer::~IoBuffer() { release(); }

IoBuffer::IoBuffer(IoBuffer&& other) noexcept : bytes_(other.bytes_), size_(other.size_) {
  other.bytes_ = nullptr;
  other.size_ = 0;
}

IoBuffer& IoBuffer::operator=(IoBuffer&& other) noexcept {
  if (this != &other) {
    release();
    bytes_ = other.bytes_;
    size_ = other.size_;
    other.bytes_ = nullptr;
    other.size_ = 0;
  }
  return *this;
}

void IoBuffer::release() noexcept {
  if (bytes_) ::operator delete(bytes_, kAlignment);
  bytes_ = nullptr;
  size_ = 0;
}

}  // namespace platform
