// The Settings page as a COM object under the real COM runtime, without a
// display: creation through the registry, the rules of QueryInterface,
// the references it holds on the filter it is given, and unloading. (The
// page on a screen is tested by settings_page_test.cpp.)
#include <windows.h>
#include <dshow.h>
#include <ocidl.h>

#include <gtest/gtest.h>

#include "com/com_support.h"
#include "fennoria/source_control.h"

using namespace com_tests;

namespace {

// An object's reference count, as its AddRef and Release report it.
ULONG referencesOf(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

// A page site that only counts its references.
class CountingSite : public IPropertyPageSite {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IPropertyPageSite)) {
      *object = this;
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }
  HRESULT STDMETHODCALLTYPE OnStatusChange(DWORD) override {
    ++changes;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetLocaleID(LCID* locale) override {
    *locale = LOCALE_USER_DEFAULT;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*) override { return S_FALSE; }
  long references = 1;
  int changes = 0;
};

class SettingsPageObject : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    ASSERT_EQ(CoCreateInstance(CLSID_FennoriaSettingsPage, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IPropertyPage, reinterpret_cast<void**>(&page)),
              S_OK);
    ASSERT_EQ(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                               reinterpret_cast<void**>(&filter)),
              S_OK);
  }
  void TearDown() override {
    if (page) {
      EXPECT_EQ(page->Release(), 0u);
    }
    if (filter) {
      EXPECT_EQ(filter->Release(), 0u);
    }
    EXPECT_EQ(dllCanUnloadNow(), S_OK);
    clearSettings();
    CoUninitialize();
  }

  IPropertyPage* page = nullptr;
  IBaseFilter* filter = nullptr;
};

}  // namespace

TEST_F(SettingsPageObject, CreatedThroughTheRegistryWithItsTitleAndSize) {
  PROPPAGEINFO info{};
  ASSERT_EQ(page->GetPageInfo(&info), S_OK);
  EXPECT_STREQ(info.pszTitle, L"Settings");
  CoTaskMemFree(info.pszTitle);
  // Taller than the About page, as wide.
  IPropertyPage* about = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_FennoriaAboutPage, nullptr, CLSCTX_INPROC_SERVER,
                             IID_IPropertyPage, reinterpret_cast<void**>(&about)),
            S_OK);
  PROPPAGEINFO aboutInfo{};
  ASSERT_EQ(about->GetPageInfo(&aboutInfo), S_OK);
  CoTaskMemFree(aboutInfo.pszTitle);
  EXPECT_EQ(about->Release(), 0u);
  EXPECT_EQ(info.size.cx, aboutInfo.size.cx);
  EXPECT_GT(info.size.cy, aboutInfo.size.cy);
}

TEST_F(SettingsPageObject, InterfacesFollowTheRulesOfQueryInterface) {
  EXPECT_EQ(checkQueryInterfaceRules(page, {IID_IUnknown, IID_IPropertyPage}), "");
  IPropertyPage2* second = nullptr;
  EXPECT_EQ(page->QueryInterface(IID_IPropertyPage2, reinterpret_cast<void**>(&second)),
            E_NOINTERFACE);
  EXPECT_EQ(second, nullptr);
}

TEST_F(SettingsPageObject, HoldsTheFilterFromSetObjectsToSetObjectsOfNone) {
  const ULONG before = referencesOf(filter);
  IUnknown* object = filter;
  ASSERT_EQ(page->SetObjects(1, &object), S_OK);
  EXPECT_GT(referencesOf(filter), before);
  EXPECT_EQ(dllCanUnloadNow(), S_FALSE);
  ASSERT_EQ(page->SetObjects(0, nullptr), S_OK);
  EXPECT_EQ(referencesOf(filter), before);
  // Given again, and then another time: one hold, not two.
  ASSERT_EQ(page->SetObjects(1, &object), S_OK);
  const ULONG held = referencesOf(filter);
  ASSERT_EQ(page->SetObjects(1, &object), S_OK);
  EXPECT_EQ(referencesOf(filter), held);
  ASSERT_EQ(page->SetObjects(0, nullptr), S_OK);
  EXPECT_EQ(referencesOf(filter), before);
}

