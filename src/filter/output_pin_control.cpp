// The pin's control interface: every setter only stores its value, which
// takes effect at the next configuration of the source.
#include "filter/output_pin.h"

#include <cstring>

#include "diag/debug_log.h"

using diag::LOG_TRACE;

HRESULT STDMETHODCALLTYPE OutputPin::ResetSettings() {
  settings.readMode = 0;
  settings.title = 1;
  settings.titleSelector = 1;
  settings.pgc = 0;
  settings.reserved = 0;
  settings.audioNumber = 0;
  std::memset(settings.audioFile, 0, sizeof settings.audioFile);
  std::strcpy(settings.audioFile, "c:/_audio.ac3");
  carryOffset = 0;
  audioTracks.clear();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetReadMode(int mode) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetReadMode(%d)", mode);
  settings.readMode = mode;
  return S_OK;
}

int STDMETHODCALLTYPE OutputPin::GetReadMode() { return settings.readMode; }

HRESULT STDMETHODCALLTYPE OutputPin::SetTitle(int title) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetTitle(%d)", title);
  settings.title = title;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetPgc(int pgc) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetPgc(%d)", pgc);
  settings.pgc = pgc;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetAudioStream(int stream) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetAudioStream(%d)", stream);
  settings.audioNumber = stream;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::SetAudioFile(const char* path) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::SetAudioFile(%s)", path ? path : "(null)");
  // At most 251 characters fit; a null path is the empty name.
  std::memset(settings.audioFile, 0, sizeof settings.audioFile);
  if (path) std::strncpy(settings.audioFile, path, sizeof settings.audioFile - 1);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE OutputPin::AddAudioStream(const char* file, int streamType, int key) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::AddAudioStream(%s,%d,%d)", file ? file : "(null)",
               streamType, key);
  return dshow::guarded([&] {
    audioTracks[key] = std::make_unique<AudioTrack>(AudioTrack{streamType, file ? file : ""});
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE OutputPin::AddSubtitleStream(const char* file, int key) {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::AddSubtitleStream(%s,%d)", file ? file : "(null)", key);
  return dshow::guarded([&] {
    subtitleTracks[key] = std::make_unique<SubtitleTrack>(SubtitleTrack{file ? file : ""});
    return S_OK;
  });
}

double STDMETHODCALLTYPE OutputPin::GetSomeParam() {
  FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::GetSomeParam()");
  EnterCriticalSection(&ownLock);
  LeaveCriticalSection(&ownLock);
  return 2.0;
}
