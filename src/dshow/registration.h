// The class table of a COM server and its registration.
//
// Each entry of the table names a class, how to create it and, for a
// filter, the data the filter mapper publishes. Registering an entry writes
// HKEY_CLASSES_ROOT\CLSID\{clsid} (default value: the name) with the
// subkey InprocServer32 (default value: the module's full path,
// ThreadingModel "Both"), then registers a filter with the filter mapper
// (IFilterMapper2, else IFilterMapper) in the legacy DirectShow filter
// category. Unregistering removes the mapper entry first, then the keys.
#pragma once

#include <windows.h>
#include <dshow.h>

namespace dshow {

struct FilterSetup {
  const CLSID* clsid;
  const WCHAR* name;
  DWORD merit;
  UINT pinCount;
  const REGFILTERPINS* pins;
};

// Creates an object; returns its non-delegating unknown with one reference,
// or null with the reason in *result.
using CreateFunction = IUnknown* (*)(IUnknown* outer, HRESULT* result);

struct ClassTemplate {
  const WCHAR* name;
  const CLSID* clsid;
  CreateFunction create;
  void (*initialise)(BOOL loading, const CLSID* clsid);  // may be null
  const FilterSetup* setup;                               // null for non-filters
};

// DllGetClassObject over a table.
HRESULT getClassObject(const ClassTemplate* table, int count, REFCLSID clsid, REFIID iid,
                       void** object);

// DllRegisterServer (`install` true) and DllUnregisterServer over a table:
// S_OK or the failing call's code.
HRESULT registerServer(const ClassTemplate* table, int count, bool install);

// The filter-mapper half alone (IAMovieSetup).
HRESULT registerFilter(const FilterSetup& setup, bool install);

}  // namespace dshow
