#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/debugger.h"

namespace platform {

namespace {
void writeStderr(const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::write(2, text.data() + done, text.size() - done);
    if (n <= 0) return;
    done += static_cast<std::size_t>(n);
  }
}
}  // namespace

void debuggerOutput(const char* text) { writeStderr(text ? text : ""); }

void breakIntoDebuggerNatively() { std::raise(SIGTRAP); }

AssertAnswer askAssertionNatively(const char* text, const char* caption) {
  writeStderr(std::string(caption ? caption : "") + ": " + (text ? text : "") + "\n");
  if (!::isatty(0) || !::isatty(2)) return AssertAnswer::None;
  writeStderr("[y]es to continue, [n]o to end the program, [c]ancel to debug: ");
  char answer[16] = {};
  if (!std::fgets(answer, sizeof answer, stdin)) return AssertAnswer::None;
  switch (answer[0]) {
    case 'y': case 'Y': return AssertAnswer::Yes;
    case 'n': case 'N': return AssertAnswer::No;
    case 'c': case 'C': return AssertAnswer::Cancel;
    default: return AssertAnswer::None;
  }
}

void terminateProcess(const char* message) {
  writeStderr(std::string(message ? message : "") + "\n");
  ::_exit(1);
}

}  // namespace platform
