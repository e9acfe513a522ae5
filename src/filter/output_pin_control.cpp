// The pin's control interface: every setter only stores its value, which
// takes effect at the next configuration of the source.
#include "filter/output_pin.h"

#include <cstring>

#include "diag/debug_log.h"

using diag::LOG_TRACE;

HRESULT STDMETHODCALLTYPE OutputPin::ResetSettings() {
  settings_.readMode = 0;
  settings_.title = 1;
  settings_.titleSelector = 1;
  settings_.pgc = 0;
  settings_.reserved = 0;
  settings_.audioNumber = 0;
  std::memset(settings_.audioFile, 0, sizeof settings_.audioFile);
  std::strcpy(settings_.audioFile, "c:/_audio.ac3");
  titleSource_.dropCarry();
  audioTracks_.clear();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetReadMode(int mode) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetReadMode(%d)", mode);
  settings_.readMode = mode;
  return S_OK;
}

int STDMETHODCALLTYPE OutputPin::GetReadMode() { return settings_.readMode; }

HRESULT STDMETHODCALLTYPE OutputPin::SetTitle(int title) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetTitle(%d)", title);
  settings_.title = title;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetPgc(int pgc) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetPgc(%d)", pgc);
  settings_.pgc = pgc;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetAudioStream(int stream) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetAudioStream(%d)", stream);
  settings_.audioNumber = stream;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetAudioFile(const char* path) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetAudioFile(%s)", path ? path : "(null)");
  // At most 251 characters fit; a null path is the empty name.
  std::memset(settings_.audioFile, 0, sizeof settings_.audioFile);
  if (path) std::strncpy(settings_.audioFile, path, sizeof settings_.audioFile - 1);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::AddAudioStream(const char* file, int streamType, int key) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::AddAudioStream(%s,%d,%d)", file ? file : "(null)",
               streamType, key);
  return dshow::guarded([&] {
    audioTracks_[key] = std::make_unique<AudioTrack>(AudioTrack{streamType, file ? file : ""});
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE OutputPin::AddSubtitleStream(const char* file, int key) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::AddSubtitleStream(%s,%d)", file ? file : "(null)", key);
  return dshow::guarded([&] {
    subtitleTracks_[key] = std::make_unique<SubtitleTrack>(SubtitleTrack{file ? file : ""});
    return S_OK;
  });
}

double STDMETHODCALLTYPE OutputPin::GetSomeParam() {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::GetSomeParam()");
  EnterCriticalSection(&ownLock_);
  LeaveCriticalSection(&ownLock_);
  return 2.0;
}

bool OutputPin::singleAudioTrack(std::int32_t* key, std::int32_t* streamType) const {
  if (audioTracks_.size() != 1) return false;
  *key = audioTracks_.begin()->first;
  *streamType = audioTracks_.begin()->second->streamNumber;
  return true;
}
