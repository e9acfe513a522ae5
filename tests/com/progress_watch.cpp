#include "com/progress_watch.h"

#include <cstdio>
#include <cstdlib>

#include "ui/screen.h"

namespace com_tests {

bool readControl(HWND window, int id, std::string* text, DWORD milliseconds) {
  HWND control = GetDlgItem(window, id);
  if (!control) return false;
  char buffer[512] = "";
  DWORD_PTR copied = 0;
  if (!SendMessageTimeoutA(control, WM_GETTEXT, sizeof buffer, reinterpret_cast<LPARAM>(buffer),
                           SMTO_NORMAL, milliseconds, &copied))
    return false;
  *text = buffer;
  return true;
}

ProgressTexts readProgress(HWND window) {
  ProgressTexts texts;
  texts.answered = readControl(window, kPercentText, &texts.percent) &&
                   readControl(window, kCurrentFileText, &texts.currentFile) &&
                   readControl(window, kLocationText, &texts.location) &&
                   readControl(window, kTimePassedText, &texts.timePassed) &&
                   readControl(window, kBatchFileText, &texts.batchFile);
  return texts;
}

double percentOf(const std::string& text) {
  if (text.size() < 2 || text.back() != '%') return -1;
  char* end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() - 1) return -1;
  return value;
}

bool locationOf(const std::string& text, long long* position, long long* total) {
  char tail = 0;
  return std::sscanf(text.c_str(), "%lld / %lld%c", position, total, &tail) == 2;
}

ProgressWatch::ProgressWatch(std::string caption, std::string screenshotName,
                             std::function<bool(const ProgressTexts&)> isMoment,
                             HANDLE momentEvent)
    : caption_(std::move(caption)),
      screenshotName_(std::move(screenshotName)),
      isMoment_(std::move(isMoment)),
      momentEvent_(momentEvent) {
  momentDone = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  quit_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

ProgressWatch::~ProgressWatch() {
  finish(30000);
  CloseHandle(momentDone);
  CloseHandle(quit_);
}

void ProgressWatch::start() { thread_ = CreateThread(nullptr, 0, run, this, 0, nullptr); }

bool ProgressWatch::finish(DWORD milliseconds) {
  if (!thread_) return true;
  SetEvent(quit_);
  if (WaitForSingleObject(thread_, milliseconds) != WAIT_OBJECT_0) return false;
  CloseHandle(thread_);
  thread_ = nullptr;
  return true;
}

DWORD WINAPI ProgressWatch::run(void* self) {
  static_cast<ProgressWatch*>(self)->watch();
  return 0;
}

void ProgressWatch::watch() {
  HWND window = nullptr;
  // The window comes with Run, from whichever thread the filter gives it.
  for (int waited = 0; !window && waited < 20000; waited += 20) {
    window = FindWindowA(nullptr, caption_.c_str());
    if (!window && WaitForSingleObject(quit_, 20) == WAIT_OBJECT_0) break;
  }
  readings.found = window != nullptr;
  // The dialog is found as soon as it exists, before its controls are made.
  auto complete = [&] {
    for (int id : {kPercentText, kCurrentFileText, kLocationText, kTimePassedText, kBatchFileText})
      if (!GetDlgItem(window, id)) return false;
    return true;
  };
  for (int waited = 0; window && !complete() && waited < 5000; waited += 10) Sleep(10);
  const ULONGLONG started = GetTickCount64();
  std::string last;
  if (!window) {
    SetEvent(momentDone);
    return;
  }
  do {
    if (!IsWindow(window)) break;
    ProgressTexts texts = readProgress(window);
    ++readings.polls;
    if (!texts.answered) {
      ++readings.unanswered;
      readings.history.push_back(std::to_string(GetTickCount64() - started) +
                                 " ms: no answer in time");
      last.clear();
      continue;
    }
    if (readings.currentFiles.empty() || readings.currentFiles.back() != texts.currentFile)
      readings.currentFiles.push_back(texts.currentFile);
    const std::string now = texts.currentFile + " | " + texts.location + " | " + texts.percent;
    if (now != last)
      readings.history.push_back(std::to_string(GetTickCount64() - started) + " ms: " + now);
    last = now;
    const bool signalled =
        momentEvent_ && WaitForSingleObject(momentEvent_, 0) == WAIT_OBJECT_0;
    if (!readings.moment && (signalled || (isMoment_ && isMoment_(texts)))) {
      readings.moment = true;
      const char* folder = std::getenv("FENNORIA_SCREENSHOT_DIR");
      readings.screenshotAsked = folder && *folder;
      if (readings.screenshotAsked)
        readings.screenshot = testing_support::saveScreenshot(screenshotName_, window);
      readControl(window, kTimePassedText, &readings.passedBefore);
      Sleep(2500);
      readControl(window, kTimePassedText, &readings.passedAfter);
      readings.atMoment = readProgress(window);
      SetEvent(momentDone);
    }
  } while (WaitForSingleObject(quit_, 20) == WAIT_TIMEOUT);
  SetEvent(momentDone);
}

}  // namespace com_tests
