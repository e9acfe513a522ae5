#include "com/host_sink.h"

#include <uuids.h>

#include <algorithm>
#include <vector>

namespace com_tests {

namespace {
// {6B1D0F53-2E7C-4A98-9C41-83D5E0A7B216}
const CLSID kHostSinkClsid = {
    0x6b1d0f53, 0x2e7c, 0x4a98, {0x9c, 0x41, 0x83, 0xd5, 0xe0, 0xa7, 0xb2, 0x16}};
// Sample times count this many units per byte, as the source expects.
constexpr REFERENCE_TIME kUnitsPerByte = 10000000;
}  // namespace

HostSink::HostSink(Mode mode, long sampleSize)
    : StreamSink(kHostSinkClsid), mode_(mode), sampleSize_(sampleSize) {}

HostSink::~HostSink() {
  if (thread_) {
    InterlockedExchange(&stopRequested_, 1);
    // A pull that is stuck in the source is left behind rather than waited
    // for without end: the test has already failed on it.
    if (WaitForSingleObject(thread_, 5000) == WAIT_OBJECT_0) CloseHandle(thread_);
  }
}

HRESULT STDMETHODCALLTYPE HostSink::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IAMFilterMiscFlags))
    return dshow::getInterface(static_cast<IAMFilterMiscFlags*>(this), object);
  return BaseFilter::NonDelegatingQueryInterface(iid, object);
}

HRESULT STDMETHODCALLTYPE HostSink::Pause() {
  // The graph pauses the filters downstream first: the source is still
  // stopped when a parser that prerolls asks it for the length.
  if (pullFromPause && state_ == State_Stopped && pin.reader) {
    LONGLONG available = 0;
    pauseTotal = -1;
    pauseLengthResult = pin.reader->Length(&pauseTotal, &available);
  }
  HRESULT hr = BaseFilter::Pause();
  if (SUCCEEDED(hr) && pullFromPause) startPull();
  return hr;
}

HRESULT STDMETHODCALLTYPE HostSink::Run(REFERENCE_TIME start) {
  HRESULT hr = BaseFilter::Run(start);
  if (SUCCEEDED(hr)) startPull();
  return hr;
}

void HostSink::startPull() {
  if (!thread_ && pin.reader) {
    lengthResult = E_FAIL;
    total = -1;
    data.clear();
    reads = 0;
    failure = S_OK;
    reachedEnd = false;
    notifyResult = E_FAIL;
    ++pulls;
    InterlockedExchange(&stopRequested_, 0);
    thread_ = CreateThread(nullptr, 0, pullThread, this, 0, nullptr);
  }
}

HRESULT STDMETHODCALLTYPE HostSink::Stop() {
  // No lock is held while the pull ends: the source's read it may be in
  // takes the source's own lock, and a host may be stopping that too.
  InterlockedExchange(&stopRequested_, 1);
  if (thread_) {
    if (WaitForSingleObject(thread_, stopWaitMs) == WAIT_OBJECT_0) {
      CloseHandle(thread_);
      thread_ = nullptr;
    } else {
      stopTimedOut = true;
    }
  }
  return BaseFilter::Stop();
}

bool HostSink::waitIdle(DWORD milliseconds) {
  if (!thread_) return true;
  return WaitForSingleObject(thread_, milliseconds) == WAIT_OBJECT_0;
}

DWORD WINAPI HostSink::pullThread(void* self) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  static_cast<HostSink*>(self)->pull();
  CoUninitialize();
  return 0;
}

// The graph runs the filters downstream first, so the sink's Run comes
// before the source's, and a source that was stopped serves its list again
// only from its own Run on. The pull waits until the source runs, or until
// the graph has moved on (a Pause or Stop reaching the sink comes after the
// graph's Run has returned, so the source has run by then), as a parser
// waits for its first sample: what it reads is the stream of this play.
void HostSink::waitForTheSourceToRun() {
  PIN_INFO info{};
  if (!pin.peer() || FAILED(pin.peer()->QueryPinInfo(&info)) || !info.pFilter) return;
  FILTER_STATE source = State_Stopped;
  for (int waited = 0; waited < 10000 && !stopRequested_ && state_ == State_Running; ++waited) {
    if (SUCCEEDED(info.pFilter->GetState(0, &source)) && source == State_Running) break;
    Sleep(1);
  }
  info.pFilter->Release();
}

void HostSink::pull() {
  IAsyncReader* reader = pin.reader;
  if (!pullFromPause) waitForTheSourceToRun();
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
    ALLOCATOR_PROPERTIES wanted{1, sampleSize_, 1, 0};
    IMemAllocator* actual = nullptr;
    hr = reader->RequestAllocator(allocator, &wanted, &actual);
    allocator->Release();
    if (FAILED(hr)) {
      failure = hr;
      return;
    }
    actual->Commit();
    while (position < total && !stopRequested_) {
      IMediaSample* sample = nullptr;
      hr = actual->GetBuffer(&sample, nullptr, nullptr, 0);
      if (FAILED(hr)) {
        failure = hr;
        break;
      }
      LONGLONG length = std::min<LONGLONG>(sample->GetSize(), total - position);
      REFERENCE_TIME start = position * kUnitsPerByte;
      REFERENCE_TIME stop = (position + length) * kUnitsPerByte;
      sample->SetTime(&start, &stop);
      hr = reader->SyncReadAligned(sample);
      ++reads;
      long got = sample->GetActualDataLength();
      BYTE* bytes = nullptr;
      sample->GetPointer(&bytes);
      if (got > 0) data.append(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(got));
      sample->Release();
      if (hr != S_OK || got <= 0) {
        if (failure == S_OK) failure = hr == S_OK ? S_FALSE : hr;
        break;
      }
      position += got;
      if (afterRead) afterRead(position);
    }
    actual->Decommit();
    actual->Release();
  } else {
    std::vector<BYTE> buffer(static_cast<std::size_t>(sampleSize_));
    while (position < total && !stopRequested_) {
      LONG length = static_cast<LONG>(std::min<LONGLONG>(sampleSize_, total - position));
      HRESULT hr = reader->SyncRead(position, length, buffer.data());
      ++reads;
      if (hr != S_OK) {
        if (failure == S_OK) failure = hr;
        break;
      }
      data.append(reinterpret_cast<char*>(buffer.data()), static_cast<std::size_t>(length));
      position += length;
      if (afterRead) afterRead(position);
    }
  }
  if (position >= total && failure == S_OK) {
    reachedEnd = true;
    if (reportCompletion) notifyComplete();
  }
}

void HostSink::notifyComplete() {
  IFilterGraph* owner = graph_;
  if (!owner) return;
  IMediaEventSink* events = nullptr;
  notifyResult = owner->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&events));
  if (FAILED(notifyResult)) return;
  notifyResult = events->Notify(EC_COMPLETE, S_OK,
                                reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
  events->Release();
}

}  // namespace com_tests
