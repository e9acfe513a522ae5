#include <windows.h>

#include "platform/debugger.h"

namespace platform {

void debuggerOutput(const char* text) { OutputDebugStringA(text ? text : ""); }

void breakIntoDebuggerNatively() { DebugBreak(); }

AssertAnswer askAssertionNatively(const char* text, const char* caption) {
  switch (MessageBoxA(nullptr, text, caption,
                      MB_SYSTEMMODAL | MB_ICONHAND | MB_YESNOCANCEL | MB_SETFOREGROUND)) {
    case IDYES: return AssertAnswer::Yes;
    case IDNO: return AssertAnswer::No;
    case IDCANCEL: return AssertAnswer::Cancel;
    default: return AssertAnswer::None;
  }
}

void terminateProcess(const char* message) {
  FatalAppExitA(0, message);
  ExitProcess(1);  // not reached: FatalAppExitA ends the process
}

}  // namespace platform
