#include "filter/source_filter.h"

#include <cstring>
#include <new>

#include "diag/debug_log.h"
#include "dshow/com_object.h"
#include "filter/settings_store.h"
#include "filter/source_guids.h"
#include "ui/progress_window.h"

using dshow::Locked;

namespace {

const REGPINTYPES kPinTypes[] = {{&kMediaTypeStream, &kMediaSubtypeMpeg2Program}};

const REGFILTERPINS kPins[] = {{const_cast<LPWSTR>(L"Output"), FALSE, TRUE, FALSE, FALSE,
                                &CLSID_NULL, nullptr, 1, kPinTypes}};

// Whether the "ShowProgress" setting asks for the window (absent: yes).
bool progressWanted() {
  const std::int32_t absent = -0x7ffffff0;
  std::int32_t value = ReadSettingInt(kSettingsKeyPath, "ShowProgress", absent);
  if (value == absent) return progressWindowWanted(std::nullopt);
  return progressWindowWanted(static_cast<std::uint32_t>(value));
}

}  // namespace

const dshow::FilterSetup SourceFilter::setupData = {&CLSID_FennoriaSource, L"Ormelund Fennoria",
                                                    0x00200000, 1, kPins};

IUnknown* SourceFilter::CreateInstance(IUnknown* outer, HRESULT* result) {
  SourceFilter* filter = nullptr;
  // The filter's members allocate too (the progress window), so a plain new
  // inside the guard: any failure is the same out-of-memory answer.
  *result = dshow::guarded([&] {
    filter = new SourceFilter(outer);
    return S_OK;
  });
  if (!filter) return nullptr;
  filter->NonDelegatingAddRef();
  return filter->nonDelegatingUnknown();
}

SourceFilter::SourceFilter(IUnknown* outer)
    : dshow::BaseFilter(outer, CLSID_FennoriaSource, initialised(&filterLock)),
      statusObject(new ProgressWindow(dshow::moduleInstance())),
      pin(this, &filterLock, &inputer, statusObject.get()) {
  diag::initialise(dshow::moduleInstance());
  FENNORIA_LOG(diag::LOG_TRACE, 0, "\n%s %s %s\n", "Fennoria", __DATE__, __TIME__);
}

SourceFilter::~SourceFilter() {
  stopProgress(*statusObject);
  inputer.close();
  fileList.clear();
  // The members that use the lock are gone before the base filter's
  // destructor, which does not take it.
  DeleteCriticalSection(&filterLock);
}

HRESULT STDMETHODCALLTYPE SourceFilter::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IFileSourceFilter))
    return dshow::getInterface(static_cast<IFileSourceFilter*>(this), object);
  if (IsEqualIID(iid, IID_ISpecifyPropertyPages))
    return dshow::getInterface(static_cast<ISpecifyPropertyPages*>(this), object);
  if (IsEqualIID(iid, IID_IPersistStream))
    return dshow::getInterface(static_cast<IPersistStream*>(this), object);
  if (IsEqualIID(iid, IID_ISourceControl))
    return dshow::getInterface(static_cast<ISourceControl*>(&pin), object);
  if (IsEqualIID(iid, IID_ISettingsPageAccess))
    return dshow::getInterface(static_cast<ISettingsPageAccess*>(this), object);
  return BaseFilter::NonDelegatingQueryInterface(iid, object);
}

int SourceFilter::GetPinCount() { return fileList.count > 0 ? 1 : 0; }

dshow::BasePin* SourceFilter::GetPin(int n) {
  return GetPinCount() > 0 && n == 0 ? &pin : nullptr;
}

HRESULT STDMETHODCALLTYPE SourceFilter::Run(REFERENCE_TIME start) {
  Locked hold(&filterLock);
  running = 1;
  fileList.load(sourceName);
  inputer.close();
  inputer.open(&fileList);
  startProgress(*statusObject, progressWanted(), sourceName, pin.progressTotal());
  return BaseFilter::Run(start);
}

HRESULT STDMETHODCALLTYPE SourceFilter::Stop() {
  Locked hold(&filterLock);
  HRESULT hr = BaseFilter::Stop();
  stopProgress(*statusObject);
  inputer.close();
  fileList.clear();
  return hr;
}

HRESULT STDMETHODCALLTYPE SourceFilter::Load(LPCOLESTR name, const AM_MEDIA_TYPE*) {
  if (!name) return E_POINTER;
  Locked hold(&filterLock);
  if (std::wcslen(name) > 1023) return E_FAIL;
  char converted[1024] = {};
  int bytes = WideCharToMultiByte(CP_ACP, 0, name, -1, converted, 1024, nullptr, nullptr);
  if (bytes == 0) converted[0] = 0;  // does not fit even in 1,023 bytes
  converted[1023] = 0;
  std::memcpy(sourceName, converted, sizeof sourceName);
  // The files of the earlier list are let go first, so that a load that
  // fails leaves nothing open.
  inputer.close();
  fileList.load(sourceName);
  if (fileList.count < 1) return E_FAIL;
  return inputer.open(&fileList);
}

HRESULT STDMETHODCALLTYPE SourceFilter::GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE*) {
  if (!name) return E_POINTER;
  Locked hold(&filterLock);
  int length = MultiByteToWideChar(CP_ACP, 0, sourceName, -1, nullptr, 0);
  if (length < 1) length = 1;
  *name = static_cast<LPOLESTR>(CoTaskMemAlloc(static_cast<size_t>(length) * sizeof(WCHAR)));
  if (!*name) return E_OUTOFMEMORY;
  (*name)[0] = 0;
  MultiByteToWideChar(CP_ACP, 0, sourceName, -1, *name, length);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceFilter::GetPages(CAUUID* pages) {
  if (!pages) return E_POINTER;
  // Opt-in: without the setting the filter names its About page alone.
  const bool settings = ReadSettingInt(kSettingsKeyPath, "SettingsPage", 0) == 1;
  pages->cElems = settings ? 2 : 1;
  pages->pElems = static_cast<GUID*>(CoTaskMemAlloc(pages->cElems * sizeof(GUID)));
  if (!pages->pElems) {
    pages->cElems = 0;
    return E_FAIL;
  }
  pages->pElems[0] = CLSID_FennoriaAboutPage;
  if (settings) pages->pElems[1] = CLSID_FennoriaSettingsPage;
  return S_OK;
}

HRESULT SourceFilter::ReadFromStream(IStream* stream) {
  SourceSettings block;
  ULONG read = 0;
  HRESULT hr = stream->Read(&block, sizeof block, &read);
  if (FAILED(hr)) return hr;
  // A stream that ends early leaves the settings as they were.
  if (read != sizeof block) return E_FAIL;
  block.audioFile[sizeof block.audioFile - 1] = 0;
  pin.restoreSettings(block);
  return S_OK;
}

HRESULT SourceFilter::WriteToStream(IStream*) { return S_OK; }
