#include "platform/file.h"

#include <windows.h>

namespace platform {

namespace {
HANDLE toHandle(FileHandle file) { return reinterpret_cast<HANDLE>(file); }
}  // namespace

FileHandle openExistingForRead(const char* name, AccessHint hint) {
  DWORD flags = hint == AccessHint::SequentialScan ? FILE_FLAG_SEQUENTIAL_SCAN : 0;
  HANDLE h = CreateFileA(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, flags,
                         nullptr);
  return h == INVALID_HANDLE_VALUE ? kInvalidFile : reinterpret_cast<FileHandle>(h);
}

bool readFile(FileHandle file, void* buffer, std::uint32_t count, std::uint32_t* got) {
  DWORD n = 0;
  BOOL ok = ReadFile(toHandle(file), buffer, count, &n, nullptr);
  *got = n;
  return ok != FALSE;
}

std::uint32_t getFileSizeLow(FileHandle file) { return GetFileSize(toHandle(file), nullptr); }

std::int64_t getFileSize(FileHandle file) {
  DWORD high = 0;
  DWORD low = GetFileSize(toHandle(file), &high);
  if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return -1;
  return static_cast<std::int64_t>((static_cast<std::uint64_t>(high) << 32) | low);
}

std::uint32_t setFilePointer(FileHandle file, std::int32_t low, std::int32_t* high) {
  LONG h = *high;
  DWORD result = SetFilePointer(toHandle(file), low, &h, FILE_BEGIN);
  *high = h;
  return result;
}

std::uint32_t lastError() { return GetLastError(); }

void closeFile(FileHandle file) {
  if (file != kInvalidFile) CloseHandle(toHandle(file));
}

}  // namespace platform
