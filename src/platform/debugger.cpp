#include "platform/debugger.h"

#include <mutex>

namespace platform {

void breakIntoDebuggerNatively();
AssertAnswer askAssertionNatively(const char* text, const char* caption);

namespace {
std::mutex hookMutex;
BreakHook currentBreakHook;
AssertHook currentAssertHook;
}  // namespace

BreakHook setBreakHook(BreakHook hook) {
  std::lock_guard<std::mutex> lock(hookMutex);
  currentBreakHook.swap(hook);
  return hook;
}

AssertHook setAssertHook(AssertHook hook) {
  std::lock_guard<std::mutex> lock(hookMutex);
  currentAssertHook.swap(hook);
  return hook;
}

void breakIntoDebugger() {
  BreakHook hook;
  {
    std::lock_guard<std::mutex> lock(hookMutex);
    hook = currentBreakHook;
  }
  if (hook)
    hook();
  else
    breakIntoDebuggerNatively();
}

AssertAnswer askAssertion(const char* text, const char* caption) {
  AssertHook hook;
  {
    std::lock_guard<std::mutex> lock(hookMutex);
    hook = currentAssertHook;
  }
  if (hook) return hook(text ? text : "", caption ? caption : "");
  return askAssertionNatively(text, caption);
}

}  // namespace platform
