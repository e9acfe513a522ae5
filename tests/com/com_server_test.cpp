// The DLL as a COM server under the real COM runtime: registration through
// regsvr32, creation through the registry, aggregation, the rules of
// QueryInterface, reference counts, unloading, and the control interface
// and persistence as a host meets them.
#include <windows.h>
#include <dshow.h>
#include <ocidl.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "com/com_support.h"
#include "fennoria/source_control.h"

using namespace com_tests;

namespace {

const wchar_t kFilterKey[] = L"CLSID\\{3F6A91D2-5C07-4B8E-9A14-C2D85E7B0F31}";
const wchar_t kPageKey[] = L"CLSID\\{A9C4E217-6B3D-4F02-8E5A-17F3B0C6D948}";
const wchar_t kSettingsPageKey[] = L"CLSID\\{B5D1DD5C-85CB-459A-8015-3B6DD038FE39}";
const wchar_t kExtensions[] = L"Media Type\\Extensions";
const wchar_t kListMapping[] = L"Media Type\\Extensions\\.lst";
// Another source filter, as other products' mappings name theirs.
const wchar_t kOtherFilter[] = L"{E436EBB5-524F-11CE-9F53-0020AF0BA770}";

// MEDIASUBTYPE_MPEG2_PROGRAM {E06D8022-DB46-11CF-B4D1-00805F6CBBEA}
const GUID kMpeg2Program = {0xe06d8022, 0xdb46, 0x11cf,
                            {0xb4, 0xd1, 0x00, 0x80, 0x5f, 0x6c, 0xbb, 0xea}};

std::wstring readString(HKEY root, const std::wstring& key, const wchar_t* name) {
  WCHAR text[MAX_PATH] = {};
  DWORD size = sizeof text;
  if (RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size) != ERROR_SUCCESS)
    return L"<missing>";
  return text;
}

// Every value of a key as text, by name: strings as they are, other types
// by their type number.
std::map<std::wstring, std::wstring> valuesOf(HKEY root, const std::wstring& key) {
  std::map<std::wstring, std::wstring> values;
  HKEY opened = nullptr;
  if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return values;
  for (DWORD i = 0;; ++i) {
    WCHAR name[256] = {};
    DWORD nameLength = 256;
    WCHAR data[256] = {};
    DWORD size = sizeof data - sizeof(WCHAR);
    DWORD type = 0;
    if (RegEnumValueW(opened, i, name, &nameLength, nullptr, &type, reinterpret_cast<BYTE*>(data),
                      &size) != ERROR_SUCCESS)
      break;
    values[name] = type == REG_SZ ? std::wstring(data) : L"<type " + std::to_wstring(type) + L">";
  }
  RegCloseKey(opened);
  return values;
}

void writeMapping(const std::wstring& key, const wchar_t* sourceFilter) {
  HKEY made = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                            &made, nullptr),
            ERROR_SUCCESS);
  const std::pair<const wchar_t*, const wchar_t*> values[] = {
      {L"Source Filter", sourceFilter},
      {L"Media Type", L"{E436EB83-524F-11CE-9F53-0020AF0BA770}"},
      {L"Subtype", L"{E436EB87-524F-11CE-9F53-0020AF0BA770}"}};
  for (const auto& v : values)
    RegSetValueExW(made, v.first, 0, REG_SZ, reinterpret_cast<const BYTE*>(v.second),
                   static_cast<DWORD>((std::wcslen(v.second) + 1) * sizeof(wchar_t)));
  RegCloseKey(made);
}

bool keyExists(HKEY root, const std::wstring& key) {
  HKEY opened = nullptr;
  if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return false;
  RegCloseKey(opened);
  return true;
}

DWORD runRegsvr32(const std::wstring& arguments) {
  std::wstring command = L"regsvr32.exe /s " + arguments + L" \"" + dllPath() + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &process))
    return 0xFFFFFFFF;
  WaitForSingleObject(process.hProcess, 60000);
  DWORD code = 0xFFFFFFFF;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return code;
}

