#include "dshow/base_pin.h"

#include <cstring>
#include <cwchar>

#include "dshow/media_type.h"

namespace dshow {

BasePin::BasePin(BaseFilter* filter, CRITICAL_SECTION* lock, const WCHAR* name,
                 PIN_DIRECTION direction)
    : filter_(filter), lock_(lock), direction_(direction) {
  std::wcsncpy(name_, name, MAX_PIN_NAME - 1);
  name_[MAX_PIN_NAME - 1] = 0;
}

BasePin::~BasePin() {
  if (connected_) connected_->Release();
  freeMediaType(mediaType_);
}

HRESULT STDMETHODCALLTYPE BasePin::QueryInterface(REFIID iid, void** object) {
  return NonDelegatingQueryInterface(iid, object);
}
ULONG STDMETHODCALLTYPE BasePin::AddRef() { return filter_->owner()->AddRef(); }
ULONG STDMETHODCALLTYPE BasePin::Release() { return filter_->owner()->Release(); }

HRESULT BasePin::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IPin))
    return getInterface(static_cast<IPin*>(this), object);
  *object = nullptr;
  return E_NOINTERFACE;
}

HRESULT BasePin::checkTypeSafely(const AM_MEDIA_TYPE* type) {
  // An exception must not cross into the caller's (C) code.
  return guarded([&] { return CheckMediaType(type); });
}

HRESULT BasePin::attemptConnection(IPin* receivePin, const AM_MEDIA_TYPE* type) {
  if (checkTypeSafely(type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
  {
    Locked hold(lock_);
    if (connected_) return VFW_E_ALREADY_CONNECTED;
    connected_ = receivePin;
    connected_->AddRef();
    freeMediaType(mediaType_);
    if (FAILED(copyMediaType(&mediaType_, type))) {
      connected_->Release();
      connected_ = nullptr;
      return E_OUTOFMEMORY;
    }
  }
  // Not under the lock: the peer may read from us on another thread now.
  HRESULT hr = receivePin->ReceiveConnection(this, type);
  if (FAILED(hr)) {
    Locked hold(lock_);
    if (connected_ == receivePin) {
      connected_->Release();
      connected_ = nullptr;
      freeMediaType(mediaType_);
    }
    return hr;
  }
  return S_OK;
}

HRESULT BasePin::tryTypes(IPin* receivePin, const AM_MEDIA_TYPE* partial, IEnumMediaTypes* types) {
  HRESULT last = VFW_E_NO_ACCEPTABLE_TYPES;
  AM_MEDIA_TYPE* type = nullptr;
  ULONG fetched = 0;
  while (types->Next(1, &type, &fetched) == S_OK && fetched == 1) {
    HRESULT hr = VFW_E_NO_ACCEPTABLE_TYPES;
    if (!partial || matchesPartially(*type, *partial)) hr = attemptConnection(receivePin, type);
    deleteMediaType(type);
    if (SUCCEEDED(hr)) return hr;
    last = hr;
  }
  return last;
}

HRESULT STDMETHODCALLTYPE BasePin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) {
  if (!receivePin) return E_POINTER;
  {
    Locked hold(lock_);
    if (connected_) return VFW_E_ALREADY_CONNECTED;
    if (filter_->state() != State_Stopped) return VFW_E_NOT_STOPPED;
  }
  if (type && !IsEqualGUID(type->majortype, GUID_NULL) && !IsEqualGUID(type->subtype, GUID_NULL))
    return attemptConnection(receivePin, type);

  IEnumMediaTypes* ours = nullptr;
  if (SUCCEEDED(createMediaTypeEnumerator(this, &ours))) {
    HRESULT hr = tryTypes(receivePin, type, ours);
    ours->Release();
    if (SUCCEEDED(hr)) return hr;
  }
  IEnumMediaTypes* theirs = nullptr;
  if (SUCCEEDED(receivePin->EnumMediaTypes(&theirs)) && theirs) {
    HRESULT hr = tryTypes(receivePin, type, theirs);
    theirs->Release();
    if (SUCCEEDED(hr)) return hr;
  }
  return VFW_E_NO_ACCEPTABLE_TYPES;
}

HRESULT STDMETHODCALLTYPE BasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
  if (!connector || !type) return E_POINTER;
  return E_UNEXPECTED;  // an output pin connects, it is not connected to
}

HRESULT STDMETHODCALLTYPE BasePin::Disconnect() {
  Locked hold(lock_);
  if (filter_->state() != State_Stopped) return VFW_E_NOT_STOPPED;
  if (!connected_) return S_FALSE;
  connected_->Release();
  connected_ = nullptr;
  freeMediaType(mediaType_);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePin::ConnectedTo(IPin** pin) {
  if (!pin) return E_POINTER;
  Locked hold(lock_);
  *pin = connected_;
  if (!connected_) return VFW_E_NOT_CONNECTED;
  connected_->AddRef();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
  if (!type) return E_POINTER;
  Locked hold(lock_);
  if (!connected_) {
    ZeroMemory(type, sizeof *type);
    return VFW_E_NOT_CONNECTED;
  }
  return copyMediaType(type, &mediaType_);
}

HRESULT STDMETHODCALLTYPE BasePin::QueryPinInfo(PIN_INFO* info) {
  if (!info) return E_POINTER;
  info->pFilter = filter_;
  filter_->AddRef();
  std::wcsncpy(info->achName, name_, MAX_PIN_NAME - 1);
  info->achName[MAX_PIN_NAME - 1] = 0;
  info->dir = direction_;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePin::QueryDirection(PIN_DIRECTION* direction) {
  if (!direction) return E_POINTER;
  *direction = direction_;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePin::QueryId(LPWSTR* id) {
  if (!id) return E_POINTER;
  std::size_t bytes = (std::wcslen(name_) + 1) * sizeof(WCHAR);
  *id = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
  if (!*id) return E_OUTOFMEMORY;
  std::memcpy(*id, name_, bytes);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE BasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
  if (!type) return E_POINTER;
  return checkTypeSafely(type) == S_OK ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE BasePin::EnumMediaTypes(IEnumMediaTypes** types) {
  if (!types) return E_POINTER;
  return createMediaTypeEnumerator(this, types);
}

HRESULT STDMETHODCALLTYPE BasePin::QueryInternalConnections(IPin**, ULONG*) { return E_NOTIMPL; }

// A source's output pin receives no data, so these are not for it.
HRESULT STDMETHODCALLTYPE BasePin::EndOfStream() { return E_UNEXPECTED; }
HRESULT STDMETHODCALLTYPE BasePin::BeginFlush() { return E_UNEXPECTED; }
HRESULT STDMETHODCALLTYPE BasePin::EndFlush() { return E_UNEXPECTED; }

HRESULT STDMETHODCALLTYPE BasePin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                              double rate) {
  segmentStart_ = start;
  segmentStop_ = stop;
  segmentRate_ = rate;
  return S_OK;
}

}  // namespace dshow
