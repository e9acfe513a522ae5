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

PullPin::~PullPin() {
  if (allocator) allocator->Release();
}

void PullPin::disconnected() {
  if (allocator) allocator->Release();
  allocator = nullptr;
}

PullSink::PullSink(Mode mode, long sampleSize)
    : StreamSink(kPullSinkClsid), mode_(mode), sampleSize_(sampleSize) {}

PullSink::~PullSink() {
  if (thread_) {
    WaitForSingleObject(thread_, INFINITE);
    CloseHandle(thread_);
  }
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
  // Wine's File Source writes the available length without looking, as
  // parsers always ask for it.
  LONGLONG available = 0;
  lengthResult = reader->Length(&total, &available);
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