TEST_F(SettingsPageObject, ReleasedWhileHoldingTheFilterLetsGoOfIt) {
  const ULONG before = referencesOf(filter);
  IUnknown* object = filter;
  ASSERT_EQ(page->SetObjects(1, &object), S_OK);
  EXPECT_EQ(page->Release(), 0u);
  page = nullptr;
  EXPECT_EQ(referencesOf(filter), before);
}

TEST_F(SettingsPageObject, RefusesAnObjectThatIsNotTheFilterAndHoldsNothing) {
  IUnknown* graph = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                             reinterpret_cast<void**>(&graph)),
            S_OK);
  const ULONG before = referencesOf(graph);
  EXPECT_EQ(page->SetObjects(1, &graph), E_NOINTERFACE);
  EXPECT_EQ(referencesOf(graph), before);
  // The pin has the control interface but is not the filter: what the
  // page took of it is given back.
  IFileSourceFilter* source = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&source)), S_OK);
  ASSERT_EQ(source->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  source->Release();
  IPin* pin = nullptr;
  ASSERT_EQ(filter->FindPin(L"Output", &pin), S_OK);
  const ULONG pinBefore = referencesOf(pin);
  IUnknown* pinObject = pin;
  EXPECT_EQ(page->SetObjects(1, &pinObject), E_NOINTERFACE);
  EXPECT_EQ(referencesOf(pin), pinBefore);
  pin->Release();
  IUnknown* none = nullptr;
  EXPECT_EQ(page->SetObjects(1, &none), E_POINTER);
  EXPECT_EQ(page->SetObjects(1, nullptr), E_POINTER);
  graph->Release();
}

// A page nobody changed is not dirty, and applying it changes nothing.
TEST_F(SettingsPageObject, ApplyOfAnUnchangedPageLeavesTheFilterAlone) {
  ISourceControl* control = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control)), S_OK);
  control->SetReadMode(7);
  IUnknown* object = filter;
  CountingSite site;
  ASSERT_EQ(page->SetPageSite(&site), S_OK);
  ASSERT_EQ(page->SetObjects(1, &object), S_OK);
  EXPECT_EQ(page->IsPageDirty(), S_FALSE);
  EXPECT_EQ(page->Apply(), S_OK);
  EXPECT_EQ(control->GetReadMode(), 7);
  EXPECT_EQ(site.changes, 0);
  control->Release();
  ASSERT_EQ(page->SetObjects(0, nullptr), S_OK);
  ASSERT_EQ(page->SetPageSite(nullptr), S_OK);
  EXPECT_EQ(site.references, 1);
}

TEST_F(SettingsPageObject, TakesOneSiteAtATimeAndLetsGoOfIt) {
  CountingSite first, second;
  ASSERT_EQ(page->SetPageSite(&first), S_OK);
  EXPECT_EQ(first.references, 2);
  EXPECT_EQ(page->SetPageSite(&second), E_UNEXPECTED);
  EXPECT_EQ(second.references, 1);
  ASSERT_EQ(page->SetPageSite(nullptr), S_OK);
  EXPECT_EQ(first.references, 1);
}

// Without a display the dialog cannot be made: Activate fails and the page
// stays usable.
TEST_F(SettingsPageObject, ActivateWithoutADisplayFailsCleanly) {
  IUnknown* object = filter;
  ASSERT_EQ(page->SetObjects(1, &object), S_OK);
  RECT area{0, 0, 300, 200};
  EXPECT_TRUE(FAILED(page->Activate(nullptr, &area, FALSE)));
  EXPECT_EQ(page->Deactivate(), E_UNEXPECTED);
  EXPECT_EQ(page->Activate(nullptr, nullptr, FALSE), E_POINTER);
  ASSERT_EQ(page->SetObjects(0, nullptr), S_OK);
}
