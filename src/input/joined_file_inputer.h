// The files of a loaded FileList read as one byte range.
//
// Two classes share this code and differ only in their message texts and in
// what `open` returns: MultipleFileInputer (used by the filter) and
// DvdInputer. Every failure is reported with a modal message whose caption
// names the class and the operation.
#pragma once

#include <cstddef>
#include <cstdint>

#include "input/file_list.h"
#include "platform/file.h"
#include "platform/read_staging.h"

class JoinedFileInputer {
 public:
  // The message texts and captions that tell the two classes apart.
  struct Texts {
    const char* openCaption;
    const char* openFailedText;  // may hold one %s, the file's name
    const char* openFailedCaption;
    const char* seekCaption;
    const char* readBlockCaption;
    const char* errorCaption;
    const char* seekFileAndPositionCaption;
  };

  // The largest single read issued to a file.
  static constexpr std::int64_t readChunk = 16384;

  // Where the array of handles comes from: malloc. A list of at most 1024
  // bytes names too few files to exhaust memory, so tests put a failing one
  // in place to see what `open` does when the system has none left.
  using HandleAllocator = void* (*)(std::size_t bytes);
  static HandleAllocator allocateHandles;

  JoinedFileInputer(const JoinedFileInputer&) = delete;
  JoinedFileInputer& operator=(const JoinedFileInputer&) = delete;

  // Closes every handle it opened and returns to the state of a new object.
  // Safe to call when already closed, and after the list was reloaded.
  void close();

  // Moves to `position` of the joined range. Returns 0 when already there,
  // else the offset reached inside the file that holds `position`, narrowed
  // to 32 bits and sign-extended (callers compare it with what they asked
  // for); -1 on failure.
  std::int64_t seek(std::int64_t position);

  // Reads `count` bytes from the current position, across file ends.
  // Returns the number of bytes placed in `buffer`, 0 on failure. A chunk
  // that the system would copy slowly into `buffer` (a sample 16 bytes past
  // a page, a file that follows one of odd length) comes through `staging_`.
  std::int64_t readBlock(void* buffer, std::int64_t count);

  // Moves to `position` within file `fileIndex`; returns the new file
  // pointer of that file, or -1.
  std::int64_t seekFileAndPosition(std::int32_t fileIndex, std::int64_t position);

  bool isOpen = false;
  std::int64_t totalLength = 0;
  std::int64_t position = 0;
  std::int32_t fileIndex = 0;
  FileList* list = nullptr;
  platform::FileHandle* handles = nullptr;
  // How many entries `handles` has: the list's count when it was opened. The
  // list can be reloaded in place while the inputer is open (the filter does
  // so when streaming starts), so its count says nothing about the array.
  std::int32_t handleCount = 0;
  std::int64_t filePosition = 0;
  std::int64_t fileLength = 0;
  platform::FileHandle currentHandle = platform::kInvalidFile;

 protected:
  explicit JoinedFileInputer(const Texts& texts) : texts_(texts) {}
  ~JoinedFileInputer();

  // Opens every file of `list` in order; false after a message.
  bool openFiles(FileList* fileList);

 private:
  // Recorded length of file `index`; a list without lengths counts as empty.
  std::int64_t sizeOf(std::int32_t index) const;
  void report(const char* text, const char* caption) const;

  const Texts& texts_;
  platform::ReadStaging staging_;
};
