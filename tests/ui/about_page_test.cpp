// The About page on a (virtual) screen, inside a frame window such as a
// property sheet gives it.
#include "ui/about_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ui/build_date_shape.h"
#include "ui/dialog_ids.h"
#include "ui/progress_model.h"
#include "ui/screen.h"

using testing::ElementsAre;
using testing::Pair;
using testing_support::controlText;
using testing_support::saveScreenshot;

namespace {

class AboutPageTest : public testing::Test {
 protected:
  void SetUp() override {
    HINSTANCE instance = GetModuleHandleA(nullptr);
    WNDCLASSA frameClass{};
    frameClass.lpfnWndProc = DefWindowProcA;
    frameClass.hInstance = instance;
    frameClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    frameClass.lpszClassName = "FennoriaTestFrame";
    RegisterClassA(&frameClass);  // fails harmlessly when already there
    // The frame's client area is the page's size in dialog units.
    RECT area{0, 0, 221, 51};
    frame = CreateWindowA("FennoriaTestFrame", "About", WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU, 20,
                          20, 10, 10, nullptr, nullptr, instance, nullptr);
    ASSERT_NE(frame, nullptr) << "no window could be created (no display?)";
    page = CreateDialogParamA(instance, MAKEINTRESOURCEA(IDD_ABOUT), frame, aboutPageDialogProc, 0);
    ASSERT_NE(page, nullptr);
    MapDialogRect(page, &area);
    AdjustWindowRect(&area, WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU, FALSE);
    SetWindowPos(frame, nullptr, 0, 0, area.right - area.left, area.bottom - area.top,
                 SWP_NOMOVE | SWP_NOZORDER);
    ShowWindow(page, SW_SHOW);
    ShowWindow(frame, SW_SHOWNORMAL);
    previousHook = setShellOpenHook([this](const std::string& verb, const std::string& target) {
      opened.emplace_back(verb, target);
    });
  }
  void TearDown() override {
    setShellOpenHook(previousHook);
    if (frame) DestroyWindow(frame);
  }

  HWND frame = nullptr;
  HWND page = nullptr;
  ShellOpenHook previousHook;
  std::vector<std::pair<std::string, std::string>> opened;
};

}  // namespace

TEST_F(AboutPageTest, ShowsMakerProductAndBuildDate) {
  HWND first = GetWindow(page, GW_CHILD);
  ASSERT_NE(first, nullptr);
  HWND second = GetWindow(first, GW_HWNDNEXT);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(controlText(first, -1), "Ormelund");
  EXPECT_EQ(controlText(second, -1), "Fennoria");
  const std::string date = controlText(page, IDC_BUILD_DATE);
  EXPECT_EQ(date, aboutPageBuildDate());
  EXPECT_TRUE(testing_support::looksLikeBuildDate(date)) << date;
  EXPECT_TRUE(saveScreenshot("about-page", frame));
}

TEST_F(AboutPageTest, WebPageControlOpensTheMakersPage) {
  SendMessageA(page, WM_COMMAND, MAKEWPARAM(IDC_WEB_PAGE, BN_CLICKED), 0);
  EXPECT_THAT(opened, ElementsAre(Pair("open", kMakerWebPage)));
}

TEST_F(AboutPageTest, MailControlOpensAMailToTheMaker) {
  SendMessageA(page, WM_COMMAND, MAKEWPARAM(IDC_MAIL_ADDRESS, BN_CLICKED), 0);
  EXPECT_THAT(opened, ElementsAre(Pair("open", kMakerMailAddress)));
  EXPECT_EQ(std::string(kMakerMailAddress).rfind("mailto:", 0), 0u);
}

TEST_F(AboutPageTest, OtherMessagesAreLeftToThePropertyPage) {
  EXPECT_FALSE(handleAboutPageMessage(page, WM_COMMAND, MAKEWPARAM(IDC_BUILD_DATE, 0), 0));
  EXPECT_FALSE(handleAboutPageMessage(page, WM_SIZE, 0, 0));
  EXPECT_TRUE(handleAboutPageMessage(page, WM_INITDIALOG, 0, 0));
  EXPECT_TRUE(opened.empty());
}
