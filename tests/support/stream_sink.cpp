#include "support/stream_sink.h"

#include <uuids.h>

namespace testing_support {

StreamSinkPin::StreamSinkPin(dshow::BaseFilter* filter, CRITICAL_SECTION* lock)
    : dshow::BasePin(filter, lock, L"Input", PINDIR_INPUT) {}

StreamSinkPin::~StreamSinkPin() {
  if (reader) reader->Release();
}

HRESULT StreamSinkPin::GetMediaType(int position, AM_MEDIA_TYPE* type) {
  if (!type) return E_POINTER;
  if (position < 0) return E_INVALIDARG;
  return VFW_S_NO_MORE_ITEMS;
}

HRESULT StreamSinkPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
  return type && IsEqualGUID(type->majortype, MEDIATYPE_Stream) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE StreamSinkPin::ReceiveConnection(IPin* connector,
                                                           const AM_MEDIA_TYPE* type) {
  if (!connector || !type) return E_POINTER;
  if (connected_) return VFW_E_ALREADY_CONNECTED;
  if (CheckMediaType(type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
  IAsyncReader* source = nullptr;
  if (FAILED(connector->QueryInterface(IID_IAsyncReader, reinterpret_cast<void**>(&source))))
    return VFW_E_NO_TRANSPORT;
  if (reader) reader->Release();
  reader = source;
  HRESULT hr = readerTaken();
  if (FAILED(hr)) return hr;
  connected_ = connector;
  connected_->AddRef();
  mediaType_ = *type;
  mediaType_.pbFormat = nullptr;
  mediaType_.cbFormat = 0;
  mediaType_.pUnk = nullptr;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE StreamSinkPin::Disconnect() {
  HRESULT hr = BasePin::Disconnect();
  if (hr == S_OK) {
    if (reader) reader->Release();
    reader = nullptr;
    disconnected();
  }
  return hr;
}

}  // namespace testing_support
