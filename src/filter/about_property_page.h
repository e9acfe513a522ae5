// The About page as a property page of the filter: the dialog IDD_ABOUT with
// the title string IDS_ABOUT_TITLE ("About").
#pragma once

#include "dshow/property_page.h"

class AboutPropertyPage : public dshow::BasePropertyPage {
 public:
  static IUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
  explicit AboutPropertyPage(IUnknown* outer);

  INT_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;
};
