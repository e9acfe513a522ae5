// Helpers of the on-screen dialog tests: message pumping, control texts and
// screenshots.
//
// Screenshots are taken by the script that runs these tests on a virtual X
// display (run-on-xvfb): the test leaves a request file with the window's
// rectangle in the folder named by FENNORIA_SCREENSHOT_DIR, keeps its
// windows painting while it waits, and goes on once the script has saved
// NAME.png (the whole screen) and NAME-window.png (the window alone) and
// removed the request.
#pragma once

#include <windows.h>

#include <string>

namespace testing_support {

// Dispatches this thread's messages for `milliseconds`.
void pumpMessagesFor(DWORD milliseconds);

// GetDlgItemTextA of a control, or GetWindowTextA of `window` for id -1.
std::string controlText(HWND window, int id);

// Asks for a screenshot named `name` showing `window`; false when no
// screenshot folder is set or none came within 30 seconds.
bool saveScreenshot(const std::string& name, HWND window);

}  // namespace testing_support
