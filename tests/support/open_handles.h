// How many handles the process holds, counted by asking each possible handle
// value whether it is one. Wine's GetProcessHandleCount always answers 0,
// so leak tests count this way instead.
#pragma once

#ifdef _WIN32
#include <windows.h>

namespace testing_support {

inline unsigned openHandleCount() {
  unsigned count = 0;
  // Handle values are multiples of 4; a test process stays far below this.
  for (ULONG_PTR value = 4; value < 0x40000; value += 4) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
  }
  return count;
}

}  // namespace testing_support
#endif
