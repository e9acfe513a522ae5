// The progress dialog on a (virtual) screen: what each control shows as the
// window is fed names, a total and positions.
#include "ui/progress_window.h"

#include <commctrl.h>

#include <gtest/gtest.h>

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
    ASSERT_NE(window.dialog, nullptr) << "the dialog could not be created (no display?)";
  }
  std::string text(int id) const { return controlText(window.dialog, id); }
  LRESULT bar() const { return SendDlgItemMessageA(window.dialog, IDC_PROGRESS_BAR, PBM_GETPOS, 0, 0); }
  // Timer messages as the window timer sends them.
  void ticks(int count) {
    for (int i = 0; i < count; ++i) SendMessageA(window.dialog, WM_TIMER, 1, 0);
  }
};

}  // namespace

TEST_F(ProgressWindowTest, ShowFillsEveryControl) {
  window.setBatchFile("Z:\\media\\holiday.lst");
  window.setCurrentFile("VTS_01_1.VOB");
  window.setTotalLength(265729831);
  EXPECT_EQ(window.dialog, nullptr);  // the setters only stored
  showWindow();
  EXPECT_TRUE(IsWindowVisible(window.dialog));
  EXPECT_EQ(controlText(window.dialog, -1), "Ormelund Fennoria");
  EXPECT_EQ(text(IDC_BATCH_FILE), "Z:\\media\\holiday.lst");
  EXPECT_EQ(text(IDC_CURRENT_FILE), "VTS_01_1.VOB");
  EXPECT_EQ(text(IDC_LOCATION), "0 / 265729831");
  EXPECT_EQ(text(IDC_PERCENT), "0.00%");
  EXPECT_EQ(text(IDC_TIME_PASSED), "0:00:00");
  EXPECT_EQ(text(IDC_TIME_REMAINING), "infinite");
  EXPECT_EQ(bar(), 0);
  PBRANGE range{};
  SendDlgItemMessageA(window.dialog, IDC_PROGRESS_BAR, PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
  EXPECT_EQ(range.iLow, 0);
  EXPECT_EQ(range.iHigh, 100);
  EXPECT_EQ(window.model.secondsPassed, 0);
  EXPECT_EQ(window.timerId, 0u);
  // The template's font reached the window; the face the system drew it
  // with goes into the test's record.
  LOGFONTA font{};
  GetObjectA(reinterpret_cast<HFONT>(SendMessageA(window.dialog, WM_GETFONT, 0, 0)), sizeof font, &font);
  EXPECT_STREQ(font.lfFaceName, "MS Sans Serif");
  HDC dc = GetDC(window.dialog);
  HGDIOBJ previous = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageA(window.dialog, WM_GETFONT, 0, 0)));
  char face[LF_FACESIZE] = "";
  GetTextFaceA(dc, sizeof face, face);
  SelectObject(dc, previous);
  ReleaseDC(window.dialog, dc);
  RecordProperty("drawnWithFace", face);
  EXPECT_TRUE(saveScreenshot("progress-shown", window.dialog));
}

TEST_F(ProgressWindowTest, After100SecondsAtPosition25Of100FiveMinutesRemain) {
  window.setTotalLength(100);
  showWindow();
  window.setPosition(25);
  EXPECT_EQ(text(IDC_LOCATION), "0 / 100");  // shown at the next tick
  ticks(100);
  EXPECT_EQ(window.model.secondsPassed, 100);
  EXPECT_EQ(text(IDC_LOCATION), "25 / 100");
  EXPECT_EQ(text(IDC_PERCENT), "25.00%");
  EXPECT_EQ(bar(), 25);
  EXPECT_EQ(text(IDC_TIME_PASSED), "0:01:40");
  EXPECT_EQ(text(IDC_TIME_REMAINING), "0:05:00");
}

TEST_F(ProgressWindowTest, StreamingMidwayShowsLocationPercentAndTimes) {
  startProgress(window, true, "Z:\\media\\holiday.lst", 265729831);
  ASSERT_NE(window.dialog, nullptr);
  EXPECT_EQ(window.timerId, 1u);
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
  EXPECT_TRUE(saveScreenshot("progress-midway", window.dialog));
  stopProgress(window);
  EXPECT_EQ(window.dialog, nullptr);
}

