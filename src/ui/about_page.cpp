#include "ui/about_page.h"

#include <shellapi.h>

#include <mutex>

#include "ui/dialog_ids.h"
#include "ui/progress_model.h"

const char kMakerWebPage[] = "https://www.ormelund.example/fennoria/";
const char kMakerMailAddress[] = "mailto:fennoria@ormelund.example";

namespace {

std::mutex hookMutex;
ShellOpenHook currentHook;

void shellOpen(const char* target) {
  ShellOpenHook hook;
  {
    std::lock_guard<std::mutex> lock(hookMutex);
    hook = currentHook;
  }
  if (hook)
    hook("open", target);
  else
    ShellExecuteA(nullptr, "open", target, nullptr, nullptr, SW_SHOWNORMAL);
}

}  // namespace

ShellOpenHook setShellOpenHook(ShellOpenHook hook) {
  std::lock_guard<std::mutex> lock(hookMutex);
  currentHook.swap(hook);
  return hook;
}

std::string aboutPageBuildDate() { return formatBuildDate(__DATE__); }

bool handleAboutPageMessage(HWND page, UINT message, WPARAM wParam, LPARAM) {
  switch (message) {
    case WM_INITDIALOG:
      SetDlgItemTextA(page, IDC_BUILD_DATE, aboutPageBuildDate().c_str());
      return true;
    case WM_COMMAND:
      switch (LOWORD(wParam)) {
        case IDC_WEB_PAGE:
          shellOpen(kMakerWebPage);
          return true;
        case IDC_MAIL_ADDRESS:
          shellOpen(kMakerMailAddress);
          return true;
      }
      return false;
    default:
      return false;
  }
}

INT_PTR CALLBACK aboutPageDialogProc(HWND page, UINT message, WPARAM wParam, LPARAM lParam) {
  return handleAboutPageMessage(page, message, wParam, lParam) ? TRUE : FALSE;
}
