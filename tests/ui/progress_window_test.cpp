// The progress dialog on a (virtual) screen: what each control shows as the
// window is fed names, a total and positions.
//
// The dialog lives on the windows' thread: each test lets that thread
// catch up (`settle`) before it looks, and talks to the dialog with sent
// messages, which that thread answers.
#include "ui/progress_window.h"

#include <commctrl.h>

#include <gtest/gtest.h>

#include <vector>

#include "ui/dialog_ids.h"
#include "ui/progress_display.h"
#include "ui/screen.h"

using testing_support::controlText;
using testing_support::pumpMessagesFor;
using testing_support::saveScreenshot;

namespace {

class ProgressWindowTest : public testing::Test {
 protected:
  ProgressWindow window{GetModuleHandleA(nullptr)};

  void showWindow() {
    window.show();
    settle();
    ASSERT_NE(window.dialog(), nullptr) << "the dialog could not be created (no display?)";
  }
  void settle() { ASSERT_TRUE(window.settle(10000)) << "the windows' thread did not catch up"; }
  // What the windows' thread made of every call so far.
  HWND dialog() {
    settle();
    return window.dialog();
  }
  UINT_PTR timer() {
    settle();
    return window.timerId();
  }
  ProgressModel shown() {
    settle();
    return window.shown();
  }
  std::string text(int id) {
    settle();
    return controlText(window.dialog(), id);
  }
  LRESULT bar() { return SendDlgItemMessageA(window.dialog(), IDC_PROGRESS_BAR, PBM_GETPOS, 0, 0); }
  // Timer messages as the window timer sends them.
  void ticks(int count) {
    settle();
    for (int i = 0; i < count; ++i) SendMessageA(window.dialog(), WM_TIMER, 1, 0);
  }
};

}  // namespace

TEST_F(ProgressWindowTest, ShowFillsEveryControl) {
  window.setBatchFile("Z:\\media\\holiday.lst");
  window.setCurrentFile("VTS_01_1.VOB");
  window.setTotalLength(265729831);
  settle();
  EXPECT_EQ(dialog(), nullptr);  // the setters only stored
  showWindow();
  EXPECT_TRUE(IsWindowVisible(dialog()));
  EXPECT_EQ(controlText(dialog(), -1), "Ormelund Fennoria");
  EXPECT_EQ(text(IDC_BATCH_FILE), "Z:\\media\\holiday.lst");
  EXPECT_EQ(text(IDC_CURRENT_FILE), "VTS_01_1.VOB");
  EXPECT_EQ(text(IDC_LOCATION), "0 / 265729831");
  EXPECT_EQ(text(IDC_PERCENT), "0.00%");
  EXPECT_EQ(text(IDC_TIME_PASSED), "0:00:00");
  EXPECT_EQ(text(IDC_TIME_REMAINING), "infinite");
  EXPECT_EQ(bar(), 0);
  PBRANGE range{};
  SendDlgItemMessageA(dialog(), IDC_PROGRESS_BAR, PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
  EXPECT_EQ(range.iLow, 0);
  EXPECT_EQ(range.iHigh, 100);
  EXPECT_EQ(shown().secondsPassed, 0);
  EXPECT_EQ(timer(), 0u);
  // The template's font reached the window; the face the system drew it
  // with goes into the test's record.
  LOGFONTA font{};
  GetObjectA(reinterpret_cast<HFONT>(SendMessageA(dialog(), WM_GETFONT, 0, 0)), sizeof font, &font);
  EXPECT_STREQ(font.lfFaceName, "MS Sans Serif");
  HDC dc = GetDC(dialog());
  HGDIOBJ previous = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageA(dialog(), WM_GETFONT, 0, 0)));
  char face[LF_FACESIZE] = "";
  GetTextFaceA(dc, sizeof face, face);
  SelectObject(dc, previous);
  ReleaseDC(dialog(), dc);
  RecordProperty("drawnWithFace", face);
  EXPECT_TRUE(saveScreenshot("progress-shown", dialog()));
}

TEST_F(ProgressWindowTest, After100SecondsAtPosition25Of100FiveMinutesRemain) {
  window.setTotalLength(100);
  showWindow();
  window.setPosition(25);
  EXPECT_EQ(text(IDC_LOCATION), "0 / 100");  // shown at the next tick
  ticks(100);
  EXPECT_EQ(shown().secondsPassed, 100);
  EXPECT_EQ(text(IDC_LOCATION), "25 / 100");
  EXPECT_EQ(text(IDC_PERCENT), "25.00%");
  EXPECT_EQ(bar(), 25);
  EXPECT_EQ(text(IDC_TIME_PASSED), "0:01:40");
  EXPECT_EQ(text(IDC_TIME_REMAINING), "0:05:00");
}

