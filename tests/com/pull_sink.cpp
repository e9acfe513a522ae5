#include "com/pull_sink.h"

#include <uuids.h>

#include <algorithm>

namespace com_tests {

namespace {
// {2C7A4E91-58B3-4D06-A1F2-6E0B9C3D7A54}
const CLSID kPullSinkClsid = {
    0x2c7a4e91, 0x58b3, 0x4d06, {0xa1, 0xf2, 0x6e, 0x0b, 0x9c, 0x3d, 0x7a, 0x54}};
constexpr REFERENCE_TIME kUnitsPerByte = 10000000;
}  // namespace

PullPin::PullPin(PullSink* filter, CRITICAL_SECTION* lock)
    : dshow::BasePin(filter, lock, L"Input", PINDIR_INPUT) {}

PullPin::~PullPin() {
  if (allocator) allocator->Release();
  if (reader) reader->Release();
}

HRESULT PullPin::GetMediaType(int position, AM_MEDIA_TYPE* type) {
  if (!type) return E_POINTER;
  if (position < 0) return E_INVALIDARG;
  return VFW_S_NO_MORE_ITEMS;
}

HRESULT PullPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
  return type && IsEqualGUID(type->majortype, MEDIATYPE_Stream) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE PullPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
  if (!connector || !type) return E_POINTER;
  if (connected_) return VFW_E_ALREADY_CONNECTED;
  if (CheckMediaType(type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
  IAsyncReader* source = nullptr;
  if (FAILED(connector->QueryInterface(IID_IAsyncReader, reinterpret_cast<void**>(&source))))
    return VFW_E_NO_TRANSPORT;
  if (reader) reader->Release();
  reader = source;
  connected_ = connector;
  connected_->AddRef();
  mediaType_ = *type;
  mediaType_.pbFormat = nullptr;
  mediaType_.cbFormat = 0;
  mediaType_.pUnk = nullptr;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE PullPin::Disconnect() {
  HRESULT hr = BasePin::Disconnect();
  if (hr == S_OK) {
    if (reader) reader->Release();
    reader = nullptr;
    if (allocator) allocator->Release();
    allocator = nullptr;
  }
  return hr;
}

PullSink::PullSink(Mode mode, long sampleSize)
    : dshow::BaseFilter(nullptr, kPullSinkClsid, initialised(&lock)),
      pin(this, &lock),
      mode_(mode),
      sampleSize_(sampleSize) {}

PullSink::~PullSink() {
  if (thread_) {
    WaitForSingleObject(thread_, INFINITE);
    CloseHandle(thread_);
  }
  DeleteCriticalSection(&lock);
}

HRESULT STDMETHODCALLTYPE PullSink::Run(REFERENCE_TIME start) {
  HRESULT hr = BaseFilter::Run(start);
  if (SUCCEEDED(hr) && !thread_ && pin.reader)
    thread_ = CreateThread(nullptr, 0, pullThread, this, 0, nullptr);
  return hr;
}

HRESULT STDMETHODCALLTYPE PullSink::Stop() {
  // The pull ends on its own; the sink holds no lock while it waits, so a
  // source that is being stopped at the same time is not blocked by it.
  waitDone(60000);
  return BaseFilter::Stop();
}

bool PullSink::waitDone(DWORD milliseconds) {
  if (!thread_) return true;
  return WaitForSingleObject(thread_, milliseconds) == WAIT_OBJECT_0;
}

DWORD WINAPI PullSink::pullThread(void* self) {
  static_cast<PullSink*>(self)->pull();
  return 0;
}

void PullSink::pull() {
  IAsyncReader* reader = pin.reader;
  lengthResult = reader->Length(&total, nullptr);
  if (FAILED(lengthResult)) return;
  LONGLONG position = 0;
  if (mode_ == Mode::Aligned) {
    IMemAllocator* allocator = nullptr;
    HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                                  IID_IMemAllocator, reinterpret_cast<void**>(&allocator));
    if (FAILED(hr)) {
      failure = hr;
      return;
    }
    ALLOCATOR_PROPERTIES wanted{1, sampleSize_, 512, 0};
    IMemAllocator* actual = nullptr;
    pin.allocatorResult = reader->RequestAllocator(allocator, &wanted, &actual);
    allocator->Release();
    if (FAILED(pin.allocatorResult)) {
      failure = pin.allocatorResult;
      return;
    }
    pin.allocator = actual;
    actual->GetProperties(&pin.granted);
    actual->Commit();
    for (;;) {
      IMediaSample* sample = nullptr;
      hr = actual->GetBuffer(&sample, nullptr, nullptr, 0);
      if (FAILED(hr)) {
        failure = hr;
        break;
      }
      LONGLONG length = std::min<LONGLONG>(sample->GetSize(), total - position);
      bool past = length <= 0;
      if (past && !probeTheEnd) {
        sample->Release();
        break;
      }
      if (past) length = sample->GetSize();  // one request past the end
      REFERENCE_TIME start = position * kUnitsPerByte;
      REFERENCE_TIME stop = (position + length) * kUnitsPerByte;
      sample->SetTime(&start, &stop);
      hr = reader->SyncReadAligned(sample);
      ++calls;
      long got = sample->GetActualDataLength();
      BYTE* bytes = nullptr;
      sample->GetPointer(&bytes);
      if (past) {
        endResult = hr;
        sample->Release();
        break;
      }
      if (hr != S_OK && failure == S_OK) failure = hr;
      if (got > 0 && keepData) data.append(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(got));
      if (got > 0) delivered += got;
      sample->Release();
      if (got <= 0 || hr != S_OK) break;
      position += got;
      if (afterRead) afterRead(afterReadContext, position);
    }
    actual->Decommit();
  } else {
    std::vector<BYTE> buffer(static_cast<std::size_t>(sampleSize_));
    while (position < total) {
      LONG length = static_cast<LONG>(std::min<LONGLONG>(sampleSize_, total - position));
      HRESULT hr = reader->SyncRead(position, length, buffer.data());
      ++calls;
      if (hr != S_OK) {
        if (failure == S_OK) failure = hr;
        break;
      }
      if (keepData) data.append(reinterpret_cast<char*>(buffer.data()), static_cast<std::size_t>(length));
      delivered += length;
      position += length;
      if (afterRead) afterRead(afterReadContext, position);
    }
    endResult = reader->SyncRead(position, 1, buffer.data());
  }
}

}  // namespace com_tests
