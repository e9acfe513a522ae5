// Reads whose destination is off a page boundary: a sample buffer from
// another filter's allocator, or the middle of a page-aligned buffer after a
// file, cell or extent that ended off one. The bytes up to the next page
// boundary are read into a page of this object's own and copied into place,
// so the read after them lands on the boundary: the system then copies
// every read into page-aligned memory (see platform/io_buffer.h), at the
// price of copying less than a page once.
//
//   void* into = staging.landing(destination, &count);
//   ... read up to `count` bytes into `into` ...
//   staging.deliver(into, destination, got);
#pragma once

#include <cstddef>

#include "platform/io_buffer.h"

namespace platform {

class ReadStaging {
 public:
  // Where a read meant for `destination` goes: `destination` itself when it
  // is page-aligned; otherwise the staging page, with `*count` cut to the
  // bytes up to `destination`'s next page boundary. The page is had on
  // first use; when the memory cannot be had the read goes to
  // `destination`, slower but whole.
  void* landing(void* destination, std::size_t* count);
  // Copies the `got` bytes read into `into` to `destination` when `into`
  // was the staging page.
  void deliver(const void* into, void* destination, std::size_t got) const;

 private:
  IoBuffer page_;
};

}  // namespace platform
