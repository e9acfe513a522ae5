// Reads that the system would copy slowly: those whose destination lies
// just past the file position's place within a page (less than a cache line
// from it, either way). On the processor measured here the system's copy
// into such memory runs at a quarter of its speed or less, because its
// stores then share their places within a page with its loads (4 KiB
// aliasing); the general-purpose heap's 16-byte block header puts a buffer
// read from the start of a file just there. Page-aligned buffers
// (platform/io_buffer.h) read at page-aligned positions never are; the list
// inputer after a file of odd length, the joined VOB files after a cell or
// file that ends in mid-page, and a sample from another filter's allocator
// may be. Such a read lands in this object's own buffer, half a page from
// both the file position and the destination, and is copied into place
// (the copy also at full speed, half a page away).
//
//   void* into = staging.landing(destination, position, &count);
//   ... read up to `count` bytes at `position` into `into` ...
//   staging.deliver(into, destination, got);
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/io_buffer.h"

namespace platform {

// Whether the system copies bytes at file position `position` into
// `destination` at full speed: their places within a page are the same, or
// at least a cache line apart.
bool copiesAtFullSpeed(const void* destination, std::int64_t position);

class ReadStaging {
 public:
  // The most a staged read takes.
  static constexpr std::size_t kStagedBytes = 65536;

  // Where a read of up to `*count` bytes at file position `position` meant
  // for `destination` goes: `destination` itself when the system copies
  // there at full speed; otherwise this object's buffer, with `*count` cut
  // to kStagedBytes. The buffer is had on first use; when the memory cannot
  // be had the read goes to `destination`, slower but whole.
  void* landing(void* destination, std::int64_t position, std::size_t* count);
  // Copies the `got` bytes read into `into` to `destination` when `into`
  // was this object's buffer.
  void deliver(const void* into, void* destination, std::size_t got) const;

  // How many reads of this process were staged: tests see that the tool's
  // own buffers, read at page-aligned positions, never need it.
  static std::uint64_t stagedReads();

 private:
  IoBuffer buffer_;
};

}  // namespace platform
