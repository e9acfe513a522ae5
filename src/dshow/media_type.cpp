#include "dshow/media_type.h"

#include <cstring>

namespace dshow {

HRESULT copyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) {
  *target = *source;
  if (source->cbFormat && source->pbFormat) {
    target->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(source->cbFormat));
    if (!target->pbFormat) {
      target->cbFormat = 0;
      target->pUnk = nullptr;
      return E_OUTOFMEMORY;
    }
    std::memcpy(target->pbFormat, source->pbFormat, source->cbFormat);
  } else {
    target->pbFormat = nullptr;
    target->cbFormat = 0;
  }
  if (target->pUnk) target->pUnk->AddRef();
  return S_OK;
}

void freeMediaType(AM_MEDIA_TYPE& type) {
  if (type.pbFormat) CoTaskMemFree(type.pbFormat);
  if (type.pUnk) type.pUnk->Release();
  std::memset(&type, 0, sizeof type);
}

AM_MEDIA_TYPE* createMediaType(const AM_MEDIA_TYPE* source) {
  auto* type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
  if (!type) return nullptr;
  if (FAILED(copyMediaType(type, source))) {
    CoTaskMemFree(type);
    return nullptr;
  }
  return type;
}

void deleteMediaType(AM_MEDIA_TYPE* type) {
  if (!type) return;
  freeMediaType(*type);
  CoTaskMemFree(type);
}

bool matchesPartially(const AM_MEDIA_TYPE& full, const AM_MEDIA_TYPE& partial) {
  if (!IsEqualGUID(partial.majortype, GUID_NULL) && !IsEqualGUID(partial.majortype, full.majortype))
    return false;
  if (!IsEqualGUID(partial.subtype, GUID_NULL) && !IsEqualGUID(partial.subtype, full.subtype))
    return false;
  return true;
}

}  // namespace dshow
