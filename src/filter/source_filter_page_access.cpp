// The filter's side of the Settings page: the file whose disc the page
// shows, the pin's held settings, and the two changes the control interface
// has no setter for.
#include <string>

#include "filter/source_filter.h"
#include "input/file_list.h"

namespace {

// The filter lock is held by every read. The page must never wait for a
// read that waits for its own message box, so it only tries the lock for a
// while.
bool tryLock(CRITICAL_SECTION* lock) {
  constexpr int kTries = 50;
  for (int i = 0; i < kTries; ++i) {
    if (TryEnterCriticalSection(lock)) return true;
    Sleep(10);
  }
  return false;
}

struct Unlock {
  CRITICAL_SECTION* lock;
  ~Unlock() { LeaveCriticalSection(lock); }
};

std::string entry(const FileList& list, std::int32_t index) {
  if (!list.names || index < 0 || index >= list.count || !list.names[index]) return {};
  return list.names[index];
}

}  // namespace

HRESULT STDMETHODCALLTYPE SourceFilter::GetDiscFile(std::string* file) {
  if (!file) return E_POINTER;
  return dshow::guarded([&] {
    file->clear();
    std::string source;
    {
      if (!tryLock(&filterLock)) return E_PENDING;
      Unlock unlock{&filterLock};
      // The same file ConfigureSource names the disc by.
      *file = entry(fileList, inputer.fileIndex);
      source = sourceName;
    }
    if (file->empty() && !source.empty()) {
      // After Stop the filter holds no list; Run reloads it from the name.
      FileList reloaded;
      reloaded.load(source.c_str());
      *file = entry(reloaded, 0);
    }
    return file->empty() ? S_FALSE : S_OK;
  });
}

HRESULT STDMETHODCALLTYPE SourceFilter::GetHeldChoice(SettingsChoice* held) {
  if (!held) return E_POINTER;
  const SourceSettings& settings = pin.heldSettings();
  *held = SettingsChoice{};
  held->readMode = settings.readMode;
  held->titleSet = settings.title;
  held->pgc = settings.pgc;
  held->audioNumber = settings.audioNumber;
  held->playbackOrder = pin.readDefaults().playbackOrder;
  held->standardReads = pin.readDefaults().standardReads;
  held->audioTracks = static_cast<std::int32_t>(pin.audioTrackCount());
  // Without exactly one track every audio stream is delivered (kAllAudio).
  pin.singleAudioTrack(&held->keptAudio, &held->keptAudioType);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceFilter::ClearAudioTracks() {
  pin.clearAudioTracks();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceFilter::SetReadDefaults(std::int32_t playbackOrder,
                                                        std::int32_t standardReads) {
  pin.setReadDefaults({playbackOrder, standardReads});
  return S_OK;
}
