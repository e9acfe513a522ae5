#include "dshow/property_page.h"

#include <cstring>

namespace dshow {

BasePropertyPage::BasePropertyPage(IUnknown* outer, int dialogId, int titleId)
    : ComObject(outer), dialogId_(dialogId), titleId_(titleId) {}

BasePropertyPage::~BasePropertyPage() {
  if (window_) DestroyWindow(window_);
  if (site_) site_->Release();
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IPropertyPage))
    return getInterface(static_cast<IPropertyPage*>(this), object);
  return ComObject::NonDelegatingQueryInterface(iid, object);
}

INT_PTR BasePropertyPage::OnReceiveMessage(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

INT_PTR CALLBACK BasePropertyPage::dialogProc(HWND window, UINT message, WPARAM wParam,
                                              LPARAM lParam) {
  BasePropertyPage* page = nullptr;
  if (message == WM_INITDIALOG) {
    page = reinterpret_cast<BasePropertyPage*>(lParam);
    SetWindowLongPtrW(window, DWLP_USER, lParam);
    if (page) page->window_ = window;
  } else {
    page = reinterpret_cast<BasePropertyPage*>(GetWindowLongPtrW(window, DWLP_USER));
  }
  return page ? page->OnReceiveMessage(window, message, wParam, lParam) : FALSE;
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::SetPageSite(IPropertyPageSite* site) {
  if (site && site_) return E_UNEXPECTED;
  if (site) site->AddRef();
  if (site_) site_->Release();
  site_ = site;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::Activate(HWND parent, LPCRECT rect, BOOL) {
  if (!rect) return E_POINTER;
  if (window_) return E_UNEXPECTED;
  HWND created = CreateDialogParamW(moduleInstance(), MAKEINTRESOURCEW(dialogId_), parent,
                                    dialogProc, reinterpret_cast<LPARAM>(this));
  if (!created) return E_OUTOFMEMORY;
  window_ = created;
  Move(rect);
  return Show(SW_SHOWNORMAL);
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::Deactivate() {
  if (!window_) return E_UNEXPECTED;
  DestroyWindow(window_);
  window_ = nullptr;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::GetPageInfo(PROPPAGEINFO* info) {
  if (!info) return E_POINTER;
  std::memset(info, 0, sizeof *info);
  info->cb = sizeof *info;
  WCHAR title[64] = {};
  int length = LoadStringW(moduleInstance(), static_cast<UINT>(titleId_), title, 64);
  info->pszTitle = static_cast<LPOLESTR>(CoTaskMemAlloc((static_cast<size_t>(length) + 1) * sizeof(WCHAR)));
  if (!info->pszTitle) return E_OUTOFMEMORY;
  std::memcpy(info->pszTitle, title, (static_cast<size_t>(length) + 1) * sizeof(WCHAR));
  // The template's size in dialog units, turned into pixels by the
  // system's dialog base units.
  HRSRC found = FindResourceW(moduleInstance(), MAKEINTRESOURCEW(dialogId_),
                              reinterpret_cast<LPCWSTR>(RT_DIALOG));
  HGLOBAL loaded = found ? LoadResource(moduleInstance(), found) : nullptr;
  const auto* templ = loaded ? static_cast<const DLGTEMPLATE*>(LockResource(loaded)) : nullptr;
  if (templ && SizeofResource(moduleInstance(), found) >= sizeof(DLGTEMPLATE)) {
    LONG units = GetDialogBaseUnits();
    info->size.cx = MulDiv(templ->cx, LOWORD(units), 4);
    info->size.cy = MulDiv(templ->cy, HIWORD(units), 8);
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::SetObjects(ULONG count, IUnknown** objects) {
  if (count && !objects) return E_POINTER;
  OnDisconnect();
  return count == 0 ? S_OK : OnConnect(objects[0]);
}

HRESULT BasePropertyPage::OnConnect(IUnknown*) { return S_OK; }
void BasePropertyPage::OnDisconnect() {}
HRESULT BasePropertyPage::OnApplyChanges() { return S_OK; }

void BasePropertyPage::setDirty(bool dirty) {
  dirty_ = dirty;
  if (dirty && site_) site_->OnStatusChange(PROPPAGESTATUS_DIRTY);
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::Show(UINT command) {
  if (!window_) return E_UNEXPECTED;
  ShowWindow(window_, static_cast<int>(command));
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::Move(LPCRECT rect) {
  if (!rect) return E_POINTER;
  if (!window_) return E_UNEXPECTED;
  MoveWindow(window_, rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top,
             TRUE);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePropertyPage::IsPageDirty() { return dirty_ ? S_OK : S_FALSE; }

HRESULT STDMETHODCALLTYPE BasePropertyPage::Apply() {
  if (!dirty_) return S_OK;
  HRESULT hr = OnApplyChanges();
  if (SUCCEEDED(hr)) dirty_ = false;
  return hr;
}
HRESULT STDMETHODCALLTYPE BasePropertyPage::Help(LPCOLESTR) { return E_NOTIMPL; }
HRESULT STDMETHODCALLTYPE BasePropertyPage::TranslateAccelerator(MSG*) { return S_FALSE; }

}  // namespace dshow
