#include "disc/image_bytes.h"

#include <algorithm>
#include <cstring>

FileImageBytes::FileImageBytes(const std::string& name)
    : handle_(platform::openExistingForRead(name.c_str(), platform::AccessHint::None)) {
  if (isOpen()) size_ = platform::getDeviceSize(handle_);
  if (size_ < 0) size_ = 0;
}

FileImageBytes::~FileImageBytes() {
  if (isOpen()) platform::closeFile(handle_);
}

std::size_t FileImageBytes::readAt(std::int64_t offset, void* buffer, std::size_t count) {
  if (!isOpen() || offset < 0 || offset >= size_) return 0;
  count = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(count),
                                                          size_ - offset));
  if (offset != position_ &&
      platform::moveFilePointer(handle_, offset, platform::MoveMethod::Begin) != offset) {
    position_ = -1;
    return 0;
  }
  position_ = offset;
  auto* out = static_cast<std::uint8_t*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    std::size_t chunk = std::min<std::size_t>(count - done, 1u << 30);
    void* into = staging_.landing(out + done, offset + static_cast<std::int64_t>(done), &chunk);
    std::uint32_t got = 0;
    if (!platform::readFile(handle_, into, static_cast<std::uint32_t>(chunk), &got) || got == 0)
      break;
    staging_.deliver(into, out + done, got);
    done += got;
  }
  position_ = done == count ? offset + static_cast<std::int64_t>(done) : -1;
  return done;
}

std::size_t MemoryImageBytes::readAt(std::int64_t offset, void* buffer, std::size_t count) {
  if (count == 0 || offset < 0 || offset >= size()) return 0;
  count = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(count),
                                                          size() - offset));
  std::memcpy(buffer, bytes_.data() + offset, count);
  return count;
}
