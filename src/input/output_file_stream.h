// A write-only file, for the demultiplexed streams and their timing files.
#pragma once

#include <cstdint>

#include "platform/file.h"

class OutputFileStream {
 public:
  // With `truncate` false an existing file is kept: writing starts at its
  // offset 0, over the old bytes, and the rest of them stays.
  OutputFileStream(const char* name, bool truncate);
  ~OutputFileStream();
  OutputFileStream(const OutputFileStream&) = delete;
  OutputFileStream& operator=(const OutputFileStream&) = delete;

  // The count written; 0 with no file.
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

 private:
  platform::FileHandle handle_;
};
