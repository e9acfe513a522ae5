// The source filter object, "Ormelund Fennoria": it loads a list of media
// files (or one media file) through IFileSourceFilter and shows its one
// output pin once the list holds a file.
//
// One critical section, the filter lock, serialises loading, state changes
// and every read of the pin. A client that asks the filter for
// ISourceControl is handed the pin's own control interface, so the settings
// can be reached from either object; that interface belongs to the pin (its
// IUnknown is the pin's), and its references, like all of the pin's, are
// the filter's.
#pragma once

#include <windows.h>
#include <dshow.h>
#include <ocidl.h>

#include <memory>

#include "dshow/base_filter.h"
#include "dshow/persist_stream.h"
#include "dshow/registration.h"
#include "filter/output_pin.h"
#include "filter/settings_page_access.h"
#include "input/file_list.h"
#include "input/multiple_file_inputer.h"
#include "ui/progress_display.h"

class SourceFilter : public dshow::BaseFilter,
                     public IFileSourceFilter,
                     public ISpecifyPropertyPages,
                     public dshow::BasePersistStream,
                     public ISettingsPageAccess {
 public:
  // The class factory's creation routine.
  static IUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
  static const dshow::FilterSetup setupData;

  explicit SourceFilter(IUnknown* outer);
  ~SourceFilter() override;

  DSHOW_DELEGATING_UNKNOWN
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override;

  int GetPinCount() override;
  dshow::BasePin* GetPin(int n) override;
  const dshow::FilterSetup* GetSetupData() override { return &setupData; }

  HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
  HRESULT STDMETHODCALLTYPE Stop() override;
  // IPersist, shared by IBaseFilter and IPersistStream.
  HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override { return BaseFilter::GetClassID(clsid); }

  // IFileSourceFilter
  HRESULT STDMETHODCALLTYPE Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) override;
  HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override;
  // ISpecifyPropertyPages: the About page, and the Settings page beside it
  // when the DWORD setting "SettingsPage" is 1.
  HRESULT STDMETHODCALLTYPE GetPages(CAUUID* pages) override;
  // ISettingsPageAccess (source_filter_page_access.cpp)
  HRESULT STDMETHODCALLTYPE GetDiscFile(std::string* file) override;
  HRESULT STDMETHODCALLTYPE GetHeldChoice(SettingsChoice* held) override;
  HRESULT STDMETHODCALLTYPE ClearAudioTracks() override;
  HRESULT STDMETHODCALLTYPE SetReadDefaults(std::int32_t playbackOrder,
                                            std::int32_t standardReads) override;
  // IPersistStream: Load and Save go to these.
  HRESULT STDMETHODCALLTYPE Load(IStream* stream) override { return BasePersistStream::Load(stream); }
  HRESULT ReadFromStream(IStream* stream) override;
  HRESULT WriteToStream(IStream* stream) override;
  int SizeMax() override { return static_cast<int>(sizeof(SourceSettings)); }


  // State, in the order the filter keeps it; read by the tests.
  LONG running = 0;
  char sourceName[1024] = {};
  CRITICAL_SECTION filterLock;
  MultipleFileInputer inputer;
  FileList fileList;
  std::unique_ptr<ProgressDisplay> statusObject;
  OutputPin pin;

 private:
  // Makes the lock before the base filter and the pin are given it.
  static CRITICAL_SECTION* initialised(CRITICAL_SECTION* section) {
    InitializeCriticalSection(section);
    return section;
  }
};
