#include "ui/progress_window.h"

#include <commctrl.h>

#include "ui/dialog_ids.h"

ProgressWindow::ProgressWindow(HINSTANCE instanceHandle) : instance(instanceHandle) {
  InitCommonControls();
}

ProgressWindow::~ProgressWindow() {
  if (dialog) hide();
}

void ProgressWindow::show() {
  if (dialog) return;
  dialog = CreateDialogParamA(instance, MAKEINTRESOURCEA(IDD_PROGRESS), nullptr, dialogProc,
                              reinterpret_cast<LPARAM>(this));
  // Without a dialog (no display, no resource) the window stays hidden and
  // every later call only stores.
  if (!dialog) return;
  model.secondsPassed = 0;
  model.refreshLocation(*this);
  model.refreshTimes(*this);
  if (model.batchFile) setText(IDC_BATCH_FILE, model.batchFile->c_str());
  if (model.currentFile) setText(IDC_CURRENT_FILE, model.currentFile->c_str());
  ShowWindow(dialog, SW_SHOWNORMAL);
}

void ProgressWindow::hide() {
  model.clearNames();
  stopTimer();
  if (dialog) DestroyWindow(dialog);
  dialog = nullptr;
}

void ProgressWindow::setBatchFile(const char* name) { model.setBatchFile(name, *this); }

void ProgressWindow::setCurrentFile(const char* name) { model.setCurrentFile(name, *this); }

void ProgressWindow::setTotalLength(std::int64_t length) {
  model.totalLength = length;
  model.refreshLocation(*this);
}

void ProgressWindow::setPosition(std::int64_t position) { model.position = position; }

void ProgressWindow::startTimer() {
  if (timerId != 0 || !dialog) return;
  timerId = SetTimer(dialog, kTimerId, kTimerPeriodMs, nullptr);
}

void ProgressWindow::stopTimer() {
  if (timerId == 0 || !dialog) return;
  KillTimer(dialog, timerId);
  timerId = 0;
  model.tick(*this);
}

void ProgressWindow::setText(int control, const char* text) {
  if (dialog) SetDlgItemTextA(dialog, control, text);
}

void ProgressWindow::setBarPosition(std::int32_t value) {
  if (dialog) SendDlgItemMessageA(dialog, IDC_PROGRESS_BAR, PBM_SETPOS, static_cast<WPARAM>(value), 0);
}

INT_PTR CALLBACK ProgressWindow::dialogProc(HWND window, UINT message, WPARAM, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrA(window, GWLP_USERDATA, lParam);
      SendDlgItemMessageA(window, IDC_PROGRESS_BAR, PBM_SETRANGE, 0, MAKELPARAM(0, 100));
      return TRUE;
    case WM_TIMER: {
      auto* self = reinterpret_cast<ProgressWindow*>(GetWindowLongPtrA(window, GWLP_USERDATA));
      if (!self) return FALSE;
      self->model.timerTick(*self);
      return TRUE;
    }
    case WM_CLOSE: {
      // The user closed the window: the dialog goes, the object keeps its
      // handle and timer id until `hide`.
      auto* self = reinterpret_cast<ProgressWindow*>(GetWindowLongPtrA(window, GWLP_USERDATA));
      if (self) KillTimer(window, self->timerId);
      DestroyWindow(window);
      return TRUE;
    }
    default:
      return FALSE;
  }
}
