// The pin enumerator (a snapshot of the filter's pins when it was made) and
// the media type enumerator (the pin's GetMediaType by position).
#include <new>
#include <vector>

#include "dshow/base_pin.h"
#include "dshow/media_type.h"

namespace dshow {

namespace {

class PinEnumerator : public ComObject, public IEnumPins {
 public:
  explicit PinEnumerator(std::vector<IPin*> pins) : ComObject(nullptr), pins_(std::move(pins)) {
    for (IPin* pin : pins_) pin->AddRef();
  }
  ~PinEnumerator() override {
    for (IPin* pin : pins_) pin->Release();
  }
  DSHOW_DELEGATING_UNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(iid, IID_IEnumPins)) return getInterface(static_cast<IEnumPins*>(this), object);
    return ComObject::NonDelegatingQueryInterface(iid, object);
  }
  HRESULT STDMETHODCALLTYPE Next(ULONG count, IPin** pins, ULONG* fetched) override {
    if (!pins || (count > 1 && !fetched)) return E_POINTER;
    ULONG n = 0;
    while (n < count && position_ < pins_.size()) {
      pins[n] = pins_[position_++];
      pins[n]->AddRef();
      ++n;
    }
    if (fetched) *fetched = n;
    return n == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    std::size_t left = pins_.size() - position_;
    if (count > left) {
      position_ = pins_.size();
      return S_FALSE;
    }
    position_ += count;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    position_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumPins** copy) override {
    if (!copy) return E_POINTER;
    return guarded([&] {
      auto* twin = new PinEnumerator(pins_);
      twin->position_ = position_;
      return twin->NonDelegatingQueryInterface(IID_IEnumPins, reinterpret_cast<void**>(copy));
    });
  }

 private:
  std::vector<IPin*> pins_;
  std::size_t position_ = 0;
};

class MediaTypeEnumerator : public ComObject, public IEnumMediaTypes {
 public:
  explicit MediaTypeEnumerator(BasePin* pin) : ComObject(nullptr), pin_(pin) { pin_->AddRef(); }
  ~MediaTypeEnumerator() override { pin_->Release(); }
  DSHOW_DELEGATING_UNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(iid, IID_IEnumMediaTypes))
      return getInterface(static_cast<IEnumMediaTypes*>(this), object);
    return ComObject::NonDelegatingQueryInterface(iid, object);
  }
  HRESULT STDMETHODCALLTYPE Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override {
    if (!types || (count > 1 && !fetched)) return E_POINTER;
    ULONG n = 0;
    while (n < count) {
      AM_MEDIA_TYPE type = {};
      if (pin_->GetMediaType(position_, &type) != S_OK) break;
      types[n] = createMediaType(&type);
      freeMediaType(type);
      if (!types[n]) break;
      ++position_;
      ++n;
    }
    if (fetched) *fetched = n;
    return n == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    for (ULONG i = 0; i < count; ++i) {
      AM_MEDIA_TYPE type = {};
      HRESULT hr = pin_->GetMediaType(position_, &type);
      freeMediaType(type);
      if (hr != S_OK) return S_FALSE;
      ++position_;
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    position_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumMediaTypes** copy) override {
    if (!copy) return E_POINTER;
    auto* twin = new (std::nothrow) MediaTypeEnumerator(pin_);
    if (!twin) return E_OUTOFMEMORY;
    twin->position_ = position_;
    return twin->NonDelegatingQueryInterface(IID_IEnumMediaTypes, reinterpret_cast<void**>(copy));
  }

 private:
  BasePin* pin_;
  int position_ = 0;
};

}  // namespace

HRESULT createPinEnumerator(BaseFilter* filter, IEnumPins** result) {
  return guarded([&] {
    std::vector<IPin*> pins;
    for (int i = 0, n = filter->GetPinCount(); i < n; ++i)
      if (BasePin* pin = filter->GetPin(i)) pins.push_back(pin);
    auto* enumerator = new PinEnumerator(std::move(pins));
    return enumerator->NonDelegatingQueryInterface(IID_IEnumPins, reinterpret_cast<void**>(result));
  });
}

HRESULT createMediaTypeEnumerator(BasePin* pin, IEnumMediaTypes** result) {
  auto* enumerator = new (std::nothrow) MediaTypeEnumerator(pin);
  if (!enumerator) return E_OUTOFMEMORY;
  return enumerator->NonDelegatingQueryInterface(IID_IEnumMediaTypes,
                                                 reinterpret_cast<void**>(result));
}

}  // namespace dshow
