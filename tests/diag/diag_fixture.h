// Shared pieces of the debug log tests: a private registry, recorded breaks
// and assertion questions, the program's own file name and thread id, and
// the lines of a log.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#endif

#include "diag/debug_log.h"
#include "platform/debugger.h"
#include "support/output_capture.h"
#include "support/registry_sandbox.h"

namespace testing_support {

// Counts breaks into the debugger instead of breaking.
class BreakRecorder {
 public:
  BreakRecorder();
  ~BreakRecorder();
  int count() const { return count_; }

 private:
  int count_ = 0;
  platform::BreakHook previous_;
};

struct Question {
  std::string text;
  std::string caption;
};

// Answers every assertion question with `answer` and records it.
class AssertAnswerer {
 public:
  explicit AssertAnswerer(platform::AssertAnswer answer);
  ~AssertAnswerer();
  const std::vector<Question>& questions() const { return questions_; }

 private:
  std::vector<Question> questions_;
  platform::AssertHook previous_;
};

// The name part of this test program's path, found independently of the log.
std::string programFileName();
std::uint32_t testThreadId();

// The text split at each "\r\n" (the pieces without it; a last piece without
// a line end is kept too).
std::vector<std::string> splitCrLf(const std::string& text);

std::string moduleKeyOf(const std::string& module);

// The parts of one log line "<module>(tid <hex>) <8 places> :<message>".
struct LogLine {
  std::string threadId;      // the hexadecimal digits
  std::string milliseconds;  // the eight places, blanks included
  std::string message;
};
bool parseLogLine(const std::string& line, const std::string& module, LogLine* parts);
// True when `line` is a well-formed line of `module` carrying `message`.
bool isLogLine(const std::string& line, const std::string& module, const std::string& message);

// True when `text` starts with the log file's header of `module` (date
// MM/DD/YY, time HH:MM:SS); `rest` receives what follows it.
bool startsWithHeader(const std::string& text, const std::string& module, std::string* rest);
#ifdef _WIN32
// The log probe (tests/diag/log_probe.cpp), a program of its own.
std::string logProbePath();

struct ProbeRun {
  DWORD exitCode = 0;
  DWORD threadId = 0;  // of its main thread, the one that logs
};
// Runs `program` with `arguments` (each quoted), detached from this
// program's console, and waits at most a minute for it. False when it could
// not be run to its end.
bool runProbe(const std::string& program, const std::vector<std::string>& arguments,
              ProbeRun* run);

// While it lives, Wine loads no winmm.dll into programs of the file name
// `program` (a DLL override of that program in the registry).
class WinmmDisabled {
 public:
  explicit WinmmDisabled(const std::string& program);
  ~WinmmDisabled();
  WinmmDisabled(const WinmmDisabled&) = delete;
  WinmmDisabled& operator=(const WinmmDisabled&) = delete;
  bool set() const { return set_; }

 private:
  std::string key_;
  bool set_ = false;
};
#endif

constexpr const char* kGlobalKeyPath = "SOFTWARE\\DebugOrmelund\\GLOBAL";

class DebugLogTest : public ::testing::Test {
 protected:
  std::string moduleKey() const { return moduleKeyOf(module); }
  void setModuleLevel(const char* category, std::uint32_t level) {
    sandbox.setDword(platform::Hive::LocalMachine, moduleKey(), category, level);
  }
  void setGlobalLevel(const char* category, std::uint32_t level) {
    sandbox.setDword(platform::Hive::LocalMachine, kGlobalKeyPath, category, level);
  }
  void setLogToFile(const std::string& destination) {
    sandbox.setString(platform::Hive::LocalMachine, moduleKey(), "LogToFile", destination);
  }

  RegistrySandbox sandbox;
  BreakRecorder breaks;
  std::string module = programFileName();
};

}  // namespace testing_support
