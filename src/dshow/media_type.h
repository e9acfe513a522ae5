// Helpers for AM_MEDIA_TYPE: the format block and the optional IUnknown are
// owned by the structure and released with it.
#pragma once

#include <windows.h>
#include <dshow.h>

namespace dshow {

// Deep copy; E_OUTOFMEMORY leaves `target` without a format block.
HRESULT copyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source);
// Releases what the structure owns and zeroes it.
void freeMediaType(AM_MEDIA_TYPE& type);
// A copy in task memory (CoTaskMemAlloc), as enumerators hand out; null on failure.
AM_MEDIA_TYPE* createMediaType(const AM_MEDIA_TYPE* source);
// Frees both the content and the structure of a type from createMediaType.
void deleteMediaType(AM_MEDIA_TYPE* type);
// Whether major type and subtype match, GUID_NULL in `partial` matching any.
bool matchesPartially(const AM_MEDIA_TYPE& full, const AM_MEDIA_TYPE& partial);

}  // namespace dshow
