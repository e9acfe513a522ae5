// A pulling sink that behaves like a renderer towards the graph: the graph
// counts it as one (IAMFilterMiscFlags), it reports EC_COMPLETE once it has
// pulled the whole stream, and Stop ends its pull between two reads, as
// real parsers end theirs. So a host can play a graph with it the usual way:
// IMediaControl::Run, then IMediaEvent::WaitForCompletion.
//
// Every Run from the stopped state starts a new pull from position 0 on a
// thread of the sink; what it saw stays readable after Stop until the next
// pull starts.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <functional>
#include <string>

#include "support/stream_sink.h"

namespace com_tests {

class HostSink : public testing_support::StreamSink<testing_support::StreamSinkPin>,
                 public IAMFilterMiscFlags {
 public:
  enum class Mode { Aligned, Plain };
  HostSink(Mode mode, long sampleSize);
  ~HostSink() override;

  DSHOW_DELEGATING_UNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }

  // The pull starts in Run, or already in Pause when pullFromPause is set
  // (as parsers do, which preroll while the graph pauses).
  HRESULT STDMETHODCALLTYPE Pause() override;
  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
  // Asks the pull to end after the read it is in and waits for it (at most
  // stopWaitMs; stopTimedOut tells when it did not end in time).
  HRESULT STDMETHODCALLTYPE Stop() override;

  // True when no pull runs (or it ended within `milliseconds`).
  bool waitIdle(DWORD milliseconds);

  // Called on the pull thread, holding no lock, after every read with the
  // position reached.
  std::function<void(LONGLONG position)> afterRead;
  DWORD stopWaitMs = 10000;
  // Whether reaching the end notifies EC_COMPLETE. Wine's graph keeps a
  // completion it was told of for the next WaitForCompletion, even across
  // Stop and Run; runs that are not waited for switch it off.
  bool reportCompletion = true;
  bool pullFromPause = false;
  // With pullFromPause, the length the sink asks for inside Pause itself,
  // while the graph is still pausing the filters upstream of it.
  LONGLONG pauseTotal = -1;
  HRESULT pauseLengthResult = E_FAIL;

  // What the last pull saw.
  HRESULT lengthResult = E_FAIL;
  LONGLONG total = -1;
  std::string data;
  long reads = 0;
  HRESULT failure = S_OK;      // the first unexpected result, S_OK if none
  bool reachedEnd = false;     // pulled up to `total`
  HRESULT notifyResult = E_FAIL;  // of the EC_COMPLETE notification
  bool stopTimedOut = false;   // a Stop found the pull still running
  long pulls = 0;              // pulls started since the sink was made

 private:
  static DWORD WINAPI pullThread(void* self);
  void pull();
  void waitForTheSourceToRun();
  void startPull();
  void notifyComplete();
  Mode mode_;
  long sampleSize_;
  HANDLE thread_ = nullptr;
  volatile LONG stopRequested_ = 0;
};

}  // namespace com_tests
