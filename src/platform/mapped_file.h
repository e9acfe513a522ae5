// A whole file seen as memory, for reading it front to back without copying
// it out of the system's cache.
//
// A mapped file can shrink, or its disk fail, while it is being read; a
// plain read then returns short, but touching a mapped page that no longer
// has data raises SIGBUS. While a mapping lives, a SIGBUS handler of its own
// answers that: the faulting page and everything after it become zeros, the
// offset of the first missing byte is kept, and the read goes on, so the
// caller only has to ask `missingFrom` after each piece it has used and fail
// cleanly. One mapping at a time in the process; where mapping is not
// available (Windows, a second mapping, a file the system will not map)
// `open` gives none and the caller reads the file instead.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace platform {

class MappedFile {
 public:
  // The whole of the regular file `name`, read-only, or none.
  static std::unique_ptr<MappedFile> open(const std::string& name);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  const std::uint8_t* bytes() const { return bytes_; }
  std::int64_t size() const { return size_; }
  // The offset of the first byte the system could not deliver, or -1 while
  // every byte touched so far was there.
  std::int64_t missingFrom() const;
  // The bytes before `offset` will not be needed again: their pages leave
  // the process (the system keeps them cached), so reading a file of any
  // size holds only the pages of the piece at hand. They still read the
  // same if touched again.
  void doneBefore(std::int64_t offset);

 private:
  MappedFile(const std::uint8_t* bytes, std::int64_t size) : bytes_(bytes), size_(size) {}

  const std::uint8_t* bytes_;
  std::int64_t size_;
  std::int64_t released_ = 0;  // the pages before it have left the process
  bool guarded_ = false;  // the SIGBUS handler is ours while it lives
};

}  // namespace platform
