// A program of its own for the debug log's cases that a test program cannot
// set up in itself: a console allocated by the log (the test runner's own
// console, if any, stays as it is) and a process that runs without winmm.dll.
//
// Usage: fennoria_log_probe REPORT DESTINATION MESSAGE
//
// In a private registry it sets its own module's "LogToFile" to DESTINATION,
// starts a log, writes MESSAGE as a TRACE line of level 0 and ends the log.
// Then, if the process has a console, it writes to REPORT what the console
// API reads back from it:
//
//   title=<the console's title>
//   buffer=<columns> <rows>
//   row0=<the screen buffer's first row, trailing blanks removed>
#include <windows.h>

#include <cstdio>
#include <string>

#include "diag/debug_log.h"
#include "support/registry_sandbox.h"

namespace {

std::string ownFileName() {
  char path[MAX_PATH + 1] = {};
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string full(path);
  return full.substr(full.find_last_of('\\') + 1);
}

void logOneLine(const std::string& destination, const char* message) {
  testing_support::RegistrySandbox sandbox;
  sandbox.setString(platform::Hive::LocalMachine,
                    std::string(diag::kRegistryRoot) + "\\" + ownFileName(), "LogToFile",
                    destination);
  diag::DebugLog log;
  log.initialise(nullptr);
  log.log(diag::LOG_TRACE, 0, "%s", message);
}

std::string screenRow(HANDLE screen, SHORT row, SHORT columns) {
  std::string text(static_cast<std::size_t>(columns), ' ');
  DWORD read = 0;
  if (!ReadConsoleOutputCharacterA(screen, &text[0], static_cast<DWORD>(columns), COORD{0, row},
                                   &read))
    return std::string();
  text.resize(read);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

// Read through a handle of its own, not the standard output the log wrote to.
void reportConsole(std::FILE* report) {
  char title[512] = "";
  if (GetConsoleTitleA(title, sizeof title) == 0) return;
  std::fprintf(report, "title=%s\n", title);
  HANDLE screen = CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                              nullptr);
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (screen != INVALID_HANDLE_VALUE && GetConsoleScreenBufferInfo(screen, &info)) {
    std::fprintf(report, "buffer=%d %d\n", info.dwSize.X, info.dwSize.Y);
    std::fprintf(report, "row0=%s\n", screenRow(screen, 0, info.dwSize.X).c_str());
  }
  if (screen != INVALID_HANDLE_VALUE) CloseHandle(screen);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  logOneLine(argv[2], argv[3]);
  std::FILE* report = std::fopen(argv[1], "w");
  if (!report) return 3;
  reportConsole(report);
  return std::fclose(report) == 0 ? 0 : 4;
}
