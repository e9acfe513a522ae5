// The mapping from a file name extension to a source filter that the
// platform's graph builder reads for RenderFile and AddSourceFilter:
// HKEY_CLASSES_ROOT\Media Type\Extensions\.EXT with the string values
// "Source Filter" (the filter's CLSID), "Media Type" and "Subtype" (the
// type of the stream the filter delivers), each a GUID in braces.
//
// Registering writes the three values, unless the extension already names
// another source filter: that choice, made by another product or by the
// user, stays as it is. Unregistering removes them only while they still
// name this filter, then the key, and its parents when that leaves them
// empty; another filter's mapping is never touched.
#pragma once

#include <windows.h>

namespace dshow {

struct ExtensionSetup {
  const WCHAR* extension;  // with its dot: L".lst"
  const CLSID* sourceFilter;
  const GUID* majorType;
  const GUID* subtype;
};

// Registers (`install` true) or unregisters the mapping: S_OK, also when
// another filter owns the extension, or the failing call's code.
HRESULT registerExtension(const ExtensionSetup& setup, bool install);

}  // namespace dshow
