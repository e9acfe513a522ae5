// The DLL's entry points: the class table (the filter, its About page and
// its Settings page), the list files' extension mapping, and the four
// exports of a COM in-process server.
#include <windows.h>

#include "dshow/com_object.h"
#include "dshow/extension_registration.h"
#include "dshow/registration.h"
#include "filter/about_property_page.h"
#include "filter/settings_property_page.h"
#include "filter/source_filter.h"
#include "filter/source_guids.h"

namespace {

const dshow::ClassTemplate kClasses[] = {
    {L"Ormelund Fennoria", &CLSID_FennoriaSource, SourceFilter::CreateInstance, nullptr,
     &SourceFilter::setupData},
    {L"Ormelund Fennoria : Property Page", &CLSID_FennoriaAboutPage,
     AboutPropertyPage::CreateInstance, nullptr, nullptr},
    {L"Ormelund Fennoria : Settings Page", &CLSID_FennoriaSettingsPage,
     SettingsPropertyPage::CreateInstance, nullptr, nullptr},
};
constexpr int kClassCount = sizeof kClasses / sizeof kClasses[0];

// List files open with the filter in RenderFile and AddSourceFilter.
const dshow::ExtensionSetup kListExtension = {L".lst", &CLSID_FennoriaSource, &kMediaTypeStream,
                                              &kMediaSubtypeMpeg2Program};

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    dshow::setModuleInstance(instance);
    DisableThreadLibraryCalls(instance);
  }
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
  return dshow::getClassObject(kClasses, kClassCount, clsid, iid, object);
}

STDAPI DllCanUnloadNow() { return dshow::moduleCanUnloadNow(); }

STDAPI DllRegisterServer() {
  return dshow::guarded([] {
    HRESULT hr = dshow::registerServer(kClasses, kClassCount, true);
    return FAILED(hr) ? hr : dshow::registerExtension(kListExtension, true);
  });
}

// The mapping goes first, the classes it names after it.
STDAPI DllUnregisterServer() {
  return dshow::guarded([] {
    HRESULT hr = dshow::registerExtension(kListExtension, false);
    return FAILED(hr) ? hr : dshow::registerServer(kClasses, kClassCount, false);
  });
}
