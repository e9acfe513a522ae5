// Read access to files with the semantics of the Windows ANSI file calls.
//
// The file inputs were designed around CreateFileA / ReadFile / SetFilePointer /
// GetFileSize; this layer keeps exactly those semantics (32-bit halves, the
// ambiguous all-ones low word, the thread's last error) so the inputs behave
// the same on Windows and on Linux.
#pragma once

#include <cstddef>
#include <cstdint>

struct stat;

namespace platform {

// A Windows HANDLE or a POSIX descriptor, widened to one integer type.
using FileHandle = std::intptr_t;
constexpr FileHandle kInvalidFile = -1;  // INVALID_HANDLE_VALUE / no descriptor

constexpr std::uint32_t kInvalidSetFilePointer = 0xFFFFFFFFu;

enum class AccessHint { None, SequentialScan };

// Where a SetFilePointer distance counts from.
enum class MoveMethod { Begin, Current };

// CreateFileA(name, GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING,
// hint == SequentialScan ? FILE_FLAG_SEQUENTIAL_SCAN : 0, NULL).
// Folders cannot be opened this way, as on Windows.
FileHandle openExistingForRead(const char* name, AccessHint hint);

// ReadFile: false on failure; a success may deliver fewer bytes than asked.
bool readFile(FileHandle file, void* buffer, std::uint32_t count, std::uint32_t* got);

// Shown every readFile before the system is asked: the file, where the
// bytes are to land and how many. Tests put one in place to see where reads
// land against the file position (platform/read_staging.h); the program
// leaves it null, which costs one test per read.
using ReadWatch = void (*)(FileHandle file, const void* buffer, std::uint32_t count);
extern ReadWatch readWatch;

// GetFileSize(file, NULL): the low 32 bits of the size.
std::uint32_t getFileSizeLow(FileHandle file);

// GetFileSize(file, &high) joined to 64 bits; -1 on failure.
std::int64_t getFileSize(FileHandle file);

// SetFilePointer(file, low, high, FILE_BEGIN or FILE_CURRENT): returns the
// new pointer's low word and stores its high word in *high. On failure
// returns kInvalidSetFilePointer with a non-zero lastError(); a success whose
// low word happens to be all ones clears lastError().
std::uint32_t setFilePointer(FileHandle file, std::int32_t low, std::int32_t* high,
                             MoveMethod method = MoveMethod::Begin);

// GetLastError of the calling thread, as left by the calls in this file.
std::uint32_t lastError();

// setFilePointer with a 64-bit distance; the 64-bit pointer reached, or -1
// when the call failed.
inline std::int64_t moveFilePointer(FileHandle file, std::int64_t distance, MoveMethod method) {
  std::int32_t high = static_cast<std::int32_t>(distance >> 32);
  std::uint32_t low = setFilePointer(
      file, static_cast<std::int32_t>(static_cast<std::uint32_t>(distance)), &high, method);
  if (low == kInvalidSetFilePointer && lastError() != 0) return -1;
  return static_cast<std::int64_t>(
      (static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32) | low);
}

// The size from GetFileInformationByHandle (its high and low words); false
// when the query fails.
bool getFileInformationSize(FileHandle file, std::int64_t* size);

// The size of a file, or of a block device (whose status reports none);
// -1 when neither can be found.
std::int64_t getDeviceSize(FileHandle file);

// CreateFileA(name, GENERIC_WRITE, FILE_SHARE_WRITE, NULL,
// truncate ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL).
// Without truncation an existing file keeps its bytes and writing starts at
// offset 0, over them.
FileHandle openForWrite(const char* name, bool truncate);

// WriteFile: false on failure; *written holds the count reported.
bool writeFile(FileHandle file, const void* buffer, std::uint32_t count, std::uint32_t* written);

// FlushFileBuffers.
bool flushFile(FileHandle file);

// Asks the system to start writing the `length` bytes at `offset` out to the
// disk now, without waiting for them, so that a later flushFile finds little
// left to do. Only a hint: it may do nothing, and failures are ignored.
void startWriteBack(FileHandle file, std::int64_t offset, std::int64_t length);

// CloseHandle: false when the handle could not be closed.
bool closeFile(FileHandle file);

#ifndef _WIN32
// The system calls of the POSIX half that ordinary files never make fail.
// Tests put their own in place to act out a device that takes no bytes or a
// status query that fails, or to see every read that is asked for;
// everything else leaves them alone.
namespace posix {
using ReadCall = std::ptrdiff_t (*)(int descriptor, void* bytes, std::size_t count);
using WriteCall = std::ptrdiff_t (*)(int descriptor, const void* bytes, std::size_t count);
using StatusCall = int (*)(int descriptor, struct ::stat* status);
extern ReadCall readCall;
extern WriteCall writeCall;
extern StatusCall statusCall;

// Writes `count` bytes through writeCall, again after a signal or a short
// write; `written` gets the bytes taken. A descriptor that takes nothing
// ends the loop with a short count rather than being asked forever. False
// on any other error, errno telling it.
bool writeFully(int descriptor, const void* bytes, std::size_t count, std::size_t* written);
}  // namespace posix
#endif

}  // namespace platform
