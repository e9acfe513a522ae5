// The ordered list of media files that the filter plays as one stream.
//
// A name handed to the filter is either a small text file naming media files
// one per line (5 to 1024 bytes), or a media file played by itself (anything
// larger). Lengths are taken once, when the list is loaded; every later
// position calculation uses these recorded lengths.
#pragma once

#include <cstdint>

class FileList {
 public:
  // Smallest and largest size of a file that is read as a list of names.
  static constexpr std::uint32_t kMinListSize = 5;
  static constexpr std::uint32_t kMaxListSize = 1024;

  FileList() = default;
  ~FileList();
  FileList(const FileList&) = delete;
  FileList& operator=(const FileList&) = delete;

  // Replaces the content with the list named by `name` (null leaves it
  // empty). Success shows in a non-zero `count`.
  void load(const char* name);
  void clear();

  // Read directly by the inputers and the filter. An entry of `names` may be
  // null if its copy could not be allocated.
  char** names = nullptr;
  std::int64_t* sizes = nullptr;
  std::int64_t totalLength = 0;
  std::int32_t count = 0;

  // The steps of `load`, exposed for tests and fuzzing. Buffers come from
  // malloc and are released with free.
  static char* readListText(const char* name);
  static std::int32_t countLines(const char* text);
  static char** splitLines(const char* text, std::int32_t count);
  static std::int64_t* getFileSizes(char* const* names, std::int32_t count);
};
