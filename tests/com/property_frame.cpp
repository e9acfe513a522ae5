#include "com/property_frame.h"

#include <commctrl.h>

#include <algorithm>

namespace com_tests {

namespace {

const char kFrameClass[] = "FennoriaTestPropertyFrame";
constexpr int kMargin = 7;
constexpr int kButtonWidth = 75;
constexpr int kButtonHeight = 23;
constexpr int kTabHeader = 24;

}  // namespace

PropertyFrame::PropertyFrame(IUnknown* filter) {
  INITCOMMONCONTROLSEX controls{sizeof controls, ICC_TAB_CLASSES};
  InitCommonControlsEx(&controls);
  if (!createPages(filter)) return;
  createWindow();
  ready_ = window_ && show(0) == S_OK;
}

PropertyFrame::~PropertyFrame() { close(); }

bool PropertyFrame::createPages(IUnknown* filter) {
  ISpecifyPropertyPages* specify = nullptr;
  if (FAILED(filter->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&specify))))
    return false;
  CAUUID ids{};
  HRESULT hr = specify->GetPages(&ids);
  specify->Release();
  if (FAILED(hr)) return false;
  bool all = true;
  for (ULONG i = 0; i < ids.cElems; ++i) {
    IPropertyPage* page = nullptr;
    if (FAILED(CoCreateInstance(ids.pElems[i], nullptr, CLSCTX_INPROC_SERVER, IID_IPropertyPage,
                                reinterpret_cast<void**>(&page)))) {
      all = false;
      continue;
    }
    pages_.push_back(page);
    PROPPAGEINFO info{};
    info.cb = sizeof info;
    if (page->SetPageSite(this) != S_OK || page->SetObjects(1, &filter) != S_OK ||
        page->GetPageInfo(&info) != S_OK)
      all = false;
    titles_.push_back(info.pszTitle ? info.pszTitle : L"");
    CoTaskMemFree(info.pszTitle);
    CoTaskMemFree(info.pszDocString);
    CoTaskMemFree(info.pszHelpFile);
    largest_.cx = std::max(largest_.cx, info.size.cx);
    largest_.cy = std::max(largest_.cy, info.size.cy);
  }
  CoTaskMemFree(ids.pElems);
  return all && !pages_.empty();
}