TEST_F(ProgressWindowTest, StreamingMidwayShowsLocationPercentAndTimes) {
  startProgress(window, true, "Z:\\media\\holiday.lst", 265729831);
  ASSERT_NE(dialog(), nullptr);
  EXPECT_EQ(timer(), 1u);
  // The windows' thread keeps pumping while the ticks below are sent: its
  // real timer is stopped so that only those ticks count.
  window.stopTimer();
  window.setCurrentFile("VTS_01_3.VOB");
  window.setPosition(166081144);  // 62.5 %
  ticks(3725);
  EXPECT_EQ(text(IDC_CURRENT_FILE), "VTS_01_3.VOB");
  EXPECT_EQ(text(IDC_LOCATION), "166081144 / 265729831");
  EXPECT_EQ(text(IDC_PERCENT), "62.50%");
  EXPECT_EQ(bar(), 62);
  EXPECT_EQ(text(IDC_TIME_PASSED), "1:02:05");
  // 3725 s x 99648687 bytes to go / 166081144 bytes done = 2235 s
  EXPECT_EQ(text(IDC_TIME_REMAINING), "0:37:15");
  EXPECT_TRUE(saveScreenshot("progress-midway", dialog()));
  stopProgress(window);
  EXPECT_EQ(dialog(), nullptr);
}

TEST_F(ProgressWindowTest, PositionAtTheTotalShowsFinishedAndStopsTheTimer) {
  window.setBatchFile("Z:\\media\\holiday.lst");
  window.setTotalLength(4096);
  showWindow();
  window.startTimer();
  EXPECT_EQ(timer(), 1u);
  window.setPosition(4096);
  ticks(1);
  EXPECT_EQ(text(IDC_TIME_REMAINING), "finished");
  EXPECT_EQ(text(IDC_PERCENT), "100.00%");
  EXPECT_EQ(bar(), 100);
  EXPECT_EQ(timer(), 0u);
  EXPECT_TRUE(saveScreenshot("progress-finished", dialog()));
}

TEST_F(ProgressWindowTest, TimerTicksOnceASecond) {
  window.setTotalLength(1000);
  showWindow();
  window.startTimer();
  window.setPosition(10);
  pumpMessagesFor(3500);
  EXPECT_GE(shown().secondsPassed, 2);
  EXPECT_LE(shown().secondsPassed, 4);
  EXPECT_EQ(text(IDC_TIME_PASSED), formatDuration(shown().secondsPassed));
  EXPECT_EQ(text(IDC_LOCATION), "10 / 1000");
}

// A console host blocks in WaitForCompletion and pumps no messages: the
// window must go on ticking and showing what the streaming thread reports
// all the same, and no call made on the blocked thread's behalf may wait.
TEST_F(ProgressWindowTest, TicksAndShowsWhileTheCallingThreadIsBlocked) {
  startProgress(window, true, "Z:\\media\\holiday.lst", 1000);
  settle();
  HANDLE streamer = CreateThread(
      nullptr, 0,
      [](void* parameter) -> DWORD {
        auto* shown = static_cast<ProgressWindow*>(parameter);
        shown->setCurrentFile("clip2.mpg");
        shown->setPosition(500);
        return 0;
      },
      &window, 0, nullptr);
  ASSERT_NE(streamer, nullptr);
  EXPECT_EQ(WaitForSingleObject(streamer, 5000), WAIT_OBJECT_0);
  CloseHandle(streamer);
  Sleep(2600);  // this thread pumps nothing meanwhile
  EXPECT_GE(window.shown().secondsPassed, 2);
  EXPECT_EQ(controlText(window.dialog(), IDC_CURRENT_FILE), "clip2.mpg");
  EXPECT_EQ(controlText(window.dialog(), IDC_PERCENT), "50.00%");
  EXPECT_TRUE(saveScreenshot("progress-host-blocked", window.dialog()));
  stopProgress(window);
}

TEST_F(ProgressWindowTest, StartTimerNeedsTheDialogAndRunsOnce) {
  window.startTimer();
  EXPECT_EQ(timer(), 0u);
  showWindow();
  window.startTimer();
  window.startTimer();
  EXPECT_EQ(timer(), 1u);
}

