// The bytes of a disc image, read at any offset: a file or block device on
// disk, or a buffer in memory (the fuzz target and tests).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/read_staging.h"

class ImageBytes {
 public:
  ImageBytes() = default;
  ImageBytes(const ImageBytes&) = delete;
  ImageBytes& operator=(const ImageBytes&) = delete;
  virtual ~ImageBytes() = default;

  // The image's length in bytes.
  virtual std::int64_t size() const = 0;
  // Reads up to `count` bytes at `offset`; the number read, short only at
  // the end of the image or on a read error.
  virtual std::size_t readAt(std::int64_t offset, void* buffer, std::size_t count) = 0;
};

// An image file or a block device, opened for shared reading.
class FileImageBytes : public ImageBytes {
 public:
  // Check isOpen() before use.
  explicit FileImageBytes(const std::string& name);
  ~FileImageBytes() override;

  bool isOpen() const { return handle_ != platform::kInvalidFile; }
  std::int64_t size() const override { return size_; }
  // A read that the system would copy slowly into `buffer` comes through
  // `staging_`.
  std::size_t readAt(std::int64_t offset, void* buffer, std::size_t count) override;

 private:
  platform::FileHandle handle_;
  std::int64_t size_ = 0;
  // Where the handle stands, so that reading on where the last read ended
  // (the usual case: a VOB file read from start to end) needs no seek.
  std::int64_t position_ = -1;
  platform::ReadStaging staging_;
};

class MemoryImageBytes : public ImageBytes {
 public:
  explicit MemoryImageBytes(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
  std::int64_t size() const override { return static_cast<std::int64_t>(bytes_.size()); }
  std::size_t readAt(std::int64_t offset, void* buffer, std::size_t count) override;

 private:
  std::vector<std::uint8_t> bytes_;
};
