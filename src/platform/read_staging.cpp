#include "platform/read_staging.h"

#include <cstring>

namespace platform {

void* ReadStaging::landing(void* destination, std::size_t* count) {
  std::size_t offset = pageOffset(destination);
  if (offset == 0) return destination;
  if (page_.empty()) page_ = IoBuffer(kPageSize, std::nothrow);
  if (page_.empty()) return destination;
  if (*count > kPageSize - offset) *count = kPageSize - offset;
  return page_.data();
}

void ReadStaging::deliver(const void* into, void* destination, std::size_t got) const {
  if (into != destination && got > 0) std::memcpy(destination, into, got);
}

}  // namespace platform