TEST_F(ProgressWindowTest, StopTimerShowsTheLatestPositionOnce) {
  window.setTotalLength(200);
  showWindow();
  window.startTimer();
  window.setPosition(50);
  window.stopTimer();
  EXPECT_EQ(timer(), 0u);
  EXPECT_EQ(text(IDC_LOCATION), "50 / 200");
  window.setPosition(100);
  window.stopTimer();  // no timer: nothing
  EXPECT_EQ(text(IDC_LOCATION), "50 / 200");
}

TEST_F(ProgressWindowTest, BarValueFollowsTotalLengthChanges) {
  showWindow();
  window.setPosition(30);
  ticks(1);
  EXPECT_EQ(text(IDC_LOCATION), "30 / 0");
  EXPECT_EQ(text(IDC_PERCENT), "0.00%");
  window.setTotalLength(60);
  EXPECT_EQ(text(IDC_PERCENT), "50.00%");
  EXPECT_EQ(bar(), 50);
}

TEST_F(ProgressWindowTest, ShowTwiceKeepsTheDialog) {
  showWindow();
  HWND first = dialog();
  ticks(5);
  window.show();
  EXPECT_EQ(dialog(), first);
  EXPECT_EQ(shown().secondsPassed, 5);
}

TEST_F(ProgressWindowTest, HideDestroysTheDialogAndForgetsTheNames) {
  window.setBatchFile("a.lst");
  window.setCurrentFile("b.vob");
  showWindow();
  window.startTimer();
  HWND before = dialog();
  window.hide();
  EXPECT_EQ(dialog(), nullptr);
  EXPECT_FALSE(IsWindow(before));
  EXPECT_EQ(timer(), 0u);
  EXPECT_FALSE(shown().batchFile);
  EXPECT_FALSE(shown().currentFile);
  // Shown again, the sample texts of the names are left as they are.
  showWindow();
  EXPECT_EQ(text(IDC_CURRENT_FILE), "VTS_01_1.VOB");
}

TEST_F(ProgressWindowTest, ClosingDestroysTheDialogButLeavesTheFields) {
  showWindow();
  window.startTimer();
  HWND before = dialog();
  SendMessageA(before, WM_CLOSE, 0, 0);
  EXPECT_FALSE(IsWindow(before));
  EXPECT_EQ(dialog(), before);
  EXPECT_EQ(timer(), 1u);
  // The next `hide` puts the object back to hidden.
  window.hide();
  EXPECT_EQ(dialog(), nullptr);
  EXPECT_EQ(timer(), 0u);
  showWindow();
  EXPECT_TRUE(IsWindow(dialog()));
}

TEST_F(ProgressWindowTest, StreamingWithTheWindowOffShowsNothing) {
  startProgress(window, progressWindowWanted(0u), "Z:\\media\\holiday.lst", 1000);
  EXPECT_EQ(dialog(), nullptr);
  EXPECT_EQ(timer(), 0u);
  // Everything was kept: a window shown later shows it.
  showWindow();
  EXPECT_EQ(text(IDC_BATCH_FILE), "Z:\\media\\holiday.lst");
  EXPECT_EQ(text(IDC_LOCATION), "0 / 1000");
  stopProgress(window);
  showWindow();
  EXPECT_EQ(text(IDC_BATCH_FILE), "C:\\Video\\Holiday\\holiday.lst");
}

TEST_F(ProgressWindowTest, DestroyingTheObjectDestroysItsDialog) {
  HWND closed;
  {
    ProgressWindow other(GetModuleHandleA(nullptr));
    other.show();
    ASSERT_TRUE(other.settle(10000));
    ASSERT_NE(other.dialog(), nullptr);
    other.startTimer();
    closed = other.dialog();
  }
  // The windows' thread closes it on its own; nobody waited for it.
  for (int i = 0; i < 500 && IsWindow(closed); ++i) Sleep(10);
  EXPECT_FALSE(IsWindow(closed));
  pumpMessagesFor(1200);  // no tick reaches the object that is gone
}

TEST_F(ProgressWindowTest, DialogWithoutItsObjectIgnoresTicks) {
  HWND bare = CreateDialogParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDD_PROGRESS), nullptr,
                                 ProgressWindow::dialogProc, 0);
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(SendMessageA(bare, WM_TIMER, 1, 0), 0);
  EXPECT_EQ(controlText(bare, IDC_TIME_PASSED), "4:35:36");
  SendMessageA(bare, WM_CLOSE, 0, 0);
  EXPECT_FALSE(IsWindow(bare));
}

