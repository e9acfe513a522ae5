// The DLL's entry points: the class table (the filter and its About page)
// and the four exports of a COM in-process server.
#include <windows.h>

#include "dshow/com_object.h"
#include "dshow/registration.h"
#include "filter/about_property_page.h"
#include "filter/source_filter.h"

namespace {

const dshow::ClassTemplate kClasses[] = {
    {L"Ormelund Fennoria", &CLSID_FennoriaSource, SourceFilter::CreateInstance, nullptr,
     &SourceFilter::setupData},
    {L"Ormelund Fennoria : Property Page", &CLSID_FennoriaAboutPage,
     AboutPropertyPage::CreateInstance, nullptr, nullptr},
};
constexpr int kClassCount = sizeof kClasses / sizeof kClasses[0];

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
  return dshow::guarded([] { return dshow::registerServer(kClasses, kClassCount, true); });
}

STDAPI DllUnregisterServer() {
  return dshow::guarded([] { return dshow::registerServer(kClasses, kClassCount, false); });
}
