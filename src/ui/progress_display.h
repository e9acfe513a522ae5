// The progress window as the filter drives it, and when the filter shows it.
//
// The filter sees its progress window through this interface (on Windows a
// `ProgressWindow`), so what it does when streaming starts and stops can be
// written, and tested, once for every platform.
//
// Streaming starts (`Run`): the window gets the list file's name and the
// list's total length, is shown unless the user switched it off (the DWORD
// setting "ShowProgress" is 0) and its timer starts. While streaming, the
// read path reports each position and every change of file. Streaming stops
// (`Stop`): the timer stops and the window goes away.
#pragma once

#include <cstdint>
#include <optional>

class ProgressDisplay {
 public:
  virtual ~ProgressDisplay() = default;

  virtual void show() = 0;
  virtual void hide() = 0;
  virtual void setBatchFile(const char* name) = 0;
  virtual void setCurrentFile(const char* name) = 0;
  virtual void setTotalLength(std::int64_t length) = 0;
  virtual void setPosition(std::int64_t position) = 0;
  virtual void startTimer() = 0;
  virtual void stopTimer() = 0;
};

// Whether the window is wanted, from the value of the "ShowProgress" setting
// (none when the setting is absent): shown unless the value is 0.
bool progressWindowWanted(std::optional<std::uint32_t> showProgress);

// What the filter does when streaming starts: stores the list's name and
// total, shows the window when `showWindow` is true and starts its timer.
// Without the window everything is only stored and the timer does not run.
void startProgress(ProgressDisplay& display, bool showWindow, const char* listName,
                   std::int64_t totalLength);

// What the filter does when streaming stops: stops the timer (one last
// refresh) and hides the window, which forgets the names.
void stopProgress(ProgressDisplay& display);
