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

ReadWatch readWatch = nullptr;

bool readFile(FileHandle file, void* buffer, std::uint32_t count, std::uint32_t* got) {
  if (readWatch) readWatch(file, buffer, count);
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

std::uint32_t setFilePointer(FileHandle file, std::int32_t low, std::int32_t* high,
                             MoveMethod method) {
  LONG h = *high;
  DWORD result = SetFilePointer(toHandle(file), low, &h,
                                method == MoveMethod::Begin ? FILE_BEGIN : FILE_CURRENT);
  *high = h;
  return result;
}

std::uint32_t lastError() { return GetLastError(); }

bool getFileInformationSize(FileHandle file, std::int64_t* size) {
  BY_HANDLE_FILE_INFORMATION info;
  if (!GetFileInformationByHandle(toHandle(file), &info)) return false;
  *size = static_cast<std::int64_t>((static_cast<std::uint64_t>(info.nFileSizeHigh) << 32) |
                                    info.nFileSizeLow);
  return true;
}

// Drives are read as files of their own only on Linux; here an image is a
// plain file.
std::int64_t getDeviceSize(FileHandle file) { return getFileSize(file); }

FileHandle openForWrite(const char* name, bool truncate) {
  HANDLE h = CreateFileA(name, GENERIC_WRITE, FILE_SHARE_WRITE, nullptr,
                         truncate ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  return h == INVALID_HANDLE_VALUE ? kInvalidFile : reinterpret_cast<FileHandle>(h);
}

bool writeFile(FileHandle file, const void* buffer, std::uint32_t count, std::uint32_t* written) {
  DWORD n = 0;
  BOOL ok = WriteFile(toHandle(file), buffer, count, &n, nullptr);
  *written = n;
  return ok != FALSE;
}

bool flushFile(FileHandle file) { return FlushFileBuffers(toHandle(file)) != FALSE; }

// Windows' cache manager writes dirty pages out on its own schedule, and
// offers no call to start it on a range; the hint is not needed there.
void startWriteBack(FileHandle, std::int64_t, std::int64_t) {}

bool closeFile(FileHandle file) {
  return file != kInvalidFile && CloseHandle(toHandle(file)) != FALSE;
}

}  // namespace platform
