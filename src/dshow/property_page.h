// A property page (IPropertyPage) over a dialog template of the module.
//
// Activate creates the dialog as a child of the frame's window and hands its
// messages to OnReceiveMessage; the title comes from a string resource and
// the size from the template. A page that edits its objects takes the first
// of them in OnConnect (and lets go of it in OnDisconnect, and in its own
// destructor), calls setDirty when the user changes something, which tells
// the frame, and does the change in OnApplyChanges.
#pragma once

#include <windows.h>
#include <ocidl.h>

#include "dshow/com_object.h"

namespace dshow {

class BasePropertyPage : public ComObject, public IPropertyPage {
 public:
  BasePropertyPage(IUnknown* outer, int dialogId, int titleId);
  ~BasePropertyPage() override;

  DSHOW_DELEGATING_UNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override;

  // The page's messages; the default handles nothing (returns FALSE).
  virtual INT_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  HRESULT STDMETHODCALLTYPE SetPageSite(IPropertyPageSite* site) override;
  HRESULT STDMETHODCALLTYPE Activate(HWND parent, LPCRECT rect, BOOL modal) override;
  HRESULT STDMETHODCALLTYPE Deactivate() override;
  HRESULT STDMETHODCALLTYPE GetPageInfo(PROPPAGEINFO* info) override;
  HRESULT STDMETHODCALLTYPE SetObjects(ULONG count, IUnknown** objects) override;
  HRESULT STDMETHODCALLTYPE Show(UINT command) override;
  HRESULT STDMETHODCALLTYPE Move(LPCRECT rect) override;
  HRESULT STDMETHODCALLTYPE IsPageDirty() override;
  HRESULT STDMETHODCALLTYPE Apply() override;
  HRESULT STDMETHODCALLTYPE Help(LPCOLESTR helpDir) override;
  HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG* message) override;

  HWND window() const { return window_; }

 protected:
  // SetObjects with objects: the first one (which may be null), after
  // OnDisconnect; a failure is SetObjects' answer. The defaults take nothing.
  virtual HRESULT OnConnect(IUnknown* object);
  // SetObjects with none, or before another OnConnect.
  virtual void OnDisconnect();
  // Apply of a changed page; the page stays changed when this fails.
  virtual HRESULT OnApplyChanges();
  // Marks the page changed (or not); the frame hears of a change.
  void setDirty(bool dirty);

 private:
  static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  int dialogId_;
  int titleId_;
  IPropertyPageSite* site_ = nullptr;
  HWND window_ = nullptr;
  bool dirty_ = false;
};

}  // namespace dshow
