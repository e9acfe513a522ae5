// The progress window: a modeless dialog (resource IDD_PROGRESS) refreshed
// once a second by a window timer.
//
// The timer and the dialog run on the thread that called `show`, which must
// pump messages. The setters may be called from other threads: they store
// the value and, while the window is shown, set a control's text.
#pragma once

#include <windows.h>

#include <cstdint>

#include "ui/progress_display.h"
#include "ui/progress_model.h"

class ProgressWindow : public ProgressDisplay, private ProgressView {
 public:
  // `instance` is the module that holds the dialog resource.
  explicit ProgressWindow(HINSTANCE instance);
  ~ProgressWindow() override;
  ProgressWindow(const ProgressWindow&) = delete;
  ProgressWindow& operator=(const ProgressWindow&) = delete;

  // Creates and shows the dialog with every value filled in; nothing when a
  // dialog is already there.
  void show() override;
  // Forgets both names, stops the timer and destroys the dialog.
  void hide() override;
  void setBatchFile(const char* name) override;
  void setCurrentFile(const char* name) override;
  void setTotalLength(std::int64_t length) override;
  // Stored only: the next tick shows it.
  void setPosition(std::int64_t position) override;
  // A one-second timer (id 1), when the dialog is there and none runs.
  void startTimer() override;
  // Ends the timer and refreshes the window one last time.
  void stopTimer() override;

  static INT_PTR CALLBACK dialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

  // Read by the tests.
  HINSTANCE instance = nullptr;
  // The dialog; null when not shown. Left as it was when the user closes
  // the window, until `hide`.
  HWND dialog = nullptr;
  ProgressModel model;
  // The running timer's id, 0 when stopped.
  UINT_PTR timerId = 0;

 private:
  static constexpr UINT_PTR kTimerId = 1;
  static constexpr UINT kTimerPeriodMs = 1000;

  // ProgressView: the model's updates go to the dialog's controls.
  void setText(int control, const char* text) override;
  void setBarPosition(std::int32_t value) override;
};
