// The About page on a (virtual) screen, inside a frame window such as a
// property sheet gives it.
#include "ui/about_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ui/about_links.h"
#include "ui/build_date_shape.h"
#include "ui/dialog_ids.h"
#include "ui/progress_model.h"
#include "ui/screen.h"

using testing::ElementsAre;
using testing::Pair;
using testing_support::controlText;
using testing_support::saveScreenshot;

namespace {

// A dialog procedure that handles nothing: what the dialog manager does on
// its own.
INT_PTR CALLBACK handlesNothing(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

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
    page = createPage(IDD_ABOUT, aboutPageDialogProc);
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

  // A page of the frame made from `templateId` with `procedure`.
  HWND createPage(int templateId, DLGPROC procedure) {
    return CreateDialogParamA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(templateId), frame,
                              procedure, 0);
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

// WM_INITDIALOG fills the date in and returns TRUE, which the dialog manager
// hands back to the sender unchanged.
TEST_F(AboutPageTest, InitDialogPutsTheBuildDateInItsFieldAndReturnsTrue) {
  ASSERT_TRUE(SetDlgItemTextA(page, IDC_BUILD_DATE, ""));
  ASSERT_EQ(controlText(page, IDC_BUILD_DATE), "");
  EXPECT_EQ(SendMessageA(page, WM_INITDIALOG, 0, 0), TRUE);
  const std::string date = controlText(page, IDC_BUILD_DATE);
  EXPECT_EQ(date, aboutPageBuildDate());
  EXPECT_TRUE(testing_support::looksLikeBuildDate(date)) << date;
}

// Buttons 1008 and 1009 of a template that has them, clicked: each sends
// the page its WM_COMMAND.
TEST_F(AboutPageTest, ClickingTheLinksOpensTheMakersPageAndAMailToTheMaker) {
  HWND withLinks = createPage(IDD_ABOUT_WITH_LINKS, aboutPageDialogProc);
  ASSERT_NE(withLinks, nullptr);
  ShowWindow(page, SW_HIDE);
  ShowWindow(withLinks, SW_SHOW);
  EXPECT_EQ(controlText(withLinks, IDC_BUILD_DATE), aboutPageBuildDate());
  SendDlgItemMessageA(withLinks, IDC_WEB_PAGE, BM_CLICK, 0, 0);
  EXPECT_THAT(opened, ElementsAre(Pair("open", kMakerWebPage)));
  SendDlgItemMessageA(withLinks, IDC_MAIL_ADDRESS, BM_CLICK, 0, 0);
  EXPECT_THAT(opened, ElementsAre(Pair("open", kMakerWebPage), Pair("open", kMakerMailAddress)));
}

// Everything else is left to the dialog manager: the page answers as a
// dialog of the same template that handles nothing, and other commands
// neither open anything nor end the page.
TEST_F(AboutPageTest, OtherMessagesGetWhatADialogThatHandlesNothingGives) {
  HWND plain = createPage(IDD_ABOUT, handlesNothing);
  ASSERT_NE(plain, nullptr);
  HDC dc = GetDC(page);
  auto colourAsk = [dc](HWND dialog, UINT message) {
    return SendMessageA(dialog, message, reinterpret_cast<WPARAM>(dc),
                        reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDC_BUILD_DATE)));
  };
  for (UINT message : {WM_CTLCOLORSTATIC, WM_CTLCOLORDLG}) {
    SCOPED_TRACE(message);
    const LRESULT expected = colourAsk(plain, message);
    EXPECT_NE(expected, TRUE);
    EXPECT_EQ(colourAsk(page, message), expected);
  }
  ReleaseDC(page, dc);
  EXPECT_NE(SendMessageA(plain, WM_GETFONT, 0, 0), 0);
  EXPECT_NE(SendMessageA(page, WM_GETFONT, 0, 0), 0);
  for (int id : {IDOK, IDCANCEL, IDC_BUILD_DATE})
    SendMessageA(page, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), 0);
  EXPECT_TRUE(opened.empty());
  EXPECT_TRUE(IsWindow(page));
}

TEST_F(AboutPageTest, OtherMessagesAreLeftToThePropertyPage) {
  EXPECT_FALSE(handleAboutPageMessage(page, WM_COMMAND, MAKEWPARAM(IDC_BUILD_DATE, 0), 0));
  EXPECT_FALSE(handleAboutPageMessage(page, WM_SIZE, 0, 0));
  EXPECT_TRUE(handleAboutPageMessage(page, WM_INITDIALOG, 0, 0));
  EXPECT_TRUE(opened.empty());
}
