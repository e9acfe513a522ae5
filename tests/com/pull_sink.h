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

#include "support/stream_sink.h"

namespace com_tests {

class PullPin : public testing_support::StreamSinkPin {
 public:
  using StreamSinkPin::StreamSinkPin;
  ~PullPin() override;

  // The allocator of the aligned pull, kept until the pin is disconnected.
  IMemAllocator* allocator = nullptr;
  HRESULT allocatorResult = E_FAIL;
  ALLOCATOR_PROPERTIES granted{};

 protected:
  void disconnected() override;
};

class PullSink : public testing_support::StreamSink<PullPin> {
 public:
  enum class Mode { Aligned, Plain };
  PullSink(Mode mode, long sampleSize);
  ~PullSink() override;

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

 private:
  static DWORD WINAPI pullThread(void* self);
  void pull();
  Mode mode_;
  long sampleSize_;
  HANDLE thread_ = nullptr;
};

}  // namespace com_tests
