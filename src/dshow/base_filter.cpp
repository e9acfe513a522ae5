#include "dshow/base_filter.h"

#include <cwchar>

#include "dshow/base_pin.h"
#include "dshow/registration.h"

namespace dshow {

BaseFilter::BaseFilter(IUnknown* outer, const CLSID& clsid, CRITICAL_SECTION* lock)
    : ComObject(outer), lock_(lock), clsid_(clsid) {}

BaseFilter::~BaseFilter() {
  if (clock_) clock_->Release();
}

HRESULT STDMETHODCALLTYPE BaseFilter::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IBaseFilter) || IsEqualIID(iid, IID_IMediaFilter) ||
      IsEqualIID(iid, IID_IPersist))
    return getInterface(static_cast<IBaseFilter*>(this), object);
  if (IsEqualIID(iid, IID_IAMovieSetup))
    return getInterface(static_cast<IAMovieSetup*>(this), object);
  return ComObject::NonDelegatingQueryInterface(iid, object);
}

HRESULT STDMETHODCALLTYPE BaseFilter::GetClassID(CLSID* clsid) {
  if (!clsid) return E_POINTER;
  *clsid = clsid_;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::Stop() {
  Locked hold(lock_);
  HRESULT result = S_OK;
  if (state_ != State_Stopped) {
    for (int i = 0, n = GetPinCount(); i < n; ++i) {
      BasePin* pin = GetPin(i);
      if (pin && pin->isConnected()) {
        HRESULT hr = pin->Inactive();
        if (FAILED(hr) && SUCCEEDED(result)) result = hr;
      }
    }
  }
  state_ = State_Stopped;
  return result;
}

HRESULT STDMETHODCALLTYPE BaseFilter::Pause() {
  Locked hold(lock_);
  if (state_ == State_Stopped) {
    for (int i = 0, n = GetPinCount(); i < n; ++i) {
      BasePin* pin = GetPin(i);
      if (pin && pin->isConnected()) {
        HRESULT hr = pin->Active();
        if (FAILED(hr)) return hr;
      }
    }
  }
  state_ = State_Paused;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::Run(REFERENCE_TIME start) {
  Locked hold(lock_);
  start_ = start;
  if (state_ == State_Stopped) {
    HRESULT hr = Pause();
    if (FAILED(hr)) return hr;
  }
  state_ = State_Running;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::GetState(DWORD, FILTER_STATE* state) {
  if (!state) return E_POINTER;
  *state = state_;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::SetSyncSource(IReferenceClock* clock) {
  Locked hold(lock_);
  if (clock) clock->AddRef();
  if (clock_) clock_->Release();
  clock_ = clock;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::GetSyncSource(IReferenceClock** clock) {
  if (!clock) return E_POINTER;
  Locked hold(lock_);
  *clock = clock_;
  if (clock_) clock_->AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::EnumPins(IEnumPins** pins) {
  if (!pins) return E_POINTER;
  return createPinEnumerator(this, pins);
}

HRESULT STDMETHODCALLTYPE BaseFilter::FindPin(LPCWSTR id, IPin** pin) {
  if (!id || !pin) return E_POINTER;
  *pin = nullptr;
  for (int i = 0, n = GetPinCount(); i < n; ++i) {
    BasePin* candidate = GetPin(i);
    if (candidate && std::wcscmp(candidate->name(), id) == 0) {
      *pin = candidate;
      candidate->AddRef();
      return S_OK;
    }
  }
  return VFW_E_NOT_FOUND;
}

HRESULT STDMETHODCALLTYPE BaseFilter::QueryFilterInfo(FILTER_INFO* info) {
  if (!info) return E_POINTER;
  std::wcsncpy(info->achName, name_, MAX_FILTER_NAME - 1);
  info->achName[MAX_FILTER_NAME - 1] = 0;
  info->pGraph = graph_;
  if (graph_) graph_->AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
  Locked hold(lock_);
  graph_ = graph;
  name_[0] = 0;
  if (name) {
    std::wcsncpy(name_, name, MAX_FILTER_NAME - 1);
    name_[MAX_FILTER_NAME - 1] = 0;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BaseFilter::QueryVendorInfo(LPWSTR*) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE BaseFilter::Register() {
  const FilterSetup* setup = GetSetupData();
  return setup ? registerFilter(*setup, true) : S_FALSE;
}

HRESULT STDMETHODCALLTYPE BaseFilter::Unregister() {
  const FilterSetup* setup = GetSetupData();
  return setup ? registerFilter(*setup, false) : S_FALSE;
}

}  // namespace dshow
