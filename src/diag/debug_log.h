// The debug log: every component of the filter writes its diagnostic lines here,
// by category mask and level, and the assertion dialogs live here too.
//
// Which lines are written, and where to, comes from the registry under
// HKEY_LOCAL_MACHINE "SOFTWARE\DebugOrmelund": the key "GLOBAL" holds levels
// for every module, the key named after the module's file name holds the
// module's own levels and its destination "LogToFile". The level in force for
// a category is the larger of the two. Values that are missing (or of the
// wrong type) are written back with their defaults, so the first run leaves
// a complete tree to edit.
//
// A line is written while logging is on and the low eight bits of its mask
// are not all zero: at level 0 always, at level L when one of those eight
// categories has a level of at least L. CUSTOM4 and CUSTOM5 are bits 8 and 9,
// so they are read and kept like the others but never let a line through by
// themselves.
//
// Use FENNORIA_LOG(categories, level, format, ...) (or FENNORIA_LOG_TO with a
// log of its own): it tests the level first and neither formats nor even
// evaluates the arguments of a line that will not be written.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <string>

#include "platform/process.h"

#if defined(__MINGW32__)
#define FENNORIA_PRINTF_LIKE(format_index, first_arg) \
  __attribute__((format(gnu_printf, format_index, first_arg)))
#else
#define FENNORIA_PRINTF_LIKE(format_index, first_arg) \
  __attribute__((format(printf, format_index, first_arg)))
#endif

namespace diag {

// Category bits, in the order of the registry values.
enum : std::uint32_t {
  LOG_TIMING = 0x01,
  LOG_TRACE = 0x02,
  LOG_MEMORY = 0x04,
  LOG_LOCKING = 0x08,
  LOG_ERROR = 0x10,
  LOG_CUSTOM1 = 0x20,
  LOG_CUSTOM2 = 0x40,
  LOG_CUSTOM3 = 0x80,
  LOG_CUSTOM4 = 0x100,
  LOG_CUSTOM5 = 0x200,
};

constexpr int kCategoryCount = 10;
// "TIMING", "TRACE", ... "CUSTOM5": category i is bit 1 << i.
extern const char* const kCategoryNames[kCategoryCount];

constexpr const char* kRegistryRoot = "SOFTWARE\\DebugOrmelund";
constexpr const char* kGlobalKey = "GLOBAL";
constexpr const char* kConsoleTitle = "Ormelund Debug Output";
constexpr std::size_t kLogToFileSize = 260;  // bytes, terminating zero included

enum class Destination { None, Console, Debugger, File };

class DebugLog {
 public:
  // The module's name is taken from the module at initialise().
  DebugLog();
  // Uses `moduleName` instead: for a second log in one process (tests).
  explicit DebugLog(std::string moduleName);
  ~DebugLog();
  DebugLog(const DebugLog&) = delete;
  DebugLog& operator=(const DebugLog&) = delete;

  // Once per object: takes the module's name, breaks into the debugger when
  // the WIN.INI entry "BreakOnLoad" in the module's section is non-zero,
  // reads the module's and the global settings and starts the clock.
  void initialise(platform::ModuleHandle module);
  bool initialised() const { return initialised_; }

  // The two readings initialise() makes; each may be repeated to pick up
  // changed settings (a log file already open is closed first).
  void readModuleSettings();
  void readGlobalSettings();

  // The cheap test every line passes before it is formatted.
  bool wants(std::uint32_t categories, std::uint32_t level) const {
    if (!on_ || (categories & 0xFFu) == 0) return false;
    if (level == 0) return true;
    for (int i = 0; i < 8; ++i)
      if ((categories & (1u << i)) && levels_[i] >= level) return true;
    return false;
  }

  void log(std::uint32_t categories, std::uint32_t level, const char* format, ...)
      FENNORIA_PRINTF_LIKE(4, 5);
  void logv(std::uint32_t categories, std::uint32_t level, const char* format, va_list args);

  // The assertion dialog: Yes continues, No ends the process with
  // "Application terminated", Cancel breaks into the debugger.
  void assertion(const char* condition, int line, const char* file);
  // The same dialog for a hard-coded break point.
  void breakPoint(const char* text, int line, const char* file);
  // Logs the failure and breaks into the debugger without asking.
  void kernelAssertion(const char* condition, int line, const char* file);

  const std::string& moduleName() const { return moduleName_; }
  // Where lines go while logging is on; None while it is off (no
  // "LogToFile", or a log file that could not be opened).
  Destination destination() const { return destination_; }
  bool loggingOn() const { return on_; }
  const std::string& logToFile() const { return logToFile_; }
  // Levels of category index 0..9: in force, the module's, the global one.
  std::uint32_t level(int category) const { return levels_[category]; }
  std::uint32_t moduleLevel(int category) const { return moduleLevels_[category]; }
  std::uint32_t globalLevel(int category) const { return globalLevels_[category]; }
  // "TIMEOUT": the larger of the module's and the global value.
  std::uint32_t timeout() const {
    return moduleTimeout_ > globalTimeout_ ? moduleTimeout_ : globalTimeout_;
  }

 private:
  void readLevels(std::uintptr_t key, std::uint32_t* levels, std::uint32_t* timeout);
  void chooseDestination();
  void updateLevels();
  void showDialog(const char* text, int line, const char* file);
  void emit(const std::string& text);
  void closeFile();

  std::string moduleName_;
  bool nameGiven_ = false;
  bool initialised_ = false;
  std::mutex mutex_;
  bool on_ = false;
  Destination destination_ = Destination::None;
  platform::LogFile file_ = platform::kNoLogFile;
  std::string logToFile_;
  std::uint32_t levels_[kCategoryCount] = {};
  std::uint32_t moduleLevels_[kCategoryCount] = {};
  std::uint32_t globalLevels_[kCategoryCount] = {};
  std::uint32_t moduleTimeout_ = 0;
  std::uint32_t globalTimeout_ = 0;
  platform::MillisecondClock clock_ = nullptr;
  std::uint32_t startTime_ = 0;
};

// The process's log.
DebugLog& debugLog();

// Initialises the process's log; later calls do nothing.
void initialise(platform::ModuleHandle module);

}  // namespace diag

#define FENNORIA_LOG_TO(logObject, categories, level, ...)                \
  do {                                                                     \
    ::diag::DebugLog& fennoriaLog_ = (logObject);                          \
    if (fennoriaLog_.wants((categories), (level)))                         \
      fennoriaLog_.log((categories), (level), __VA_ARGS__);                \
  } while (0)

#define FENNORIA_LOG(categories, level, ...) \
  FENNORIA_LOG_TO(::diag::debugLog(), categories, level, __VA_ARGS__)

#define FENNORIA_ASSERT(condition)                                           \
  do {                                                                       \
    if (!(condition)) ::diag::debugLog().assertion(#condition, __LINE__, __FILE__); \
  } while (0)

#define FENNORIA_BREAK(text) ::diag::debugLog().breakPoint((text), __LINE__, __FILE__)

#define FENNORIA_KASSERT(condition)                                                \
  do {                                                                             \
    if (!(condition)) ::diag::debugLog().kernelAssertion(#condition, __LINE__, __FILE__); \
  } while (0)
