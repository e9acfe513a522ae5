#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "platform/file.h"
#include "platform/process.h"

namespace platform {

namespace {
std::uint32_t monotonicMilliseconds() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  std::uint64_t ms = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                     static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<std::uint32_t>(ms);  // wraps like timeGetTime
}

bool writeAll(int fd, const char* text, std::size_t length) {
  std::size_t written = 0;
  return posix::writeFully(fd, text, length, &written) && written == length;
}
}  // namespace

std::string moduleFileName(ModuleHandle module) {
  if (module) {
    Dl_info info;
    if (dladdr(module, &info) && info.dli_fname) return info.dli_fname;
  }
  char path[4096];
  ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return std::string();
  return std::string(path, static_cast<std::size_t>(n));
}

std::uint32_t currentThreadId() { return static_cast<std::uint32_t>(::syscall(SYS_gettid)); }

LocalTime localTime() {
  std::time_t now = std::time(nullptr);
  struct tm parts;
  localtime_r(&now, &parts);
  LocalTime t;
  t.year = parts.tm_year + 1900;
  t.month = parts.tm_mon + 1;
  t.day = parts.tm_mday;
  t.hour = parts.tm_hour;
  t.minute = parts.tm_min;
  t.second = parts.tm_sec;
  return t;
}

MillisecondClock loadMillisecondClock() { return &monotonicMilliseconds; }

bool allocateConsole(const char* title) {
  (void)title;
  return false;
}

void writeConsole(const char* text, std::size_t length) { writeAll(1, text, length); }

LogFile openLogFile(const char* name) {
  if (!name) return kNoLogFile;
  int fd = ::open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  return fd < 0 ? kNoLogFile : fd;
}

bool writeLogFile(LogFile file, const char* text, std::size_t length) {
  return file != kNoLogFile && writeAll(static_cast<int>(file), text, length);
}

void closeLogFile(LogFile file) {
  if (file != kNoLogFile) ::close(static_cast<int>(file));
}

std::string systemErrorText(long code) { return std::strerror(static_cast<int>(code)); }

}  // namespace platform
