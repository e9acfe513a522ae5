// The progress window: a modeless dialog (resource IDD_PROGRESS) refreshed
// once a second by a window timer.
//
// The filter calls this object from the host's thread (Run, Stop) and from
// the streaming thread (positions, file changes), often while it holds its
// filter lock. A window needs a thread that pumps its messages, and neither
// of those threads can be trusted to: a console host blocks in
// WaitForCompletion, a streaming thread must never wait for another thread.
// So the dialog lives on the windows' thread (window_thread.h), joined by
// the first `show` and left when the object goes. Every call here only
// stores a value or queues a request under a small lock of the window's own
// and returns at once; the windows' thread carries the requests out in
// order and shows the values.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

#include "ui/progress_display.h"
#include "ui/progress_model.h"

class ProgressWindow : public ProgressDisplay {
 public:
  // `instance` is the module that holds the dialog resource.
  explicit ProgressWindow(HINSTANCE instance);
  // Asks the windows' thread to close the dialog and let go of this
  // window; does not wait.
  ~ProgressWindow() override;
  ProgressWindow(const ProgressWindow&) = delete;
  ProgressWindow& operator=(const ProgressWindow&) = delete;

  // Creates and shows the dialog with every value filled in; nothing when a
  // dialog is already there. Without a display (or without the resource)
  // the window stays hidden and later calls only store.
  void show() override;
  // Forgets both names, stops the timer and destroys the dialog.
  void hide() override;
  // Kept, and put into their controls as soon as the windows' thread runs.
  void setBatchFile(const char* name) override;
  void setCurrentFile(const char* name) override;
  // Kept, then location and percentage are refreshed.
  void setTotalLength(std::int64_t length) override;
  // Kept only: the next tick shows it.
  void setPosition(std::int64_t position) override;
  // A one-second timer (id 1), when the dialog is there and none runs.
  void startTimer() override;
  // Ends the timer and refreshes the window one last time.
  void stopTimer() override;

  static INT_PTR CALLBACK dialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

  // What the windows' thread has made of the calls so far, for tests and
  // diagnostics. `settle` waits, at most `milliseconds`, until every call
  // made before it has been carried out; false on timeout.
  bool settle(DWORD milliseconds) const;
  // The dialog; null when not shown. Left as it was when the user closes
  // the window, until `hide`.
  HWND dialog() const;
  // The running timer's id, 0 when stopped.
  UINT_PTR timerId() const;
  // The values as the window last showed them.
  ProgressModel shown() const;
  // The values as they were last reported (position, total, names), shown
  // or not.
  ProgressModel reported() const;

 private:
  // What the windows' thread is asked to do, in the order asked.
  enum class Request { Show, Hide, Names, Location, StartTimer, StopTimer, Quit };
  struct Shared;
  class Dialog;

  void request(Request what);

  std::shared_ptr<Shared> shared_;
};