// Whether the filter mapper finds our filter for the stream type among the
// filters of at least `merit`.
bool mapperFindsTheFilter(DWORD merit = 0x00200000) {
  IFilterMapper2* mapper = nullptr;
  if (FAILED(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                              IID_IFilterMapper2, reinterpret_cast<void**>(&mapper))))
    return false;
  GUID types[2] = {MEDIATYPE_Stream, kMpeg2Program};
  IEnumMoniker* found = nullptr;
  bool seen = false;
  if (SUCCEEDED(mapper->EnumMatchingFilters(&found, 0, TRUE, merit, FALSE, 1, types, nullptr,
                                            nullptr, FALSE, TRUE, 0, nullptr, nullptr, nullptr)) &&
      found) {
    IMoniker* moniker = nullptr;
    while (!seen && found->Next(1, &moniker, nullptr) == S_OK) {
      IPropertyBag* bag = nullptr;
      if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag,
                                           reinterpret_cast<void**>(&bag)))) {
        VARIANT clsid;
        VariantInit(&clsid);
        VARIANT name;
        VariantInit(&name);
        if (SUCCEEDED(bag->Read(L"CLSID", &clsid, nullptr)) && clsid.vt == VT_BSTR &&
            _wcsicmp(clsid.bstrVal, L"{3F6A91D2-5C07-4B8E-9A14-C2D85E7B0F31}") == 0 &&
            SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr)) && name.vt == VT_BSTR &&
            std::wcscmp(name.bstrVal, L"Ormelund Fennoria") == 0)
          seen = true;
        VariantClear(&clsid);
        VariantClear(&name);
        bag->Release();
      }
      moniker->Release();
    }
    found->Release();
  }
  mapper->Release();
  return seen;
}

// The mapper's record of the filter, as the mapper wrote it under the
// legacy filter category: a head of four 32-bit words (format version,
// merit, pin count, unused), then per pin a "0pi3" record (flags,
// instances, media type count, medium count, category offset) and per
// media type a "0ty3" record whose last two words are offsets of the major
// type and subtype inside the blob.
struct FilterData {
  bool read = false;
  DWORD version = 0, merit = 0, pins = 0;
  DWORD pinFlags = 0, instances = 0, mediaTypes = 0, mediums = 0, category = 0;
  char pinSignature[5] = {};
  char typeSignature[5] = {};
  GUID major{}, minor{};
};

FilterData readFilterData() {
  FilterData data;
  BYTE blob[1024] = {};
  DWORD size = sizeof blob;
  if (RegGetValueW(HKEY_CLASSES_ROOT,
                   L"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\"
                   L"{3F6A91D2-5C07-4B8E-9A14-C2D85E7B0F31}",
                   L"FilterData", RRF_RT_REG_BINARY, nullptr, blob, &size) != ERROR_SUCCESS)
    return data;
  auto word = [&](DWORD at) {
    DWORD value = 0;
    if (at + 4 <= size) std::memcpy(&value, blob + at, 4);
    return value;
  };
  auto guid = [&](DWORD at, GUID* out) {
    if (at + sizeof(GUID) <= size) std::memcpy(out, blob + at, sizeof(GUID));
  };
  if (size < 16 + 24 + 16) return data;
  data.read = true;
  data.version = word(0);
  data.merit = word(4);
  data.pins = word(8);
  std::memcpy(data.pinSignature, blob + 16, 4);
  data.pinFlags = word(20);
  data.instances = word(24);
  data.mediaTypes = word(28);
  data.mediums = word(32);
  data.category = word(36);
  std::memcpy(data.typeSignature, blob + 40, 4);
  guid(word(48), &data.major);
  guid(word(52), &data.minor);
  return data;
}

class ComServer : public testing::Test {
 protected:
  void SetUp() override { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  void TearDown() override { CoUninitialize(); }

  IBaseFilter* createFilter() {
    IBaseFilter* filter = nullptr;
    EXPECT_EQ(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                               reinterpret_cast<void**>(&filter)),
              S_OK);
    return filter;
  }
};

// An outer object that only counts its references and hands out the inner
// object's interfaces.
class Outer : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (IsEqualIID(iid, IID_IUnknown)) {
      *object = this;
      AddRef();
      return S_OK;
    }
    return inner->QueryInterface(iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }
  long references = 1;
  IUnknown* inner = nullptr;
};

}  // namespace

