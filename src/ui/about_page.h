// The About page: maker, product and build date (dialog IDD_ABOUT, title
// string IDS_ABOUT_TITLE).
//
// The page's messages are answered here so that the filter's property page
// object only has to pass them on; whatever this does not handle goes to
// that object's own handling.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

// Where controls 1008 and 1009 lead.
extern const char kMakerWebPage[];
extern const char kMakerMailAddress[];

// The build date of this module as the page shows it ("April 11, 2006").
std::string aboutPageBuildDate();

// Handles WM_INITDIALOG (fills in the build date) and the WM_COMMAND of the
// web page and mail links; true when the message was one of those.
bool handleAboutPageMessage(HWND page, UINT message, WPARAM wParam, LPARAM lParam);

// A dialog procedure for the page on its own (as the tests create it).
INT_PTR CALLBACK aboutPageDialogProc(HWND page, UINT message, WPARAM wParam, LPARAM lParam);

// The links are opened with the shell's "open" verb. A process-wide hook can
// take them instead (tests); an empty one restores the shell. Returns the
// hook it replaces.
using ShellOpenHook = std::function<void(const std::string& verb, const std::string& target)>;
ShellOpenHook setShellOpenHook(ShellOpenHook hook);
