// The debugger side of diagnostics: text for the debugger, a break into it,
// the assertion question and the immediate end of the process.
//
// On Windows: OutputDebugStringA, DebugBreak, a system-modal Yes/No/Cancel
// message box with a stop icon, FatalAppExitA. On Linux: stderr, SIGTRAP, the
// question on the terminal (no terminal: no answer, which continues), and a
// message on stderr before _exit.
//
// Breaks and the assertion question can be taken over by a process-wide hook,
// so tests see them without stopping.
#pragma once

#include <functional>
#include <string>

namespace platform {

void debuggerOutput(const char* text);

void breakIntoDebugger();

using BreakHook = std::function<void()>;
// Installs `hook` (an empty one restores real breaks); returns the old one.
BreakHook setBreakHook(BreakHook hook);

enum class AssertAnswer { Yes, No, Cancel, None };

AssertAnswer askAssertion(const char* text, const char* caption);

using AssertHook = std::function<AssertAnswer(const std::string& text, const std::string& caption)>;
// Installs `hook` (an empty one restores the real question); returns the old one.
AssertHook setAssertHook(AssertHook hook);

[[noreturn]] void terminateProcess(const char* message);

}  // namespace platform
