#include "diag/debug_log.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/debugger.h"
#include "platform/profile.h"
#include "platform/registry.h"

namespace diag {

const char* const kCategoryNames[kCategoryCount] = {
    "TIMING", "TRACE", "MEMORY", "LOCKING", "ERROR",
    "CUSTOM1", "CUSTOM2", "CUSTOM3", "CUSTOM4", "CUSTOM5",
};

namespace {

std::string format(const char* pattern, va_list args) {
  va_list copy;
  va_copy(copy, args);
  char small[512];
  int n = std::vsnprintf(small, sizeof small, pattern, copy);
  va_end(copy);
  if (n < 0) return std::string();
  if (static_cast<std::size_t>(n) < sizeof small) return std::string(small, static_cast<std::size_t>(n));
  std::vector<char> big(static_cast<std::size_t>(n) + 1);
  std::vsnprintf(big.data(), big.size(), pattern, args);
  return std::string(big.data(), static_cast<std::size_t>(n));
}

std::string print(const char* pattern, ...) FENNORIA_PRINTF_LIKE(1, 2);
std::string print(const char* pattern, ...) {
  va_list args;
  va_start(args, pattern);
  std::string text = format(pattern, args);
  va_end(args);
  return text;
}

bool equalsNoCase(const std::string& a, const char* b) {
  std::size_t n = std::strlen(b);
  if (a.size() != n) return false;
  for (std::size_t i = 0; i < n; ++i) {
    char x = a[i];
    char y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

std::string subkeyPath(const std::string& name) {
  return print("%s\\%s", kRegistryRoot, name.c_str());
}

void writeDword(platform::RegKey key, const char* name, std::uint32_t value) {
  platform::regSetValue(key, name, platform::kRegDword, &value, sizeof value);
}

// A DWORD value, written back as 0 when it cannot be read or is not a DWORD.
// A DWORD stored with fewer than four bytes reads zero-extended.
std::uint32_t readDword(platform::RegKey key, const char* name) {
  std::uint32_t value = 0;
  std::uint32_t type = 0;
  std::uint32_t size = sizeof value;
  long result = platform::regQueryValue(key, name, &type, &value, &size);
  if (result != platform::kRegOk || type != platform::kRegDword) {
    writeDword(key, name, 0);
    return 0;
  }
  return value;
}

}  // namespace

DebugLog::DebugLog() = default;

DebugLog::DebugLog(std::string moduleName) : moduleName_(std::move(moduleName)), nameGiven_(true) {}

DebugLog::~DebugLog() { closeFile(); }

void DebugLog::initialise(platform::ModuleHandle module) {
  if (initialised_) return;
  initialised_ = true;
  if (!nameGiven_) moduleName_ = platform::fileNamePart(platform::moduleFileName(module));
  if (platform::winIniInt(moduleName_.c_str(), "BreakOnLoad", 0) != 0) platform::breakIntoDebugger();
  clock_ = platform::loadMillisecondClock();
  readModuleSettings();
  readGlobalSettings();
  if (clock_) startTime_ = clock_();
}

void DebugLog::readLevels(std::uintptr_t key, std::uint32_t* levels, std::uint32_t* timeout) {
  for (int i = 0; i < kCategoryCount; ++i) levels[i] = readDword(key, kCategoryNames[i]);
  *timeout = readDword(key, "TIMEOUT");
}

void DebugLog::readModuleSettings() {
  std::uint32_t levels[kCategoryCount] = {};
  std::uint32_t timeout = 0;
  std::string destination;
  platform::RegKey key = platform::kNoKey;
  std::string path = subkeyPath(moduleName_);
  if (platform::regCreateKey(platform::Hive::LocalMachine, path.c_str(), &key) == platform::kRegOk) {
    readLevels(key, levels, &timeout);
    char text[kLogToFileSize] = {};
    std::uint32_t type = 0;
    std::uint32_t size = sizeof text;
    long result = platform::regQueryValue(key, "LogToFile", &type, text, &size);
    if (result == platform::kRegOk && type == platform::kRegSz) {
      // A stored text need not carry its terminating zero.
      destination.assign(text, strnlen(text, size < sizeof text ? size : sizeof text));
    } else if (result == platform::kRegMoreData && type == platform::kRegSz) {
      // Longer than any path we can open: no logging, and the user's value
      // stays as it is.
    } else {
      platform::regSetValue(key, "LogToFile", platform::kRegSz, "", 1);
    }
    platform::regCloseKey(key);
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    std::memcpy(moduleLevels_, levels, sizeof levels);
    moduleTimeout_ = timeout;
    logToFile_ = destination;
    updateLevels();
  }
  chooseDestination();
}

void DebugLog::readGlobalSettings() {
  std::uint32_t levels[kCategoryCount] = {};
  std::uint32_t timeout = 0;
  platform::RegKey key = platform::kNoKey;
  std::string path = subkeyPath(kGlobalKey);
  if (platform::regCreateKey(platform::Hive::LocalMachine, path.c_str(), &key) == platform::kRegOk) {
    readLevels(key, levels, &timeout);
    platform::regCloseKey(key);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  std::memcpy(globalLevels_, levels, sizeof levels);
  globalTimeout_ = timeout;
  updateLevels();
}

void DebugLog::updateLevels() {
  for (int i = 0; i < kCategoryCount; ++i)
    levels_[i] = moduleLevels_[i] > globalLevels_[i] ? moduleLevels_[i] : globalLevels_[i];
}

void DebugLog::closeFile() {
  if (file_ != platform::kNoLogFile) platform::closeLogFile(file_);
  file_ = platform::kNoLogFile;
}

void DebugLog::chooseDestination() {
  std::lock_guard<std::mutex> lock(mutex_);
  closeFile();
  on_ = false;
  destination_ = Destination::None;
  if (logToFile_.empty()) {
    platform::debuggerOutput((moduleName_ + " - no logging\r\n\r\n").c_str());
    return;
  }
  if (equalsNoCase(logToFile_, "Console")) {
    platform::allocateConsole(kConsoleTitle);
    destination_ = Destination::Console;
    on_ = true;
    return;
  }
  if (equalsNoCase(logToFile_, "Debug") || equalsNoCase(logToFile_, "Debugger") ||
      equalsNoCase(logToFile_, "Deb")) {
    destination_ = Destination::Debugger;
    on_ = true;
    return;
  }
  file_ = platform::openLogFile(logToFile_.c_str());
  if (file_ == platform::kNoLogFile) {
    // Logging stays off, so no destination is in force: the note is all
    // that is written.
    platform::debuggerOutput((moduleName_ + " - Could not open Logfile\r\n\r\n").c_str());
    return;
  }
  destination_ = Destination::File;
  platform::LocalTime now = platform::localTime();
  std::string date = print("%02d/%02d/%02d", now.month, now.day, now.year % 100);
  std::string time = print("%02d:%02d:%02d", now.hour, now.minute, now.second);
  std::string header = print("\r\n\r\n%s =====DbgInitialize()===== %s - %s   %s",
                             moduleName_.c_str(), date.c_str(), time.c_str(), "");
  header += "\r\n\r\n";
  platform::writeLogFile(file_, header.data(), header.size());
  on_ = true;
}

void DebugLog::log(std::uint32_t categories, std::uint32_t level, const char* pattern, ...) {
  if (!wants(categories, level)) return;
  va_list args;
  va_start(args, pattern);
  logv(categories, level, pattern, args);
  va_end(args);
}

void DebugLog::logv(std::uint32_t categories, std::uint32_t level, const char* pattern,
                    va_list args) {
  if (!wants(categories, level) || !pattern) return;
  std::string line = moduleName_;
  if (clock_) {
    std::uint32_t elapsed = clock_() - startTime_;
    line += print("(tid %x) %8d :", platform::currentThreadId(), static_cast<int>(elapsed));
  } else {
    line += print("(tid %x) :", platform::currentThreadId());
  }
  line += format(pattern, args);
  line += "\r\n";
  emit(line);
}

void DebugLog::emit(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  switch (destination_) {
    case Destination::Console:
      platform::writeConsole(text.data(), text.size());
      break;
    case Destination::Debugger:
      platform::debuggerOutput(text.c_str());
      break;
    case Destination::File:
      platform::writeLogFile(file_, text.data(), text.size());
      break;
    case Destination::None:
      break;
  }
}

void DebugLog::showDialog(const char* text, int line, const char* file) {
  std::string message = print("%s \nAt line %d of %s\nContinue? (Cancel to debug)",
                              text ? text : "", line, file ? file : "");
  switch (platform::askAssertion(message.c_str(), "ASSERT Failed")) {
    case platform::AssertAnswer::No:
      platform::terminateProcess("Application terminated");
    case platform::AssertAnswer::Cancel:
      platform::breakIntoDebugger();
      break;
    case platform::AssertAnswer::Yes:
    case platform::AssertAnswer::None:
      break;
  }
}

void DebugLog::assertion(const char* condition, int line, const char* file) {
  showDialog(condition, line, file);
}

void DebugLog::breakPoint(const char* text, int line, const char* file) {
  (void)text;  // the dialog names the break point, not the caller's text
  showDialog("Hard coded break point", line, file);
}

void DebugLog::kernelAssertion(const char* condition, int line, const char* file) {
  log(LOG_ERROR, 0, "Assertion FAILED (%s) at line %d in file %s", condition ? condition : "", line,
      file ? file : "");
  platform::breakIntoDebugger();
}

DebugLog& debugLog() {
  // Never destroyed, so that code running during the process's shutdown can
  // still log; the system closes the log file.
  static DebugLog* log = new DebugLog;
  return *log;
}

void initialise(platform::ModuleHandle module) {
  static std::once_flag once;
  std::call_once(once, [module] { debugLog().initialise(module); });
}

}  // namespace diag