TEST(Registration, Regsvr32WritesTheClassKeysAndTheMapperEntryAndRemovesThem) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  ASSERT_EQ(runRegsvr32(L""), 0u);
  EXPECT_EQ(readString(HKEY_CLASSES_ROOT, kFilterKey, nullptr), L"Ormelund Fennoria");
  EXPECT_EQ(_wcsicmp(readString(HKEY_CLASSES_ROOT, std::wstring(kFilterKey) + L"\\InprocServer32",
                                nullptr).c_str(),
                     dllPath().c_str()),
            0);
  EXPECT_EQ(readString(HKEY_CLASSES_ROOT, std::wstring(kFilterKey) + L"\\InprocServer32",
                       L"ThreadingModel"),
            L"Both");
  EXPECT_EQ(readString(HKEY_CLASSES_ROOT, kPageKey, nullptr), L"Ormelund Fennoria : Property Page");
  EXPECT_EQ(_wcsicmp(readString(HKEY_CLASSES_ROOT, std::wstring(kPageKey) + L"\\InprocServer32",
                                nullptr).c_str(),
                     dllPath().c_str()),
            0);
  EXPECT_EQ(readString(HKEY_CLASSES_ROOT, std::wstring(kPageKey) + L"\\InprocServer32",
                       L"ThreadingModel"),
            L"Both");
  EXPECT_TRUE(mapperFindsTheFilter());

  ASSERT_EQ(runRegsvr32(L"/u"), 0u);
  EXPECT_FALSE(keyExists(HKEY_CLASSES_ROOT, kFilterKey));
  EXPECT_FALSE(keyExists(HKEY_CLASSES_ROOT, kPageKey));
  EXPECT_FALSE(mapperFindsTheFilter());
  // The other tests of this run use the run's registration.
  EXPECT_EQ(dllRegisterServer(), S_OK);
  CoUninitialize();
}

// The Settings page's class is registered beside the two others, and goes
// with them.
TEST(Registration, Regsvr32WritesTheSettingsPageClassAndRemovesIt) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  ASSERT_EQ(runRegsvr32(L""), 0u);
  EXPECT_EQ(readString(HKEY_CLASSES_ROOT, kSettingsPageKey, nullptr),
            L"Ormelund Fennoria : Settings Page");
  EXPECT_EQ(_wcsicmp(readString(HKEY_CLASSES_ROOT,
                                std::wstring(kSettingsPageKey) + L"\\InprocServer32", nullptr)
                         .c_str(),
                     dllPath().c_str()),
            0);
  EXPECT_EQ(readString(HKEY_CLASSES_ROOT, std::wstring(kSettingsPageKey) + L"\\InprocServer32",
                       L"ThreadingModel"),
            L"Both");
  ASSERT_EQ(runRegsvr32(L"/u"), 0u);
  EXPECT_FALSE(keyExists(HKEY_CLASSES_ROOT, kSettingsPageKey));
  EXPECT_EQ(dllRegisterServer(), S_OK);
  CoUninitialize();
}

// regsvr32 maps list files to the filter for the graph builder; /u removes
// exactly that mapping, and another filter's mapping of another extension
// (the platform's own .mp3, and one of the test's) stays as it was.
TEST(Registration, Regsvr32MapsListFilesToTheFilterAndUnregisteringRemovesOnlyThat) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const std::wstring other = std::wstring(kExtensions) + L"\\.fennoria-test";
  writeMapping(other, kOtherFilter);
  const auto otherBefore = valuesOf(HKEY_CLASSES_ROOT, other);
  const auto mp3Before = valuesOf(HKEY_CLASSES_ROOT, std::wstring(kExtensions) + L"\\.mp3");
  ASSERT_EQ(otherBefore.size(), 3u);

  ASSERT_EQ(runRegsvr32(L""), 0u);
  const auto mapping = valuesOf(HKEY_CLASSES_ROOT, kListMapping);
  EXPECT_EQ(mapping.size(), 3u);
  ASSERT_EQ(mapping.count(L"Source Filter"), 1u);
  EXPECT_EQ(_wcsicmp(mapping.at(L"Source Filter").c_str(),
                     L"{3F6A91D2-5C07-4B8E-9A14-C2D85E7B0F31}"),
            0);
  ASSERT_EQ(mapping.count(L"Media Type"), 1u);
  EXPECT_EQ(_wcsicmp(mapping.at(L"Media Type").c_str(), L"{E436EB83-524F-11CE-9F53-0020AF0BA770}"),
            0);
  ASSERT_EQ(mapping.count(L"Subtype"), 1u);
  EXPECT_EQ(_wcsicmp(mapping.at(L"Subtype").c_str(), L"{E06D8022-DB46-11CF-B4D1-00805F6CBBEA}"), 0);
  // Registering again leaves one mapping.
  ASSERT_EQ(runRegsvr32(L""), 0u);
  EXPECT_EQ(valuesOf(HKEY_CLASSES_ROOT, kListMapping), mapping);

  ASSERT_EQ(runRegsvr32(L"/u"), 0u);
  EXPECT_FALSE(keyExists(HKEY_CLASSES_ROOT, kListMapping));
  EXPECT_TRUE(keyExists(HKEY_CLASSES_ROOT, kExtensions));
  EXPECT_EQ(valuesOf(HKEY_CLASSES_ROOT, other), otherBefore);
  EXPECT_EQ(valuesOf(HKEY_CLASSES_ROOT, std::wstring(kExtensions) + L"\\.mp3"), mp3Before);
  // Unregistering what is gone is no failure.
  EXPECT_EQ(runRegsvr32(L"/u"), 0u);

  RegDeleteTreeW(HKEY_CLASSES_ROOT, other.c_str());
  EXPECT_EQ(dllRegisterServer(), S_OK);
  CoUninitialize();
}

