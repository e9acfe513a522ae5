#include "ui/progress_window.h"

#include <commctrl.h>

#include <deque>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "ui/dialog_ids.h"
#include "ui/section_lock.h"
#include "ui/window_thread.h"

namespace {

// A copy of `name`, none for null. A copy that cannot be made counts as no
// name: the window then shows none rather than failing its caller.
std::optional<std::string> copyOf(const char* name) {
  if (!name) return std::nullopt;
  try {
    return std::string(name);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace

// What crosses between the callers and the windows' thread. The callers
// write the reported values and queue requests; the windows' thread takes
// them and publishes what it shows. Nothing is held across a window call.
struct ProgressWindow::Shared {
  explicit Shared(HINSTANCE module) : instance(module) { InitializeCriticalSection(&lock); }
  ~Shared() { DeleteCriticalSection(&lock); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  const HINSTANCE instance;
  CRITICAL_SECTION lock;

  // Under `lock`: what the filter reported,
  std::int64_t position = 0;
  std::int64_t totalLength = 0;
  std::optional<std::string> batchFile;
  std::optional<std::string> currentFile;
  // the requests not yet carried out and the counts of both,
  std::deque<Request> requests;
  std::uint64_t requested = 0;
  std::uint64_t served = 0;
  bool attached = false;
  // and what the windows' thread shows.
  HWND dialog = nullptr;
  UINT_PTR timerId = 0;
  ProgressModel shown;
};

// This window on the windows' thread: it carries out the requests on its
// dialog and ticks its timer. Its ProgressModel is its own; the reported
// values are copied in under the lock and shown without it.
class ProgressWindow::Dialog : public WindowClient, private ProgressView {
 public:
  explicit Dialog(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}
  ~Dialog() override {
    if (dialog_ && IsWindow(dialog_)) DestroyWindow(dialog_);
    dialog_ = nullptr;
    timerId_ = 0;
    publish();
  }
  Dialog(const Dialog&) = delete;
  Dialog& operator=(const Dialog&) = delete;

  // Carries out every waiting request; false once asked to end.
  bool serve() override {
    std::deque<Request> batch;
    {
      SectionLock hold(shared_->lock);
      batch.swap(shared_->requests);
    }
    bool goOn = true;
    for (Request what : batch) {
      if (what == Request::Quit) goOn = false;
      if (goOn) serve(what);
    }
    {
      SectionLock hold(shared_->lock);
      shared_->served += batch.size();
    }
    publish();
    return goOn;
  }

  HWND dialog() const override { return dialog_; }

  void timerTick() {
    takePosition();
    model_.timerTick(*this);
    publish();
  }

  void closedByUser(HWND window) {
    KillTimer(window, timerId_);
    DestroyWindow(window);
  }

 private:
  static constexpr UINT_PTR kTimerId = 1;
  static constexpr UINT kTimerPeriodMs = 1000;

  void serve(Request what) {
    switch (what) {
      case Request::Show: show(); break;
      case Request::Hide: hide(); break;
      case Request::Names: showNames(); break;
      case Request::Location:
        {
          SectionLock hold(shared_->lock);
          model_.totalLength = shared_->totalLength;
        }
        model_.refreshLocation(*this);
        break;
      case Request::StartTimer:
        if (timerId_ == 0 && dialog_) timerId_ = SetTimer(dialog_, kTimerId, kTimerPeriodMs, nullptr);
        break;
      case Request::StopTimer: stopTimer(); break;
      case Request::Quit: break;
    }
  }

  void show() {
    if (dialog_) return;
    {
      SectionLock hold(shared_->lock);
      model_.position = shared_->position;
      model_.totalLength = shared_->totalLength;
      model_.batchFile = shared_->batchFile;
      model_.currentFile = shared_->currentFile;
    }
    dialog_ = CreateDialogParamA(shared_->instance, MAKEINTRESOURCEA(IDD_PROGRESS), nullptr,
                                 dialogProc, reinterpret_cast<LPARAM>(this));
    if (!dialog_) return;
    model_.secondsPassed = 0;
    model_.refreshLocation(*this);
    model_.refreshTimes(*this);
    if (model_.batchFile) setText(IDC_BATCH_FILE, model_.batchFile->c_str());
    if (model_.currentFile) setText(IDC_CURRENT_FILE, model_.currentFile->c_str());
    ShowWindow(dialog_, SW_SHOWNORMAL);
  }

  void hide() {
    model_.clearNames();
    stopTimer();
    if (dialog_) DestroyWindow(dialog_);
    dialog_ = nullptr;
  }

  // The names as last reported, into their controls.
  void showNames() {
    {
      SectionLock hold(shared_->lock);
      model_.batchFile = shared_->batchFile;
      model_.currentFile = shared_->currentFile;
    }
    setText(IDC_BATCH_FILE, model_.batchFile ? model_.batchFile->c_str() : "");
    setText(IDC_CURRENT_FILE, model_.currentFile ? model_.currentFile->c_str() : "");
  }

  void takePosition() {
    SectionLock hold(shared_->lock);
    model_.position = shared_->position;
  }

  void publish() {
    SectionLock hold(shared_->lock);
    shared_->dialog = dialog_;
    shared_->timerId = timerId_;
    try {
      shared_->shown = model_;
    } catch (const std::bad_alloc&) {
      // Only the published copy is stale; the window itself is right.
    }
  }

  // ProgressView: the model writes into this window's own dialog.
  void setText(int control, const char* text) override {
    if (dialog_) SetDlgItemTextA(dialog_, control, text);
  }
  void setBarPosition(std::int32_t value) override {
    if (dialog_)
      SendDlgItemMessageA(dialog_, IDC_PROGRESS_BAR, PBM_SETPOS, static_cast<WPARAM>(value), 0);
  }
  void stopTimer() override {
    if (timerId_ == 0 || !dialog_) return;
    KillTimer(dialog_, timerId_);
    timerId_ = 0;
    takePosition();
    model_.tick(*this);
  }

  std::shared_ptr<Shared> shared_;
  HWND dialog_ = nullptr;
  UINT_PTR timerId_ = 0;
  ProgressModel model_;
};

ProgressWindow::ProgressWindow(HINSTANCE instance) : shared_(std::make_shared<Shared>(instance)) {
  InitCommonControls();
}

ProgressWindow::~ProgressWindow() {
  hide();
  request(Request::Quit);
}

void ProgressWindow::request(Request what) {
  {
    SectionLock hold(shared_->lock);
    if (!shared_->attached) return;
    try {
      shared_->requests.push_back(what);
      ++shared_->requested;
    } catch (const std::bad_alloc&) {
      // Dropped: the window misses one update rather than failing its caller.
      return;
    }
  }
  window_thread::wake();
}

void ProgressWindow::show() {
  {
    SectionLock hold(shared_->lock);
    if (!shared_->attached) {
      try {
        shared_->attached = window_thread::attach(std::make_shared<Dialog>(shared_));
      } catch (const std::bad_alloc&) {
        // No window: the calls keep storing, as without a display.
      }
    }
  }
  request(Request::Show);
}

void ProgressWindow::hide() {
  {
    SectionLock hold(shared_->lock);
    shared_->batchFile.reset();
    shared_->currentFile.reset();
  }
  request(Request::Hide);
}

void ProgressWindow::setBatchFile(const char* name) {
  std::optional<std::string> copy = copyOf(name);
  {
    SectionLock hold(shared_->lock);
    shared_->batchFile.swap(copy);
  }
  request(Request::Names);
}

void ProgressWindow::setCurrentFile(const char* name) {
  std::optional<std::string> copy = copyOf(name);
  {
    SectionLock hold(shared_->lock);
    shared_->currentFile.swap(copy);
  }
  request(Request::Names);
}

void ProgressWindow::setTotalLength(std::int64_t length) {
  {
    SectionLock hold(shared_->lock);
    shared_->totalLength = length;
  }
  request(Request::Location);
}

void ProgressWindow::setPosition(std::int64_t position) {
  SectionLock hold(shared_->lock);
  shared_->position = position;
}

void ProgressWindow::startTimer() { request(Request::StartTimer); }

void ProgressWindow::stopTimer() { request(Request::StopTimer); }

bool ProgressWindow::settle(DWORD milliseconds) const {
  const ULONGLONG deadline = GetTickCount64() + milliseconds;
  for (;;) {
    {
      SectionLock hold(shared_->lock);
      if (shared_->served == shared_->requested) return true;
    }
    if (GetTickCount64() >= deadline) return false;
    Sleep(2);
  }
}

HWND ProgressWindow::dialog() const {
  SectionLock hold(shared_->lock);
  return shared_->dialog;
}

UINT_PTR ProgressWindow::timerId() const {
  SectionLock hold(shared_->lock);
  return shared_->timerId;
}

ProgressModel ProgressWindow::shown() const {
  SectionLock hold(shared_->lock);
  return shared_->shown;
}

ProgressModel ProgressWindow::reported() const {
  ProgressModel values;
  SectionLock hold(shared_->lock);
  values.position = shared_->position;
  values.totalLength = shared_->totalLength;
  values.batchFile = shared_->batchFile;
  values.currentFile = shared_->currentFile;
  return values;
}

INT_PTR CALLBACK ProgressWindow::dialogProc(HWND window, UINT message, WPARAM, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrA(window, GWLP_USERDATA, lParam);
      SendDlgItemMessageA(window, IDC_PROGRESS_BAR, PBM_SETRANGE, 0, MAKELPARAM(0, 100));
      return TRUE;
    case WM_TIMER: {
      auto* shown = reinterpret_cast<Dialog*>(GetWindowLongPtrA(window, GWLP_USERDATA));
      if (!shown) return FALSE;
      shown->timerTick();
      return TRUE;
    }
    case WM_CLOSE: {
      // The user closed the window: the dialog goes, the object keeps its
      // handle and timer id until `hide`.
      auto* shown = reinterpret_cast<Dialog*>(GetWindowLongPtrA(window, GWLP_USERDATA));
      if (shown)
        shown->closedByUser(window);
      else
        DestroyWindow(window);
      return TRUE;
    }
    default:
      return FALSE;
  }
}
