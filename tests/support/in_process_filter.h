// The source filter made in the test's own process, without COM activation,
// so that a test can reach its pin and drive it directly: load a list,
// accept the pin's media type (which configures the source), read.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <string>

#include "com/com_support.h"
#include "filter/source_filter.h"
#include "filter/source_guids.h"
#include "support/output_pin_probe.h"

namespace com_tests {

class InProcessFilter {
 public:
  InProcessFilter() {
    HRESULT hr = E_FAIL;
    unknown_ = SourceFilter::CreateInstance(nullptr, &hr);
    filter = static_cast<SourceFilter*>(reinterpret_cast<dshow::INonDelegatingUnknown*>(unknown_));
    filter->pin.QueryInterface(IID_IAsyncReader, reinterpret_cast<void**>(&reader));
  }
  ~InProcessFilter() {
    if (reader) reader->Release();
    unknown_->Release();
  }
  InProcessFilter(const InProcessFilter&) = delete;
  InProcessFilter& operator=(const InProcessFilter&) = delete;

  HRESULT load(const std::string& path) { return filter->Load(wide(path).c_str(), nullptr); }
  // The media type check that a connection makes, which configures the pin.
  HRESULT configure() {
    AM_MEDIA_TYPE type{};
    type.majortype = kMediaTypeStream;
    type.subtype = kMediaSubtypeMpeg2Program;
    return filter->pin.CheckMediaType(&type);
  }
  OutputPin& pin() { return filter->pin; }

  SourceFilter* filter = nullptr;
  IAsyncReader* reader = nullptr;  // the pin's, as a client holds it

 private:
  IUnknown* unknown_ = nullptr;
};

// The sample disc's first program chain, chosen through the settings and
// read without demultiplexer, with the first title VOB loaded as the file
// whose folder holds the disc.
inline void selectFirstProgramChain(InProcessFilter& f) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  ASSERT_EQ(f.load(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  ASSERT_NE(OutputPinProbe::titleReader(f.pin()), nullptr);
}

}  // namespace com_tests