// A mapping of list files to another filter is someone's choice: neither
// registering nor unregistering touches it.
TEST(Registration, AnotherFiltersListMappingIsLeftAsItIs) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  ASSERT_EQ(runRegsvr32(L"/u"), 0u);
  writeMapping(kListMapping, kOtherFilter);
  const auto before = valuesOf(HKEY_CLASSES_ROOT, kListMapping);
  ASSERT_EQ(before.size(), 3u);
  ASSERT_EQ(runRegsvr32(L""), 0u);
  EXPECT_EQ(valuesOf(HKEY_CLASSES_ROOT, kListMapping), before);
  ASSERT_EQ(runRegsvr32(L"/u"), 0u);
  EXPECT_EQ(valuesOf(HKEY_CLASSES_ROOT, kListMapping), before);
  RegDeleteTreeW(HKEY_CLASSES_ROOT, kListMapping);
  EXPECT_EQ(dllRegisterServer(), S_OK);
  EXPECT_EQ(_wcsicmp(valuesOf(HKEY_CLASSES_ROOT, kListMapping)[L"Source Filter"].c_str(),
                     L"{3F6A91D2-5C07-4B8E-9A14-C2D85E7B0F31}"),
            0);
  CoUninitialize();
}

// What the mapper keeps of the filter: merit 0x00200000 exactly (found at
// that merit, not above it), one output pin that is neither rendered, nor
// optional, nor many, with the program stream as its one media type.
TEST(Registration, MapperRecordHoldsTheMeritThePinAndItsMediaType) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  ASSERT_EQ(dllRegisterServer(), S_OK);
  EXPECT_TRUE(mapperFindsTheFilter(0x00200000));
  EXPECT_FALSE(mapperFindsTheFilter(0x00200001));
  const FilterData data = readFilterData();
  ASSERT_TRUE(data.read);
  EXPECT_EQ(data.version, 2u);
  EXPECT_EQ(data.merit, 0x00200000u);
  EXPECT_EQ(data.pins, 1u);
  EXPECT_STREQ(data.pinSignature, "0pi3");
  EXPECT_EQ(data.pinFlags, 0x8u);  // output only: not zero, not rendered, not many
  EXPECT_EQ(data.instances, 1u);  // the mapper's count for a pin that is neither optional nor many
  EXPECT_EQ(data.mediaTypes, 1u);
  EXPECT_EQ(data.mediums, 0u);
  EXPECT_EQ(data.category, 0u);
  EXPECT_STREQ(data.typeSignature, "0ty3");
  const GUID stream = {0xe436eb83, 0x524f, 0x11ce, {0x9f, 0x53, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
  EXPECT_TRUE(IsEqualGUID(data.major, stream));
  EXPECT_TRUE(IsEqualGUID(data.minor, kMpeg2Program));
  CoUninitialize();
}

// The pin as the mapper's clients meet it once the filter is made: its name
// and its direction.
TEST(Registration, FiltersPinIsTheOutputNamedOutput) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  IBaseFilter* filter = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                             reinterpret_cast<void**>(&filter)),
            S_OK);
  IFileSourceFilter* source = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&source)), S_OK);
  ASSERT_EQ(source->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  source->Release();
  IPin* pin = nullptr;
  ASSERT_EQ(filter->FindPin(L"Output", &pin), S_OK);
  PIN_INFO info{};
  ASSERT_EQ(pin->QueryPinInfo(&info), S_OK);
  EXPECT_STREQ(info.achName, L"Output");
  EXPECT_EQ(info.dir, PINDIR_OUTPUT);
  if (info.pFilter) info.pFilter->Release();
  pin->Release();
  EXPECT_EQ(filter->Release(), 0u);
  CoUninitialize();
}

