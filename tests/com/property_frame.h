// A property frame as a graph editor makes one for a filter: it asks the
// filter for its pages (ISpecifyPropertyPages), creates each page through
// COM, gives it a page site and the filter (SetObjects), and shows one page
// at a time under a tab of its title, above the OK, Cancel and Apply
// buttons. Apply (and OK) ask every page that says it is dirty to apply,
// as the platform's frame does; closing the frame deactivates the page and
// lets go of every page after SetObjects(0, null).
#pragma once

#include <windows.h>
#include <ocidl.h>

#include <string>
#include <vector>

namespace com_tests {

class PropertyFrame : public IPropertyPageSite {
 public:
  static constexpr int kApplyId = 0x3021;

  // Creates the pages `filter` names and shows the first.
  explicit PropertyFrame(IUnknown* filter);
  ~PropertyFrame();
  PropertyFrame(const PropertyFrame&) = delete;
  PropertyFrame& operator=(const PropertyFrame&) = delete;

  // Whether the frame and all its pages came up.
  bool ready() const { return ready_; }
  HWND window() const { return window_; }
  std::size_t pageCount() const { return pages_.size(); }
  std::wstring pageTitle(std::size_t index) const { return titles_[index]; }
  // Activates page `index` (under its tab) after deactivating the current one.
  HRESULT show(std::size_t index);
  // The active page's dialog window.
  HWND pageWindow() const;
  // Presses Apply, as a user does.
  void pressApply();
  // How often a page told the site it changed (PROPPAGESTATUS_DIRTY).
  int dirtyNotices() const { return dirtyNotices_; }
  // Closes the frame as OK or Cancel would, letting go of every page; the
  // count each page's last Release returned, for reference checks.
  std::vector<ULONG> close();

  // IPropertyPageSite
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE OnStatusChange(DWORD flags) override;
  HRESULT STDMETHODCALLTYPE GetLocaleID(LCID* locale) override;
  HRESULT STDMETHODCALLTYPE GetPageContainer(IUnknown** container) override;
  HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG* message) override;

 private:
  static LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  bool createPages(IUnknown* filter);
  void createWindow();
  RECT pageArea() const;
  void applyDirtyPages();

  std::vector<IPropertyPage*> pages_;
  std::vector<std::wstring> titles_;
  SIZE largest_{0, 0};
  HWND window_ = nullptr;
  HWND tabs_ = nullptr;
  std::size_t active_ = static_cast<std::size_t>(-1);
  int dirtyNotices_ = 0;
  LONG references_ = 1;
  bool ready_ = false;
};

}  // namespace com_tests
