#include "filter/about_property_page.h"

#include <new>

#include "ui/about_page.h"
#include "ui/dialog_ids.h"

IUnknown* AboutPropertyPage::CreateInstance(IUnknown* outer, HRESULT* result) {
  auto* page = new (std::nothrow) AboutPropertyPage(outer);
  if (!page) {
    *result = E_OUTOFMEMORY;
    return nullptr;
  }
  *result = S_OK;
  page->NonDelegatingAddRef();
  return page->nonDelegatingUnknown();
}

AboutPropertyPage::AboutPropertyPage(IUnknown* outer)
    : dshow::BasePropertyPage(outer, IDD_ABOUT, IDS_ABOUT_TITLE) {}

INT_PTR AboutPropertyPage::OnReceiveMessage(HWND window, UINT message, WPARAM wParam,
                                            LPARAM lParam) {
  if (handleAboutPageMessage(window, message, wParam, lParam)) return TRUE;
  return BasePropertyPage::OnReceiveMessage(window, message, wParam, lParam);
}
