#include "dshow/registration.h"

#include <cstdio>
#include <new>
#include <string>

#include "dshow/com_object.h"

namespace dshow {

namespace {

class ClassFactory : public IClassFactory {
 public:
  explicit ClassFactory(const ClassTemplate& entry) : entry_(entry) { moduleObjectCreated(); }
  virtual ~ClassFactory() { moduleObjectDestroyed(); }
  ClassFactory(const ClassFactory&) = delete;
  ClassFactory& operator=(const ClassFactory&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory)) {
      *object = static_cast<IClassFactory*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    return static_cast<ULONG>(InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() override {
    LONG left = InterlockedDecrement(&references_);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    // An aggregating caller must ask for the inner IUnknown.
    if (outer && !IsEqualIID(iid, IID_IUnknown)) return E_NOINTERFACE;
    HRESULT hr = S_OK;
    IUnknown* created = entry_.create(outer, &hr);
    if (!created) return FAILED(hr) ? hr : E_OUTOFMEMORY;
    if (FAILED(hr)) {
      created->Release();
      return hr;
    }
    // `created` is the non-delegating unknown: its QueryInterface never
    // goes to the outer object.
    hr = created->QueryInterface(iid, object);
    created->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    moduleLock(lock != FALSE);
    return S_OK;
  }

 private:
  const ClassTemplate& entry_;
  volatile LONG references_ = 0;
};

std::wstring clsidKeyName(const CLSID& clsid) {
  WCHAR text[40] = {};
  StringFromGUID2(clsid, text, 40);
  return std::wstring(L"CLSID\\") + text;
}

LONG setString(HKEY key, const WCHAR* name, const std::wstring& text) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
}

HRESULT registerClassKeys(const ClassTemplate& entry, const std::wstring& modulePath) {
  std::wstring keyName = clsidKeyName(*entry.clsid);
  HKEY key = nullptr;
  LONG status = RegCreateKeyExW(HKEY_CLASSES_ROOT, keyName.c_str(), 0, nullptr, 0, KEY_WRITE,
                                nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
  status = setString(key, nullptr, entry.name);
  HKEY server = nullptr;
  if (status == ERROR_SUCCESS)
    status = RegCreateKeyExW(key, L"InprocServer32", 0, nullptr, 0, KEY_WRITE, nullptr, &server,
                             nullptr);
  if (status == ERROR_SUCCESS) {
    status = setString(server, nullptr, modulePath);
    if (status == ERROR_SUCCESS) status = setString(server, L"ThreadingModel", L"Both");
    RegCloseKey(server);
  }
  RegCloseKey(key);
  return HRESULT_FROM_WIN32(status);
}

HRESULT unregisterClassKeys(const ClassTemplate& entry) {
  std::wstring keyName = clsidKeyName(*entry.clsid);
  LONG status = RegDeleteTreeW(HKEY_CLASSES_ROOT, keyName.c_str());
  if (status == ERROR_FILE_NOT_FOUND) status = ERROR_SUCCESS;  // already gone
  return HRESULT_FROM_WIN32(status);
}

// COM for the registration calls, when the caller has not set it up.
class ComScope {
 public:
  ComScope() : result_(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
  ~ComScope() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;

 private:
  HRESULT result_;
};

bool isNotFound(HRESULT hr) {
  return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) || hr == VFW_E_NOT_FOUND;
}

}  // namespace

HRESULT getClassObject(const ClassTemplate* table, int count, REFCLSID clsid, REFIID iid,
                       void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_IClassFactory))
    return E_NOINTERFACE;
  for (int i = 0; i < count; ++i) {
    if (!IsEqualCLSID(clsid, *table[i].clsid)) continue;
    auto* factory = new (std::nothrow) ClassFactory(table[i]);
    if (!factory) return E_OUTOFMEMORY;
    return factory->QueryInterface(iid, object);
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT registerFilter(const FilterSetup& setup, bool install) {
  ComScope com;
  IFilterMapper2* mapper2 = nullptr;
  HRESULT hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFilterMapper2, reinterpret_cast<void**>(&mapper2));
  if (SUCCEEDED(hr)) {
    if (install) {
      REGFILTER2 data = {};
      data.dwVersion = 1;
      data.dwMerit = setup.merit;
      data.cPins = setup.pinCount;
      data.rgPins = setup.pins;
      hr = mapper2->RegisterFilter(*setup.clsid, setup.name, nullptr,
                                   &CLSID_LegacyAmFilterCategory, nullptr, &data);
    } else {
      hr = mapper2->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, *setup.clsid);
      if (isNotFound(hr)) hr = S_OK;
    }
    mapper2->Release();
    return hr;
  }
  IFilterMapper* mapper = nullptr;
  hr = CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper,
                        reinterpret_cast<void**>(&mapper));
  if (FAILED(hr)) return hr;
  if (install) {
    hr = mapper->RegisterFilter(*setup.clsid, setup.name, setup.merit);
    for (UINT p = 0; SUCCEEDED(hr) && p < setup.pinCount; ++p) {
      const REGFILTERPINS& pin = setup.pins[p];
      hr = mapper->RegisterPin(*setup.clsid, pin.strName, pin.bRendered, pin.bOutput, pin.bZero,
                               pin.bMany, pin.clsConnectsToFilter ? *pin.clsConnectsToFilter
                                                                  : CLSID_NULL,
                               pin.strConnectsToPin);
      for (UINT t = 0; SUCCEEDED(hr) && t < pin.nMediaTypes; ++t)
        hr = mapper->RegisterPinType(*setup.clsid, pin.strName, *pin.lpMediaType[t].clsMajorType,
                                     *pin.lpMediaType[t].clsMinorType);
    }
  } else {
    hr = mapper->UnregisterFilter(*setup.clsid);
    if (isNotFound(hr)) hr = S_OK;
  }
  mapper->Release();
  return hr;
}

HRESULT registerServer(const ClassTemplate* table, int count, bool install) {
  WCHAR path[MAX_PATH] = {};
  DWORD length = GetModuleFileNameW(moduleInstance(), path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return HRESULT_FROM_WIN32(GetLastError());
  for (int i = 0; i < count; ++i) {
    const ClassTemplate& entry = table[i];
    HRESULT hr = S_OK;
    if (install) {
      hr = registerClassKeys(entry, path);
      if (SUCCEEDED(hr) && entry.setup) hr = registerFilter(*entry.setup, true);
    } else {
      if (entry.setup) hr = registerFilter(*entry.setup, false);
      if (SUCCEEDED(hr)) hr = unregisterClassKeys(entry);
    }
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

}  // namespace dshow
