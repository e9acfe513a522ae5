// A write-only file, for the demultiplexed streams and their timing files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/file.h"

class OutputFileStream {
 public:
  // With `truncate` false an existing file is kept: writing starts at its
  // offset 0, over the old bytes, and the rest of them stays.
  //
  // By default every write goes to the file at once. With a nonzero
  // `bufferSize` the writes are collected and handed to the file in blocks
  // of that size, and at flush and close; positions, lengths and the file's
  // final bytes are the same either way. A program that writes many small
  // pieces (one per packet) uses the buffer to save a system call per piece.
  OutputFileStream(const char* name, bool truncate, std::size_t bufferSize = 0);
  ~OutputFileStream();
  OutputFileStream(const OutputFileStream&) = delete;
  OutputFileStream& operator=(const OutputFileStream&) = delete;

  // The count written (or, with a buffer, taken); 0 with no file.
  std::uint32_t write(const void* buffer, std::uint32_t count);
  // The current position; 1 with no file.
  std::int64_t tell();
  // The file's size; 0 with no file, -1 when it cannot be queried.
  std::int64_t getLength();
  // True with no file, else whether the position is at or past the size.
  bool isEnd();
  // Nonzero on success; 1 with no file.
  int flush();
  // Always 1.
  int close();

  bool isOpen() const { return handle_ != platform::kInvalidFile; }
  // Whether the file took fewer bytes than it was given at some write (a
  // full disk, a device that refuses data). Kept after close.
  bool writeFailed() const { return writeFailed_; }

 private:
  void writeThrough(const void* buffer, std::uint32_t count, std::uint32_t* written);
  // Hands the collected bytes to the file.
  void drain();

  platform::FileHandle handle_;
  bool writeFailed_ = false;
  // The buffer, when there is one, and the file position after its bytes
  // (tracked here, since the file's own pointer lags by `pending_`).
  std::unique_ptr<std::uint8_t[]> buffer_;
  std::size_t capacity_ = 0;
  std::size_t pending_ = 0;
  std::int64_t position_ = 0;
};
