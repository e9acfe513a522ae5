// Read access to files with the semantics of the Windows ANSI file calls.
//
// The file inputs were designed around CreateFileA / ReadFile / SetFilePointer /
// GetFileSize; this layer keeps exactly those semantics (32-bit halves, the
// ambiguous all-ones low word, the thread's last error) so the inputs behave
// the same on Windows and on Linux.
#pragma once

#include <cstdint>

namespace platform {

// A Windows HANDLE or a POSIX descriptor, widened to one integer type.
using FileHandle = std::intptr_t;
constexpr FileHandle kInvalidFile = -1;  // INVALID_HANDLE_VALUE / no descriptor

constexpr std::uint32_t kInvalidSetFilePointer = 0xFFFFFFFFu;

enum class AccessHint { None, SequentialScan };

// CreateFileA(name, GENERIC_READ, FILE_SHARE_READ, NULL, OPEN_EXISTING,
// hint == SequentialScan ? FILE_FLAG_SEQUENTIAL_SCAN : 0, NULL).
// Folders cannot be opened this way, as on Windows.
FileHandle openExistingForRead(const char* name, AccessHint hint);

// ReadFile: false on failure; a success may deliver fewer bytes than asked.
bool readFile(FileHandle file, void* buffer, std::uint32_t count, std::uint32_t* got);

// GetFileSize(file, NULL): the low 32 bits of the size.
std::uint32_t getFileSizeLow(FileHandle file);

// GetFileSize(file, &high) joined to 64 bits; -1 on failure.
std::int64_t getFileSize(FileHandle file);

// SetFilePointer(file, low, high, FILE_BEGIN): returns the new pointer's low
// word and stores its high word in *high. On failure returns
// kInvalidSetFilePointer with a non-zero lastError(); a success whose low
// word happens to be all ones clears lastError().
std::uint32_t setFilePointer(FileHandle file, std::int32_t low, std::int32_t* high);

// GetLastError of the calling thread, as left by the calls above.
std::uint32_t lastError();

void closeFile(FileHandle file);

}  // namespace platform
