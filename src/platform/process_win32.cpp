#include <windows.h>

#include "platform/process.h"

namespace platform {

std::string moduleFileName(ModuleHandle module) {
  char path[MAX_PATH + 1] = {};
  DWORD n = GetModuleFileNameA(static_cast<HMODULE>(module), path, MAX_PATH);
  return std::string(path, n < MAX_PATH ? n : MAX_PATH);
}

std::uint32_t currentThreadId() { return GetCurrentThreadId(); }

LocalTime localTime() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  LocalTime t;
  t.year = now.wYear;
  t.month = now.wMonth;
  t.day = now.wDay;
  t.hour = now.wHour;
  t.minute = now.wMinute;
  t.second = now.wSecond;
  return t;
}

MillisecondClock loadMillisecondClock() {
  HMODULE winmm = LoadLibraryA("winmm.dll");
  if (!winmm) return nullptr;
  return reinterpret_cast<MillisecondClock>(
      reinterpret_cast<void*>(GetProcAddress(winmm, "timeGetTime")));
}

bool allocateConsole(const char* title) {
  BOOL allocated = AllocConsole();
  SetConsoleTitleA(title);
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (out != INVALID_HANDLE_VALUE && GetConsoleScreenBufferInfo(out, &info)) {
    // Room for long lines and a long history.
    COORD size = info.dwSize;
    if (size.X < 160) size.X = 160;
    if (size.Y < 5000) size.Y = 5000;
    SetConsoleScreenBufferSize(out, size);
  }
  return allocated != FALSE;
}

void writeConsole(const char* text, std::size_t length) {
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD written = 0;
  if (out != INVALID_HANDLE_VALUE && out != nullptr)
    WriteFile(out, text, static_cast<DWORD>(length), &written, nullptr);
}

LogFile openLogFile(const char* name) {
  HANDLE h = CreateFileA(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return kNoLogFile;
  SetFilePointer(h, 0, nullptr, FILE_END);
  return reinterpret_cast<LogFile>(h);
}

bool writeLogFile(LogFile file, const char* text, std::size_t length) {
  DWORD written = 0;
  return file != kNoLogFile &&
         WriteFile(reinterpret_cast<HANDLE>(file), text, static_cast<DWORD>(length), &written,
                   nullptr) != FALSE &&
         written == length;
}

void closeLogFile(LogFile file) {
  if (file != kNoLogFile) CloseHandle(reinterpret_cast<HANDLE>(file));
}

std::string systemErrorText(long code) {
  char* text = nullptr;
  DWORD n = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                               FORMAT_MESSAGE_IGNORE_INSERTS,
                           nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<char*>(&text), 0,
                           nullptr);
  std::string result = (n && text) ? std::string(text, n) : std::string();
  if (text) LocalFree(text);
  return result;
}

}  // namespace platform