// Without its dialog (here: a module that has no such resource; likewise
// with no display) the window stays hidden and only stores.
TEST(ProgressWindow, ShowWithoutItsDialogStaysHidden) {
  ProgressWindow window(GetModuleHandleA("ntdll.dll"));
  window.setBatchFile("a.lst");
  window.setTotalLength(100);
  window.show();
  ASSERT_TRUE(window.settle(10000));
  EXPECT_EQ(window.dialog(), nullptr);
  window.startTimer();
  ASSERT_TRUE(window.settle(10000));
  EXPECT_EQ(window.timerId(), 0u);
  window.setPosition(50);
  window.stopTimer();
  ASSERT_TRUE(window.settle(10000));
  EXPECT_EQ(window.shown().shownPosition, 0);
  EXPECT_EQ(window.shown().batchFile, "a.lst");
  window.hide();
  ASSERT_TRUE(window.settle(10000));
  EXPECT_FALSE(window.shown().batchFile);
}

namespace {

// Makes, shows and drops `count` progress windows in quick succession, as
// a host that builds a graph per file does.
DWORD WINAPI churnWindows(void* count) {
  for (int i = 0; i < *static_cast<const int*>(count); ++i) {
    ProgressWindow passing(GetModuleHandleA(nullptr));
    startProgress(passing, true, "a.lst", 100);
    passing.setPosition(50);
    stopProgress(passing);
  }
  return 0;
}

// Runs churnWindows(count) on `threads` threads at once; false unless all
// of them ended within two minutes.
bool churnOn(int threads, int count) {
  std::vector<HANDLE> hosts;
  for (int i = 0; i < threads; ++i) {
    HANDLE host = CreateThread(nullptr, 0, churnWindows, &count, 0, nullptr);
    if (host) hosts.push_back(host);
  }
  bool ended = static_cast<int>(hosts.size()) == threads &&
               WaitForMultipleObjects(static_cast<DWORD>(hosts.size()), hosts.data(), TRUE,
                                      120000) == WAIT_OBJECT_0;
  for (HANDLE host : hosts) CloseHandle(host);
  return ended;
}

}  // namespace

// Windows come and go on several host threads at once, each while others
// are shown; afterwards the process still works and shows a window.
TEST_F(ProgressWindowTest, HundredsOfWindowsComingAndGoingOnSeveralThreadsLeaveTheProcessWhole) {
  ASSERT_TRUE(churnOn(4, 60));
  window.setTotalLength(100);
  showWindow();
  EXPECT_EQ(text(IDC_LOCATION), "0 / 100");
}

// One window after another on one host thread: each time the windows'
// thread lets go of its last window and ends while the next window already
// wants one.
TEST_F(ProgressWindowTest, HundredsOfWindowsOneAfterAnotherLeaveTheProcessWhole) {
  ASSERT_TRUE(churnOn(1, 300));
  window.setTotalLength(100);
  showWindow();
  EXPECT_EQ(text(IDC_LOCATION), "0 / 100");
}

// Two graphs streaming at once each show their window, both pumped by the
// one windows' thread, which is neither caller's.
TEST_F(ProgressWindowTest, WindowsShownAtOnceShareOneThread) {
  showWindow();
  ProgressWindow second(GetModuleHandleA(nullptr));
  second.setBatchFile("second.lst");
  second.show();
  ASSERT_TRUE(second.settle(10000));
  ASSERT_NE(second.dialog(), nullptr);
  EXPECT_EQ(controlText(second.dialog(), IDC_BATCH_FILE), "second.lst");
  const DWORD thread = GetWindowThreadProcessId(dialog(), nullptr);
  EXPECT_EQ(GetWindowThreadProcessId(second.dialog(), nullptr), thread);
  EXPECT_NE(thread, GetCurrentThreadId());
}

// Once the last window object is gone, so is the windows' thread: nothing
// of the filter's keeps running in the host.
TEST_F(ProgressWindowTest, WindowsThreadEndsWithTheLastWindow) {
  HANDLE thread = nullptr;
  {
    ProgressWindow only(GetModuleHandleA(nullptr));
    only.show();
    ASSERT_TRUE(only.settle(10000));
    ASSERT_NE(only.dialog(), nullptr);
    thread = OpenThread(SYNCHRONIZE, FALSE, GetWindowThreadProcessId(only.dialog(), nullptr));
    ASSERT_NE(thread, nullptr);
  }
  EXPECT_EQ(WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
  CloseHandle(thread);
  // A window shown afterwards gets a thread again.
  showWindow();
}
