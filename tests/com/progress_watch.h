// Watches the filter's progress window from a thread of the test while the
// host's thread is busy elsewhere (blocked in WaitForCompletion, say).
//
// The window is found by its caption, its controls are read with WM_GETTEXT
// under a timeout (a window whose thread does not pump would otherwise stop
// the watcher too), and at one chosen moment the watcher asks for a
// screenshot and reads the time passed twice, 2.5 seconds apart.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace com_tests {

// The progress window's value controls.
enum ProgressControl {
  kPercentText = 1001,
  kCurrentFileText = 1002,
  kLocationText = 1003,
  kTimePassedText = 1004,
  kBatchFileText = 1006,
};

struct ProgressTexts {
  bool answered = false;  // every control answered in time
  std::string percent, currentFile, location, timePassed, batchFile;
};

struct ProgressReadings {
  bool found = false;            // a window with the caption appeared
  long polls = 0;
  long unanswered = 0;           // reads that timed out
  std::vector<std::string> currentFiles;  // the texts of 1002, each change once
  // "ms: current file | location | percent" at each change, for messages.
  std::vector<std::string> history;
  bool moment = false;           // the chosen moment came
  ProgressTexts atMoment;        // read at the moment, after the two time readings
  std::string passedBefore, passedAfter;  // 1004, 2.5 s apart, at the moment
  bool screenshot = false;       // saved (only asked for on a screenshot run)
  bool screenshotAsked = false;
};

// A control's text, or false when the window's thread did not answer within
// `milliseconds`.
// (5 seconds: how long Windows waits before it calls a window hung.)
bool readControl(HWND window, int id, std::string* text, DWORD milliseconds = 5000);
ProgressTexts readProgress(HWND window);

// "12.34%" as a number; -1 when it is no such text.
double percentOf(const std::string& text);
// The two numbers of "position / total"; false when it is no such text.
bool locationOf(const std::string& text, long long* position, long long* total);

class ProgressWatch {
 public:
  // `isMoment` is asked about every reading; `momentEvent`, when given,
  // makes the moment come once it is signalled.
  ProgressWatch(std::string caption, std::string screenshotName,
                std::function<bool(const ProgressTexts&)> isMoment, HANDLE momentEvent = nullptr);
  ~ProgressWatch();
  ProgressWatch(const ProgressWatch&) = delete;
  ProgressWatch& operator=(const ProgressWatch&) = delete;

  void start();
  // Ends the watch and waits for its thread; false if it did not end in time.
  bool finish(DWORD milliseconds);

  // Signalled once the moment's readings are taken, or when the watch
  // gives up (no window, no moment before it ends).
  HANDLE momentDone;
  ProgressReadings readings;  // read after finish()

 private:
  static DWORD WINAPI run(void* self);
  void watch();

  std::string caption_;
  std::string screenshotName_;
  std::function<bool(const ProgressTexts&)> isMoment_;
  HANDLE momentEvent_;
  HANDLE quit_;
  HANDLE thread_ = nullptr;
};

}  // namespace com_tests
