// A sink filter of the tests: one input pin that accepts MEDIATYPE_Stream
// and, while it is being connected, pulls from the source through
// IAsyncReader on a thread of its own, as real parsers do.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <cstdint>
#include <string>

#include "dshow/base_filter.h"
#include "dshow/base_pin.h"

namespace com_tests {

class TestSink;

class SinkPin : public dshow::BasePin {
 public:
  SinkPin(TestSink* filter, CRITICAL_SECTION* lock);
  ~SinkPin() override;

  HRESULT GetMediaType(int position, AM_MEDIA_TYPE* type) override;
  HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE Disconnect() override;
  HRESULT STDMETHODCALLTYPE EndOfStream() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE BeginFlush() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE EndFlush() override { return S_OK; }

  // What the pull during the connection saw.
  bool pulledInTime = false;
  HRESULT lengthResult = E_FAIL;
  LONGLONG total = -1;
  LONGLONG available = -1;
  HRESULT readResult = E_FAIL;
  std::string firstBytes;
  IAsyncReader* reader = nullptr;

 private:
  static DWORD WINAPI pull(void* self);
};

class TestSink : public dshow::BaseFilter {
 public:
  TestSink();
  ~TestSink() override;
  int GetPinCount() override { return 1; }
  dshow::BasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }

  CRITICAL_SECTION lock;
  SinkPin pin;

 private:
  static CRITICAL_SECTION* initialised(CRITICAL_SECTION* section) {
    InitializeCriticalSection(section);
    return section;
  }
};

}  // namespace com_tests
