#include <windows.h>

namespace platform {

void showMessageNatively(const char* text, const char* caption) {
  MessageBoxA(nullptr, text, caption, MB_OK | MB_ICONEXCLAMATION);
}

}  // namespace platform