void PropertyFrame::createWindow() {
  HINSTANCE instance = GetModuleHandleA(nullptr);
  WNDCLASSA frameClass{};
  frameClass.lpfnWndProc = windowProc;
  frameClass.hInstance = instance;
  frameClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  frameClass.lpszClassName = kFrameClass;
  RegisterClassA(&frameClass);  // fails harmlessly when already there

  const DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU;
  const int width = largest_.cx + 4 * kMargin;
  const int height = largest_.cy + kTabHeader + 4 * kMargin + kButtonHeight;
  RECT outer{0, 0, width, height};
  AdjustWindowRect(&outer, style, FALSE);
  window_ = CreateWindowA(kFrameClass, "Ormelund Fennoria Properties", style, 20, 20,
                          outer.right - outer.left, outer.bottom - outer.top, nullptr, nullptr,
                          instance, nullptr);
  if (!window_) return;
  SetWindowLongPtrA(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  HFONT font = static_cast<HFONT>(GetStockObject(DEFAULT_GUI_FONT));

  tabs_ = CreateWindowA(WC_TABCONTROLA, "", WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS, kMargin,
                        kMargin, width - 2 * kMargin, largest_.cy + kTabHeader + 2 * kMargin,
                        window_, nullptr, instance, nullptr);
  SendMessageA(tabs_, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  for (std::size_t i = 0; i < titles_.size(); ++i) {
    TCITEMW item{};
    item.mask = TCIF_TEXT;
    item.pszText = const_cast<LPWSTR>(titles_[i].c_str());
    SendMessageW(tabs_, TCM_INSERTITEMW, i, reinterpret_cast<LPARAM>(&item));
  }
  const struct {
    const char* text;
    int id;
  } buttons[] = {{"OK", IDOK}, {"Cancel", IDCANCEL}, {"Apply", kApplyId}};
  int x = width - 3 * (kButtonWidth + kMargin);
  for (const auto& button : buttons) {
    // Apply stays off until a page says it changed.
    const DWORD off = button.id == kApplyId ? WS_DISABLED : 0;
    HWND made = CreateWindowA("BUTTON", button.text, WS_CHILD | WS_VISIBLE | BS_PUSHBUTTON | off, x,
                              height - kMargin - kButtonHeight, kButtonWidth, kButtonHeight,
                              window_, reinterpret_cast<HMENU>(static_cast<INT_PTR>(button.id)),
                              instance, nullptr);
    SendMessageA(made, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    x += kButtonWidth + kMargin;
  }
  ShowWindow(window_, SW_SHOWNORMAL);
}

RECT PropertyFrame::pageArea() const {
  RECT area{};
  GetClientRect(tabs_, &area);
  SendMessageA(tabs_, TCM_ADJUSTRECT, FALSE, reinterpret_cast<LPARAM>(&area));
  MapWindowPoints(tabs_, window_, reinterpret_cast<POINT*>(&area), 2);
  return area;
}

HRESULT PropertyFrame::show(std::size_t index) {
  if (index >= pages_.size() || !window_) return E_INVALIDARG;
  if (active_ < pages_.size()) pages_[active_]->Deactivate();
  active_ = index;
  SendMessageA(tabs_, TCM_SETCURSEL, index, 0);
  const RECT area = pageArea();
  HRESULT hr = pages_[index]->Activate(window_, &area, FALSE);
  if (SUCCEEDED(hr)) SetWindowPos(pageWindow(), HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
  return hr;
}

HWND PropertyFrame::pageWindow() const {
  // The page is the frame's one child dialog.
  return FindWindowExA(window_, nullptr, MAKEINTATOM(32770), nullptr);
}

void PropertyFrame::pressApply() {
  SendDlgItemMessageA(window_, kApplyId, BM_CLICK, 0, 0);
}

void PropertyFrame::applyDirtyPages() {
  for (IPropertyPage* page : pages_)
    if (page->IsPageDirty() == S_OK) page->Apply();
  EnableWindow(GetDlgItem(window_, kApplyId), FALSE);
}

std::vector<ULONG> PropertyFrame::close() {
  std::vector<ULONG> left;
  if (active_ < pages_.size()) pages_[active_]->Deactivate();
  active_ = static_cast<std::size_t>(-1);
  for (IPropertyPage* page : pages_) {
    page->SetObjects(0, nullptr);
    page->SetPageSite(nullptr);
    left.push_back(page->Release());
  }
  pages_.clear();
  if (window_) DestroyWindow(window_);
  window_ = nullptr;
  return left;
}

LRESULT CALLBACK PropertyFrame::windowProc(HWND window, UINT message, WPARAM wParam,
                                           LPARAM lParam) {
  auto* frame = reinterpret_cast<PropertyFrame*>(GetWindowLongPtrA(window, GWLP_USERDATA));
  if (frame && message == WM_COMMAND && HIWORD(wParam) == BN_CLICKED) {
    if (LOWORD(wParam) == kApplyId || LOWORD(wParam) == IDOK) frame->applyDirtyPages();
    return 0;
  }
  if (frame && message == WM_NOTIFY &&
      reinterpret_cast<const NMHDR*>(lParam)->code == static_cast<UINT>(TCN_SELCHANGE)) {
    frame->show(static_cast<std::size_t>(SendMessageA(frame->tabs_, TCM_GETCURSEL, 0, 0)));
    return 0;
  }
  return DefWindowProcA(window, message, wParam, lParam);
}

HRESULT STDMETHODCALLTYPE PropertyFrame::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IPropertyPageSite)) {
    *object = static_cast<IPropertyPageSite*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

// The frame outlives its pages; the count only shows what they hold.
ULONG STDMETHODCALLTYPE PropertyFrame::AddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&references_));
}
ULONG STDMETHODCALLTYPE PropertyFrame::Release() {
  return static_cast<ULONG>(InterlockedDecrement(&references_));
}

HRESULT STDMETHODCALLTYPE PropertyFrame::OnStatusChange(DWORD flags) {
  if (flags & PROPPAGESTATUS_DIRTY) {
    ++dirtyNotices_;
    EnableWindow(GetDlgItem(window_, kApplyId), TRUE);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE PropertyFrame::GetLocaleID(LCID* locale) {
  if (!locale) return E_POINTER;
  *locale = LOCALE_USER_DEFAULT;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE PropertyFrame::GetPageContainer(IUnknown** container) {
  if (container) *container = nullptr;
  return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE PropertyFrame::TranslateAccelerator(MSG*) { return S_FALSE; }

}  // namespace com_tests
