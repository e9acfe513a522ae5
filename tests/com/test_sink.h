// A sink filter of the tests: one input pin that accepts MEDIATYPE_Stream
// and, while it is being connected, pulls from the source through
// IAsyncReader on a thread of its own, as real parsers do.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <string>

#include "support/stream_sink.h"

namespace com_tests {

class TestSinkPin : public testing_support::StreamSinkPin {
 public:
  using StreamSinkPin::StreamSinkPin;

  // What the pull during the connection saw.
  bool pulledInTime = false;
  HRESULT lengthResult = E_FAIL;
  LONGLONG total = -1;
  LONGLONG available = -1;
  HRESULT readResult = E_FAIL;
  std::string firstBytes;

 protected:
  // Pulls on a thread of its own and refuses the connection when the pull
  // does not end in time.
  HRESULT readerTaken() override;

 private:
  static DWORD WINAPI pull(void* self);
};

class TestSink : public testing_support::StreamSink<TestSinkPin> {
 public:
  TestSink();
};

}  // namespace com_tests
