// A media sample of the tests: a buffer of its own, start and stop times and
// an actual length, as a pull client hands the pin.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

namespace com_tests {

// Sample times count 10,000,000 units per byte.
constexpr REFERENCE_TIME kUnit = 10000000;

class TestSample : public IMediaSample {
 public:
  TestSample(REFERENCE_TIME start, REFERENCE_TIME stop, long size)
      : start_(start), stop_(stop), buffer(static_cast<std::size_t>(size)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetPointer(BYTE** data) override {
    *data = buffer.data();
    return S_OK;
  }
  long STDMETHODCALLTYPE GetSize() override { return static_cast<long>(buffer.size()); }
  HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override {
    *start = start_;
    *stop = stop_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE IsSyncPoint() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE IsPreroll() override { return S_FALSE; }
  HRESULT STDMETHODCALLTYPE SetPreroll(BOOL) override { return S_OK; }
  long STDMETHODCALLTYPE GetActualDataLength() override { return actual; }
  HRESULT STDMETHODCALLTYPE SetActualDataLength(long length) override {
    actual = length;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE** type) override {
    *type = nullptr;
    return S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE*) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE IsDiscontinuity() override { return S_FALSE; }
  HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }

  // The bytes the last read placed, up to the actual length.
  std::string bytes() const {
    return std::string(reinterpret_cast<const char*>(buffer.data()),
                       static_cast<std::size_t>(actual < 0 ? 0 : actual));
  }

  REFERENCE_TIME start_;
  REFERENCE_TIME stop_;
  std::vector<BYTE> buffer;
  long actual = -1;
};

// A sample asking for `length` bytes at byte `position`.
class RangeSample : public TestSample {
 public:
  RangeSample(LONGLONG position, LONGLONG length, long size)
      : TestSample(position * kUnit, (position + length) * kUnit, size) {}
};

}  // namespace com_tests
