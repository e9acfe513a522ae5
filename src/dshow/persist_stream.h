// Stream persistence (IPersistStream) for a filter: Load hands the stream to
// ReadFromStream, Save to WriteToStream, and GetSizeMax reports SizeMax()
// plus room for a header.
#pragma once

#include <windows.h>
#include <objidl.h>

namespace dshow {

class BasePersistStream : public IPersistStream {
 public:
  virtual ~BasePersistStream() = default;

  virtual HRESULT ReadFromStream(IStream* stream) = 0;
  virtual HRESULT WriteToStream(IStream* stream) = 0;
  // Size of the persisted data, in bytes.
  virtual int SizeMax() = 0;

  HRESULT STDMETHODCALLTYPE IsDirty() override { return dirty_ ? S_OK : S_FALSE; }
  HRESULT STDMETHODCALLTYPE Load(IStream* stream) override {
    if (!stream) return E_POINTER;
    HRESULT hr = ReadFromStream(stream);
    if (SUCCEEDED(hr)) dirty_ = false;
    return hr;
  }
  HRESULT STDMETHODCALLTYPE Save(IStream* stream, BOOL clearDirty) override {
    if (!stream) return E_POINTER;
    HRESULT hr = WriteToStream(stream);
    if (SUCCEEDED(hr) && clearDirty) dirty_ = false;
    return hr;
  }
  HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER* size) override {
    if (!size) return E_POINTER;
    size->QuadPart = static_cast<ULONGLONG>(SizeMax()) + 24;
    return S_OK;
  }

 protected:
  void setDirty(bool dirty) { dirty_ = dirty; }

 private:
  bool dirty_ = false;
};

}  // namespace dshow
