// A sink filter of the tests that pulls a whole stream: its input pin takes
// the source's IAsyncReader when it is connected, and once the graph runs a
// thread of the sink reads from position 0 to the length the source reports,
// in samples of a real allocator (CLSID_MemoryAllocator) with
// SyncReadAligned, or into a buffer of its own with SyncRead. The last
// request is cut to what is left, as parsers do.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

#include "dshow/base_filter.h"
#include "dshow/base_pin.h"

namespace com_tests {

class PullSink;

class PullPin : public dshow::BasePin {
 public:
  PullPin(PullSink* filter, CRITICAL_SECTION* lock);
  ~PullPin() override;

  HRESULT GetMediaType(int position, AM_MEDIA_TYPE* type) override;
  HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE Disconnect() override;
  HRESULT STDMETHODCALLTYPE EndOfStream() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE BeginFlush() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return S_OK; }

  IAsyncReader* reader = nullptr;
  IMemAllocator* allocator = nullptr;
  HRESULT allocatorResult = E_FAIL;
  ALLOCATOR_PROPERTIES granted{};
};

class PullSink : public dshow::BaseFilter {
 public:
  enum class Mode { Aligned, Plain };
  PullSink(Mode mode, long sampleSize);
  ~PullSink() override;
  int GetPinCount() override { return 1; }
  dshow::BasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }

  // The pull starts when the graph runs; Stop waits for it to end.
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
  HRESULT STDMETHODCALLTYPE Stop() override;
  // Waits for the pull to end; false on timeout.
  bool waitDone(DWORD milliseconds);

  // Called on the pull thread after every read with the position reached.
  void (*afterRead)(void* context, LONGLONG position) = nullptr;
  void* afterReadContext = nullptr;

  // What the pull saw.
  HRESULT lengthResult = E_FAIL;
  LONGLONG total = -1;
  std::string data;
  bool keepData = true;  // false: only count the bytes (benchmarks)
  // Whether an aligned pull ends with one request past the end, as the
  // tests of the pin's end-of-stream answers make. Off for plain playing: in
  // list mode that request meets the inputer's modal "asked to read to many
  // bytes" message, which waits for a user whenever a display exists.
  bool probeTheEnd = true;
  long long delivered = 0;
  long calls = 0;
  HRESULT failure = S_OK;  // the first unexpected result, S_OK if none
  HRESULT endResult = E_FAIL;  // one more read past the end

  CRITICAL_SECTION lock;
  PullPin pin;

 private:
  static DWORD WINAPI pullThread(void* self);
  void pull();
  static CRITICAL_SECTION* initialised(CRITICAL_SECTION* section) {
    InitializeCriticalSection(section);
    return section;
  }
  Mode mode_;
  long sampleSize_;
  HANDLE thread_ = nullptr;
};

}  // namespace com_tests