TEST_F(ComServer, CreatesTheFilterThroughTheRegistry) {
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  CLSID clsid{};
  EXPECT_EQ(filter->GetClassID(&clsid), S_OK);
  EXPECT_TRUE(IsEqualCLSID(clsid, CLSID_FennoriaSource));
  EXPECT_EQ(filter->Release(), 0u);
}

TEST_F(ComServer, CreatesTheAboutPageWithItsTitle) {
  IPropertyPage* page = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_FennoriaAboutPage, nullptr, CLSCTX_INPROC_SERVER,
                             IID_IPropertyPage, reinterpret_cast<void**>(&page)),
            S_OK);
  PROPPAGEINFO info{};
  ASSERT_EQ(page->GetPageInfo(&info), S_OK);
  EXPECT_STREQ(info.pszTitle, L"About");
  EXPECT_GT(info.size.cx, 0);
  CoTaskMemFree(info.pszTitle);
  EXPECT_EQ(page->Release(), 0u);
}

TEST_F(ComServer, AggregatedFilterSendsItsReferencesToTheOuterObject) {
  Outer outer;
  IUnknown* inner = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_FennoriaSource, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown,
                             reinterpret_cast<void**>(&inner)),
            S_OK);
  outer.inner = inner;
  IBaseFilter* filter = nullptr;
  ASSERT_EQ(inner->QueryInterface(IID_IBaseFilter, reinterpret_cast<void**>(&filter)), S_OK);
  EXPECT_EQ(outer.references, 2);  // the reference went to the outer object
  IUnknown* identity = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
  EXPECT_EQ(identity, &outer);  // the outer object is the identity
  identity->Release();
  filter->Release();
  EXPECT_EQ(outer.references, 1);
  EXPECT_EQ(inner->Release(), 0u);
  EXPECT_EQ(dllCanUnloadNow(), S_OK);
}

TEST_F(ComServer, AggregationMustAskForIUnknown) {
  Outer outer;
  IBaseFilter* filter = nullptr;
  EXPECT_NE(CoCreateInstance(CLSID_FennoriaSource, &outer, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                             reinterpret_cast<void**>(&filter)),
            S_OK);
  EXPECT_EQ(filter, nullptr);
}

TEST_F(ComServer, FilterInterfacesFollowTheRulesOfQueryInterface) {
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  EXPECT_EQ(checkQueryInterfaceRules(filter, {IID_IUnknown, IID_IBaseFilter, IID_IMediaFilter,
                                              IID_IPersist, IID_IAMovieSetup, IID_IFileSourceFilter,
                                              IID_ISpecifyPropertyPages, IID_IPersistStream}),
            "");
  EXPECT_EQ(filter->Release(), 0u);
}

// The filter answers ISourceControl with the pin's own interface: the same
// pointer the pin gives, whose identity is the pin's, and whose references
// keep the filter alive.
TEST_F(ComServer, FilterHandsOutThePinsControlInterface) {
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  IFileSourceFilter* source = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&source)), S_OK);
  ASSERT_EQ(source->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  source->Release();
  IPin* pin = nullptr;
  ASSERT_EQ(filter->FindPin(L"Output", &pin), S_OK);
  ISourceControl* fromFilter = nullptr;
  ISourceControl* fromPin = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&fromFilter)), S_OK);
  ASSERT_EQ(pin->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&fromPin)), S_OK);
  EXPECT_EQ(fromFilter, fromPin);
  IUnknown* identity = nullptr;
  IUnknown* pinIdentity = nullptr;
  ASSERT_EQ(fromFilter->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
  ASSERT_EQ(pin->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&pinIdentity)), S_OK);
  EXPECT_EQ(identity, pinIdentity);
  identity->Release();
  pinIdentity->Release();
  fromPin->Release();
  pin->Release();
  EXPECT_EQ(filter->Release(), 1u);  // the control interface still holds it
  EXPECT_EQ(fromFilter->SetReadMode(0), S_OK);
  EXPECT_EQ(fromFilter->Release(), 0u);
  EXPECT_EQ(dllCanUnloadNow(), S_OK);
}

