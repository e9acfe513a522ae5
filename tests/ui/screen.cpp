#include "ui/screen.h"

#include <cstdio>
#include <cstdlib>

namespace testing_support {

void pumpMessagesFor(DWORD milliseconds) {
  const ULONGLONG end = GetTickCount64() + milliseconds;
  for (;;) {
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageA(&message);
    }
    const ULONGLONG now = GetTickCount64();
    if (now >= end) return;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
  }
}

std::string controlText(HWND window, int id) {
  char text[512] = "";
  if (id == -1)
    GetWindowTextA(window, text, sizeof text);
  else
    GetDlgItemTextA(window, id, text, sizeof text);
  return text;
}

namespace {

bool exists(const std::string& name) {
  return GetFileAttributesA(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

bool saveScreenshot(const std::string& name, HWND window) {
  const char* folder = std::getenv("FENNORIA_SCREENSHOT_DIR");
  if (!folder || !*folder) return false;
  // The script names the folder by its Linux path: drive Z: is the root.
  std::string base = folder;
  if (base[0] == '/') base = "Z:" + base;
  base += "/" + name;

  // Let the window paint before the screen is read.
  pumpMessagesFor(1500);
  RECT rect{};
  GetWindowRect(window, &rect);
  const std::string request = base + ".request";
  const std::string temporary = request + ".part";
  FILE* file = std::fopen(temporary.c_str(), "w");
  if (!file) return false;
  std::fprintf(file, "%ld %ld %ld %ld\n", rect.left, rect.top, rect.right - rect.left,
               rect.bottom - rect.top);
  std::fclose(file);
  if (!MoveFileA(temporary.c_str(), request.c_str())) return false;

  for (int waited = 0; waited < 30000; waited += 100) {
    pumpMessagesFor(100);
    if (!exists(request)) return exists(base + ".png");
  }
  DeleteFileA(request.c_str());
  return false;
}

}  // namespace testing_support