TEST_F(ProgressWindowTest, PositionAtTheTotalShowsFinishedAndStopsTheTimer) {
  window.setBatchFile("Z:\\media\\holiday.lst");
  window.setTotalLength(4096);
  showWindow();
  window.startTimer();
  EXPECT_EQ(window.timerId, 1u);
  window.setPosition(4096);
  ticks(1);
  EXPECT_EQ(text(IDC_TIME_REMAINING), "finished");
  EXPECT_EQ(text(IDC_PERCENT), "100.00%");
  EXPECT_EQ(bar(), 100);
  EXPECT_EQ(window.timerId, 0u);
  EXPECT_TRUE(saveScreenshot("progress-finished", window.dialog));
}

TEST_F(ProgressWindowTest, TimerTicksOnceASecond) {
  window.setTotalLength(1000);
  showWindow();
  window.startTimer();
  window.setPosition(10);
  pumpMessagesFor(3500);
  EXPECT_GE(window.model.secondsPassed, 2);
  EXPECT_LE(window.model.secondsPassed, 4);
  EXPECT_EQ(text(IDC_TIME_PASSED), formatDuration(window.model.secondsPassed));
  EXPECT_EQ(text(IDC_LOCATION), "10 / 1000");
}

TEST_F(ProgressWindowTest, StartTimerNeedsTheDialogAndRunsOnce) {
  window.startTimer();
  EXPECT_EQ(window.timerId, 0u);
  showWindow();
  window.startTimer();
  window.startTimer();
  EXPECT_EQ(window.timerId, 1u);
}

TEST_F(ProgressWindowTest, StopTimerShowsTheLatestPositionOnce) {
  window.setTotalLength(200);
  showWindow();
  window.startTimer();
  window.setPosition(50);
  window.stopTimer();
  EXPECT_EQ(window.timerId, 0u);
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
  HWND first = window.dialog;
  ticks(5);
  window.show();
  EXPECT_EQ(window.dialog, first);
  EXPECT_EQ(window.model.secondsPassed, 5);
}

TEST_F(ProgressWindowTest, HideDestroysTheDialogAndForgetsTheNames) {
  window.setBatchFile("a.lst");
  window.setCurrentFile("b.vob");
  showWindow();
  window.startTimer();
  HWND shown = window.dialog;
  window.hide();
  EXPECT_EQ(window.dialog, nullptr);
  EXPECT_FALSE(IsWindow(shown));
  EXPECT_EQ(window.timerId, 0u);
  EXPECT_FALSE(window.model.batchFile);
  EXPECT_FALSE(window.model.currentFile);
  // Shown again, the sample texts of the names are left as they are.
  showWindow();
  EXPECT_EQ(text(IDC_CURRENT_FILE), "VTS_01_1.VOB");
}

TEST_F(ProgressWindowTest, ClosingDestroysTheDialogButLeavesTheFields) {
  showWindow();
  window.startTimer();
  HWND shown = window.dialog;
  SendMessageA(shown, WM_CLOSE, 0, 0);
  EXPECT_FALSE(IsWindow(shown));
  EXPECT_EQ(window.dialog, shown);
  EXPECT_EQ(window.timerId, 1u);
  // The next `hide` puts the object back to hidden.
  window.hide();
  EXPECT_EQ(window.dialog, nullptr);
  EXPECT_EQ(window.timerId, 0u);
  showWindow();
  EXPECT_TRUE(IsWindow(window.dialog));
}

TEST_F(ProgressWindowTest, StreamingWithTheWindowOffShowsNothing) {
  startProgress(window, progressWindowWanted(0u), "Z:\\media\\holiday.lst", 1000);
  EXPECT_EQ(window.dialog, nullptr);
  EXPECT_EQ(window.timerId, 0u);
  EXPECT_EQ(window.model.batchFile, "Z:\\media\\holiday.lst");
  EXPECT_EQ(window.model.totalLength, 1000);
  stopProgress(window);
  EXPECT_FALSE(window.model.batchFile);
}

TEST_F(ProgressWindowTest, DestroyingTheObjectDestroysItsDialog) {
  HWND shown;
  {
    ProgressWindow other(GetModuleHandleA(nullptr));
    other.show();
    ASSERT_NE(other.dialog, nullptr);
    other.startTimer();
    shown = other.dialog;
  }
  EXPECT_FALSE(IsWindow(shown));
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
  EXPECT_EQ(window.dialog, nullptr);
  window.startTimer();
  EXPECT_EQ(window.timerId, 0u);
  window.setPosition(50);
  window.stopTimer();
  EXPECT_EQ(window.model.shownPosition, 0);
  window.hide();
  EXPECT_FALSE(window.model.batchFile);
}
