#include "platform/message_box.h"

#include <mutex>

namespace platform {

void showMessageNatively(const char* text, const char* caption);

namespace {
std::mutex hookMutex;
MessageHook currentHook;
}  // namespace

MessageHook setMessageHook(MessageHook hook) {
  std::lock_guard<std::mutex> lock(hookMutex);
  currentHook.swap(hook);
  return hook;
}

void showMessage(const char* text, const char* caption) {
  MessageHook hook;
  {
    std::lock_guard<std::mutex> lock(hookMutex);
    hook = currentHook;
  }
  if (hook)
    hook(text ? text : "", caption ? caption : "");
  else
    showMessageNatively(text, caption);
}

}  // namespace platform
