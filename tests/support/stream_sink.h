// What the tests' sink filters share: an input pin that accepts
// MEDIATYPE_Stream, offers no type of its own and takes the source's
// IAsyncReader when it is connected, and a filter of that one pin and the
// lock the two use. Each sink adds how and when it pulls.
#pragma once

#include <windows.h>
#include <dshow.h>

#include "dshow/base_filter.h"
#include "dshow/base_pin.h"

namespace testing_support {

class StreamSinkPin : public dshow::BasePin {
 public:
  StreamSinkPin(dshow::BaseFilter* filter, CRITICAL_SECTION* lock);
  ~StreamSinkPin() override;

  HRESULT GetMediaType(int position, AM_MEDIA_TYPE* type) override;
  HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
  // Takes the connector's IAsyncReader (VFW_E_NO_TRANSPORT without one),
  // then asks readerTaken, and only then counts as connected.
  HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
  // Lets the reader go once the pin is disconnected.
  HRESULT STDMETHODCALLTYPE Disconnect() override;
  HRESULT STDMETHODCALLTYPE EndOfStream() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE BeginFlush() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return S_OK; }
  IPin* peer() const { return connected_; }

  // The source's reader, from the connection on; a refused connection
  // keeps it until the next one or the pin's end.
  IAsyncReader* reader = nullptr;

 protected:
  // Called inside ReceiveConnection with `reader` set and the pin not yet
  // connected; a failure is the connection's answer.
  virtual HRESULT readerTaken() { return S_OK; }
  // Called when Disconnect has let the reader go.
  virtual void disconnected() {}
};

// A filter of one input pin, `Pin` (a StreamSinkPin made from the filter and
// the lock), which owns the lock it shares with the pin.
template <class Pin>
class StreamSink : public dshow::BaseFilter {
 public:
  explicit StreamSink(const CLSID& clsid)
      : dshow::BaseFilter(nullptr, clsid, initialised(&lock)), pin(this, &lock) {}
  ~StreamSink() override { DeleteCriticalSection(&lock); }
  int GetPinCount() override { return 1; }
  dshow::BasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }

  CRITICAL_SECTION lock;
  Pin pin;

 private:
  static CRITICAL_SECTION* initialised(CRITICAL_SECTION* section) {
    InitializeCriticalSection(section);
    return section;
  }
};

}  // namespace testing_support