TEST_F(ComServer, PinInterfacesFollowTheRulesOfQueryInterface) {
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  IFileSourceFilter* source = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&source)), S_OK);
  ASSERT_EQ(source->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  source->Release();
  IPin* pin = nullptr;
  ASSERT_EQ(filter->FindPin(L"Output", &pin), S_OK);
  EXPECT_EQ(checkQueryInterfaceRules(pin, {IID_IUnknown, IID_IPin, IID_IAsyncReader,
                                           IID_ISourceControl}),
            "");
  IMediaSeeking* seeking = nullptr;
  EXPECT_EQ(pin->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking)),
            E_NOINTERFACE);
  pin->Release();
  EXPECT_EQ(filter->Release(), 0u);
}

TEST_F(ComServer, ReferenceCountsReturnToZeroAndTheModuleCanUnload) {
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  EXPECT_EQ(dllCanUnloadNow(), S_FALSE);
  IEnumPins* pins = nullptr;
  ASSERT_EQ(filter->EnumPins(&pins), S_OK);
  ISourceControl* control = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control)), S_OK);
  EXPECT_EQ(pins->Release(), 0u);
  EXPECT_EQ(control->Release(), 1u);
  EXPECT_EQ(filter->Release(), 0u);
  EXPECT_EQ(dllCanUnloadNow(), S_OK);

  IClassFactory* factory = nullptr;
  ASSERT_EQ(CoGetClassObject(CLSID_FennoriaSource, CLSCTX_INPROC_SERVER, nullptr,
                             IID_IClassFactory, reinterpret_cast<void**>(&factory)),
            S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  factory->Release();
  EXPECT_EQ(dllCanUnloadNow(), S_FALSE);
  ASSERT_EQ(CoGetClassObject(CLSID_FennoriaSource, CLSCTX_INPROC_SERVER, nullptr,
                             IID_IClassFactory, reinterpret_cast<void**>(&factory)),
            S_OK);
  factory->LockServer(FALSE);
  factory->Release();
  EXPECT_EQ(dllCanUnloadNow(), S_OK);
}

// The control interface as a C host sees it: slots 3 to 12 in the published order.
TEST_F(ComServer, SourceControlSlotsAreInThePublishedOrder) {
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  ISourceControl* control = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control)), S_OK);
  void** slots = *reinterpret_cast<void***>(control);
  using NoArgument = HRESULT(STDMETHODCALLTYPE*)(void*);
  using IntArgument = HRESULT(STDMETHODCALLTYPE*)(void*, int);
  using IntResult = int(STDMETHODCALLTYPE*)(void*);
  using TextArgument = HRESULT(STDMETHODCALLTYPE*)(void*, const char*);
  using AudioArguments = HRESULT(STDMETHODCALLTYPE*)(void*, const char*, int, int);
  using SubtitleArguments = HRESULT(STDMETHODCALLTYPE*)(void*, const char*, int);
  using DoubleResult = double(STDMETHODCALLTYPE*)(void*);

  EXPECT_EQ(reinterpret_cast<IntArgument>(slots[4])(control, 7), S_OK);  // SetReadMode
  EXPECT_EQ(reinterpret_cast<IntResult>(slots[5])(control), 7);          // GetReadMode
  EXPECT_EQ(reinterpret_cast<IntArgument>(slots[6])(control, 2), S_OK);  // SetTitle
  EXPECT_EQ(reinterpret_cast<IntArgument>(slots[7])(control, 1), S_OK);  // SetPgc
  EXPECT_EQ(reinterpret_cast<IntArgument>(slots[8])(control, 3), S_OK);  // SetAudioStream
  EXPECT_EQ(reinterpret_cast<TextArgument>(slots[9])(control, "x.ac3"), S_OK);  // SetAudioFile
  EXPECT_EQ(reinterpret_cast<AudioArguments>(slots[10])(control, "a.ac3", 0, 1), S_OK);
  EXPECT_EQ(reinterpret_cast<SubtitleArguments>(slots[11])(control, "s.sup", 0), S_OK);
  EXPECT_EQ(reinterpret_cast<DoubleResult>(slots[12])(control), 2.0);  // GetSomeParam
  EXPECT_EQ(reinterpret_cast<NoArgument>(slots[3])(control), S_OK);    // ResetSettings
  EXPECT_EQ(reinterpret_cast<IntResult>(slots[5])(control), 0);
  control->Release();
  EXPECT_EQ(filter->Release(), 0u);
}

