// The base output pin of a pull-model source: IPin with media-type
// negotiation, no allocator and no streaming of its own (the downstream pin
// pulls through an interface the derived pin adds).
//
// The pin lives inside its filter: its references are the filter's.
// Connect negotiates without holding the filter lock while it calls the
// peer's ReceiveConnection, because a parser may read from the pin on a
// thread of its own during that call.
#pragma once

#include <windows.h>
#include <dshow.h>

#include "dshow/base_filter.h"

namespace dshow {

class BasePin : public IPin {
 public:
  BasePin(BaseFilter* filter, CRITICAL_SECTION* lock, const WCHAR* name, PIN_DIRECTION direction);
  virtual ~BasePin();
  BasePin(const BasePin&) = delete;
  BasePin& operator=(const BasePin&) = delete;

  // References go to the filter's owner; interfaces to NonDelegatingQueryInterface.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  // IPin and IUnknown.
  virtual HRESULT NonDelegatingQueryInterface(REFIID iid, void** object);

  // The types offered, by position: S_OK, VFW_S_NO_MORE_ITEMS past the end.
  virtual HRESULT GetMediaType(int position, AM_MEDIA_TYPE* type) = 0;
  // S_OK accepts the type; anything else refuses it.
  virtual HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) = 0;
  // Hooks of the filter's state changes.
  virtual HRESULT Active() { return S_OK; }
  virtual HRESULT Inactive() { return S_OK; }

  // IPin
  HRESULT STDMETHODCALLTYPE Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE Disconnect() override;
  HRESULT STDMETHODCALLTYPE ConnectedTo(IPin** pin) override;
  HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* info) override;
  HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION* direction) override;
  HRESULT STDMETHODCALLTYPE QueryId(LPWSTR* id) override;
  HRESULT STDMETHODCALLTYPE QueryAccept(const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE EnumMediaTypes(IEnumMediaTypes** types) override;
  HRESULT STDMETHODCALLTYPE QueryInternalConnections(IPin** pins, ULONG* count) override;
  HRESULT STDMETHODCALLTYPE EndOfStream() override;
  HRESULT STDMETHODCALLTYPE BeginFlush() override;
  HRESULT STDMETHODCALLTYPE EndFlush() override;
  HRESULT STDMETHODCALLTYPE NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                       double rate) override;

  bool isConnected() const { return connected_ != nullptr; }
  const WCHAR* name() const { return name_; }
  BaseFilter* filter() const { return filter_; }

 protected:
  // Type checks at the COM boundary: CheckMediaType's answer, with any
  // exception it raises turned into a refusal.
  HRESULT checkTypeSafely(const AM_MEDIA_TYPE* type);
  HRESULT attemptConnection(IPin* receivePin, const AM_MEDIA_TYPE* type);
  HRESULT tryTypes(IPin* receivePin, const AM_MEDIA_TYPE* partial, IEnumMediaTypes* types);

  BaseFilter* filter_;
  CRITICAL_SECTION* lock_;
  WCHAR name_[MAX_PIN_NAME] = {};
  PIN_DIRECTION direction_;
  IPin* connected_ = nullptr;
  AM_MEDIA_TYPE mediaType_ = {};
  REFERENCE_TIME segmentStart_ = 0;
  REFERENCE_TIME segmentStop_ = 0;
  double segmentRate_ = 1.0;
};

// Enumerators over a filter's pins (a snapshot) and a pin's media types.
HRESULT createPinEnumerator(BaseFilter* filter, IEnumPins** result);
HRESULT createMediaTypeEnumerator(BasePin* pin, IEnumMediaTypes** result);

}  // namespace dshow
