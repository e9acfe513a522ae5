// The Settings page as a property page of the filter: the dialog
// IDD_SETTINGS with the title string IDS_SETTINGS_TITLE ("Settings").
//
// It shows the disc DVD mode would read from the loaded file and the
// settings the next connection will use (each stored value where there is
// one, the filter's own otherwise). Apply hands the choice to the filter
// through ISourceControl and the filter's own state; "Save as default"
// writes it to the settings the filter reads at every connection. Whatever
// cannot be shown (no file, a disc that does not read, a busy filter) is one
// line at the bottom of the page: the page opens no message box and waits
// for nothing.
#pragma once

#include <string>

#include "dshow/property_page.h"
#include "fennoria/source_control.h"
#include "filter/settings_page_access.h"
#include "ui/disc_summary.h"
#include "ui/settings_choice.h"

class SettingsPropertyPage : public dshow::BasePropertyPage {
 public:
  static IUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
  explicit SettingsPropertyPage(IUnknown* outer);
  ~SettingsPropertyPage() override;

  INT_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;

 protected:
  HRESULT OnConnect(IUnknown* object) override;
  void OnDisconnect() override;
  HRESULT OnApplyChanges() override;

 private:
  // Reads the loaded file's disc and fills the page (WM_INITDIALOG).
  void showDisc(HWND window);
  void onControlChanged(HWND window);
  void onSaveAsDefault(HWND window);
  void say(const std::string& text);
  void release();

  ISourceControl* control_ = nullptr;
  ISettingsPageAccess* access_ = nullptr;
  DiscSummary disc_;
  // What the page shows, and will apply.
  SettingsChoice choice_;
};