// The identifiers as clients outside this tree write them.
TEST_F(ComServer, PublishedIdentifiersReachTheFilterThePageAndTheControlInterface) {
  const CLSID filterClass = {0x3f6a91d2, 0x5c07, 0x4b8e,
                             {0x9a, 0x14, 0xc2, 0xd8, 0x5e, 0x7b, 0x0f, 0x31}};
  const CLSID pageClass = {0xa9c4e217, 0x6b3d, 0x4f02,
                           {0x8e, 0x5a, 0x17, 0xf3, 0xb0, 0xc6, 0xd9, 0x48}};
  const IID control = {0x5d2b7e40, 0xc18f, 0x4a63, {0xb7, 0xd9, 0x0e, 0x4f, 0x62, 0xa1, 0xc8, 0x35}};
  EXPECT_TRUE(IsEqualIID(IID_ISourceControl, control));
  IBaseFilter* filter = nullptr;
  ASSERT_EQ(CoCreateInstance(filterClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                             reinterpret_cast<void**>(&filter)),
            S_OK);
  IUnknown* reached = nullptr;
  ASSERT_EQ(filter->QueryInterface(control, reinterpret_cast<void**>(&reached)), S_OK);
  reached->Release();
  EXPECT_EQ(filter->Release(), 0u);
  IPropertyPage* page = nullptr;
  ASSERT_EQ(CoCreateInstance(pageClass, nullptr, CLSCTX_INPROC_SERVER, IID_IPropertyPage,
                             reinterpret_cast<void**>(&page)),
            S_OK);
  EXPECT_EQ(page->Release(), 0u);
}

TEST_F(ComServer, PersistedBlockIsLoadedFromAStreamAndSavingWritesNothing) {
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  IPersistStream* persist = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_IPersistStream, reinterpret_cast<void**>(&persist)), S_OK);
  ULARGE_INTEGER size{};
  EXPECT_EQ(persist->GetSizeMax(&size), S_OK);
  EXPECT_EQ(size.QuadPart, 300u);

  IStream* stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  unsigned char block[276] = {};
  const int numbers[6] = {2, 3, 0, 1, 9, 4};
  for (int i = 0; i < 6; ++i)
    for (int b = 0; b < 4; ++b) block[i * 4 + b] = static_cast<unsigned char>(numbers[i] >> (8 * b));
  std::strcpy(reinterpret_cast<char*>(block + 24), "d:/audio.ac3");
  ULONG written = 0;
  ASSERT_EQ(stream->Write(block, sizeof block, &written), S_OK);
  LARGE_INTEGER start{};
  stream->Seek(start, STREAM_SEEK_SET, nullptr);
  EXPECT_EQ(persist->Load(stream), S_OK);
  ULARGE_INTEGER where{};
  stream->Seek(start, STREAM_SEEK_CUR, &where);
  EXPECT_EQ(where.QuadPart, 276u);  // exactly the block was read

  ISourceControl* control = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control)), S_OK);
  EXPECT_EQ(control->GetReadMode(), 2);
  control->Release();

  IStream* saved = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &saved), S_OK);
  EXPECT_EQ(persist->Save(saved, TRUE), S_OK);
  STATSTG stat{};
  saved->Stat(&stat, STATFLAG_NONAME);
  EXPECT_EQ(stat.cbSize.QuadPart, 0u);
  saved->Release();

  // A stream that ends early fails and leaves the settings alone.
  IStream* shortStream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &shortStream), S_OK);
  shortStream->Write(block, 100, &written);
  shortStream->Seek(start, STREAM_SEEK_SET, nullptr);
  EXPECT_TRUE(FAILED(persist->Load(shortStream)));
  shortStream->Release();
  ASSERT_EQ(filter->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control)), S_OK);
  EXPECT_EQ(control->GetReadMode(), 2);
  control->Release();

  stream->Release();
  persist->Release();
  EXPECT_EQ(filter->Release(), 0u);
}
