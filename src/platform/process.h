// Process services the debug log needs: the module's file name, the thread
// id, the local time, a millisecond clock, the console and an appending log
// file, and the system's text for an error code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform {

// An HINSTANCE on Windows. On Linux any address inside the module (null: the
// main program).
using ModuleHandle = void*;

// GetModuleFileNameA: the module's full path.
std::string moduleFileName(ModuleHandle module);

// The name part of a path (after the last '\' or '/').
std::string fileNamePart(const std::string& path);

std::uint32_t currentThreadId();

struct LocalTime {
  int year = 0;  // four digits
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};
LocalTime localTime();

// timeGetTime from winmm.dll, looked up at run time; null when it cannot be
// found. On Linux a monotonic millisecond clock.
using MillisecondClock = std::uint32_t (*)();
MillisecondClock loadMillisecondClock();

// Allocates a console titled `title` with an enlarged screen buffer
// (Windows; false when the process already has one). On Linux the standard
// output is the console already, and this does nothing.
bool allocateConsole(const char* title);
// Writes to the standard output as it is at the time of the call.
void writeConsole(const char* text, std::size_t length);

// An open log file: a HANDLE on Windows, a descriptor on Linux.
using LogFile = std::intptr_t;
constexpr LogFile kNoLogFile = -1;

// CreateFileA(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL,
// OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL), then to the end of the file.
LogFile openLogFile(const char* name);
bool writeLogFile(LogFile file, const char* text, std::size_t length);
void closeLogFile(LogFile file);

// FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, ...) for `code`.
std::string systemErrorText(long code);

}  // namespace platform
