#include "com/test_sink.h"

#include <uuids.h>

namespace com_tests {

namespace {
// {6B1F0C55-3E0A-4F7C-9D21-8A5C7E3B2D10}
const CLSID kTestSinkClsid = {
    0x6b1f0c55, 0x3e0a, 0x4f7c, {0x9d, 0x21, 0x8a, 0x5c, 0x7e, 0x3b, 0x2d, 0x10}};
}  // namespace

SinkPin::SinkPin(TestSink* filter, CRITICAL_SECTION* lock)
    : dshow::BasePin(filter, lock, L"Input", PINDIR_INPUT) {}

SinkPin::~SinkPin() {
  if (reader) reader->Release();
}

HRESULT SinkPin::GetMediaType(int position, AM_MEDIA_TYPE* type) {
  if (!type) return E_POINTER;
  if (position < 0) return E_INVALIDARG;
  return VFW_S_NO_MORE_ITEMS;
}

HRESULT SinkPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
  return type && IsEqualGUID(type->majortype, MEDIATYPE_Stream) ? S_OK : S_FALSE;
}

DWORD WINAPI SinkPin::pull(void* self) {
  auto* pin = static_cast<SinkPin*>(self);
  pin->lengthResult = pin->reader->Length(&pin->total, &pin->available);
  BYTE head[4] = {};
  pin->readResult = pin->reader->SyncRead(0, 4, head);
  pin->firstBytes.assign(reinterpret_cast<char*>(head), 4);
  return 0;
}

HRESULT STDMETHODCALLTYPE SinkPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
  if (!connector || !type) return E_POINTER;
  if (connected_) return VFW_E_ALREADY_CONNECTED;
  if (CheckMediaType(type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
  IAsyncReader* source = nullptr;
  if (FAILED(connector->QueryInterface(IID_IAsyncReader, reinterpret_cast<void**>(&source))))
    return VFW_E_NO_TRANSPORT;
  if (reader) reader->Release();
  reader = source;
  HANDLE thread = CreateThread(nullptr, 0, pull, this, 0, nullptr);
  pulledInTime = thread && WaitForSingleObject(thread, 10000) == WAIT_OBJECT_0;
  if (thread) CloseHandle(thread);
  if (!pulledInTime) return VFW_E_TIMEOUT;  // the source held a lock across our call
  connected_ = connector;
  connected_->AddRef();
  mediaType_ = *type;
  mediaType_.pbFormat = nullptr;
  mediaType_.cbFormat = 0;
  mediaType_.pUnk = nullptr;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE SinkPin::Disconnect() {
  HRESULT hr = BasePin::Disconnect();
  if (hr == S_OK && reader) {
    reader->Release();
    reader = nullptr;
  }
  return hr;
}

TestSink::TestSink()
    : dshow::BaseFilter(nullptr, kTestSinkClsid, initialised(&lock)), pin(this, &lock) {}

TestSink::~TestSink() { DeleteCriticalSection(&lock); }

}  // namespace com_tests
