#include "diag/diag_fixture.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace testing_support {

BreakRecorder::BreakRecorder() {
  previous_ = platform::setBreakHook([this] { ++count_; });
}

BreakRecorder::~BreakRecorder() { platform::setBreakHook(previous_); }

AssertAnswerer::AssertAnswerer(platform::AssertAnswer answer) {
  previous_ = platform::setAssertHook([this, answer](const std::string& text, const std::string& caption) {
    questions_.push_back({text, caption});
    return answer;
  });
}

AssertAnswerer::~AssertAnswerer() { platform::setAssertHook(previous_); }

std::string programFileName() {
#ifdef _WIN32
  char path[MAX_PATH + 1] = {};
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string full(path);
  return full.substr(full.find_last_of('\\') + 1);
#else
  char path[4096] = {};
  ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  std::string full(path, n > 0 ? static_cast<std::size_t>(n) : 0);
  return full.substr(full.find_last_of('/') + 1);
#endif
}

std::uint32_t testThreadId() {
#ifdef _WIN32
  return GetCurrentThreadId();
#else
  return static_cast<std::uint32_t>(syscall(SYS_gettid));
#endif
}

std::vector<std::string> splitCrLf(const std::string& text) {
  std::vector<std::string> pieces;
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t end = text.find("\r\n", pos);
    if (end == std::string::npos) {
      pieces.push_back(text.substr(pos));
      break;
    }
    pieces.push_back(text.substr(pos, end - pos));
    pos = end + 2;
  }
  return pieces;
}

std::string moduleKeyOf(const std::string& module) {
  return "SOFTWARE\\DebugOrmelund\\" + module;
}

#ifdef _WIN32
std::string logProbePath() { return FENNORIA_LOG_PROBE; }

bool runProbe(const std::string& program, const std::vector<std::string>& arguments,
              ProbeRun* run) {
  std::string command = "\"" + program + "\"";
  for (const std::string& argument : arguments) command += " \"" + argument + "\"";
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessA(nullptr, &command[0], nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                      nullptr, &startup, &process))
    return false;
  bool ended = WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0;
  if (!ended) TerminateProcess(process.hProcess, 1);
  GetExitCodeProcess(process.hProcess, &run->exitCode);
  run->threadId = process.dwThreadId;
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return ended;
}

// Wine reads a program's own DLL overrides from this key as the program
// starts; an empty load order disables the DLL.
WinmmDisabled::WinmmDisabled(const std::string& program)
    : key_("Software\\Wine\\AppDefaults\\" + program) {
  HKEY key = nullptr;
  if (RegCreateKeyExA(HKEY_CURRENT_USER, (key_ + "\\DllOverrides").c_str(), 0, nullptr, 0,
                      KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
    return;
  set_ = RegSetValueExA(key, "winmm", 0, REG_SZ, reinterpret_cast<const BYTE*>(""), 1) ==
         ERROR_SUCCESS;
  RegCloseKey(key);
}

WinmmDisabled::~WinmmDisabled() { RegDeleteTreeA(HKEY_CURRENT_USER, key_.c_str()); }
#endif

namespace {
bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// `text` at `at` follows `pattern`, where '9' stands for any digit.
bool matchesDigits(const std::string& text, std::size_t at, const std::string& pattern) {
  if (text.size() < at + pattern.size()) return false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    char want = pattern[i];
    char got = text[at + i];
    if (want == '9' ? !isDigit(got) : got != want) return false;
  }
  return true;
}
}  // namespace

bool parseLogLine(const std::string& line, const std::string& module, LogLine* parts) {
  std::string lead = module + "(tid ";
  if (line.compare(0, lead.size(), lead) != 0) return false;
  std::size_t at = lead.size();
  std::size_t hexEnd = at;
  while (hexEnd < line.size() && isHexDigit(line[hexEnd])) ++hexEnd;
  if (hexEnd == at || line.compare(hexEnd, 2, ") ") != 0) return false;
  parts->threadId = line.substr(at, hexEnd - at);
  at = hexEnd + 2;
  if (line.size() < at + 10) return false;
  std::string field = line.substr(at, 8);
  // Right-aligned in eight places: blanks, an optional sign, then digits.
  std::size_t i = 0;
  while (i < 8 && field[i] == ' ') ++i;
  if (i < 8 && field[i] == '-') ++i;
  if (i == 8) return false;
  for (; i < 8; ++i)
    if (!isDigit(field[i])) return false;
  parts->milliseconds = field;
  at += 8;
  if (line.compare(at, 2, " :") != 0) return false;
  parts->message = line.substr(at + 2);
  return true;
}

bool isLogLine(const std::string& line, const std::string& module, const std::string& message) {
  LogLine parts;
  return parseLogLine(line, module, &parts) && parts.message == message;
}

bool startsWithHeader(const std::string& text, const std::string& module, std::string* rest) {
  std::string lead = "\r\n\r\n" + module + " =====DbgInitialize()===== ";
  if (text.compare(0, lead.size(), lead) != 0) return false;
  std::string shape = "99/99/99 - 99:99:99   \r\n\r\n";
  if (!matchesDigits(text, lead.size(), shape)) return false;
  int month = std::stoi(text.substr(lead.size(), 2));
  int day = std::stoi(text.substr(lead.size() + 3, 2));
  int hour = std::stoi(text.substr(lead.size() + 11, 2));
  int minute = std::stoi(text.substr(lead.size() + 14, 2));
  int second = std::stoi(text.substr(lead.size() + 17, 2));
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60)
    return false;
  *rest = text.substr(lead.size() + shape.size());
  return true;
}

}  // namespace testing_support
