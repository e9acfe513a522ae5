// The output pin: its interfaces, its one media type, and the configuration
// of the source that every accepted type check runs (list mode or DVD mode,
// the title reader and the demultiplexer). The control interface, the
// forward reads and the random-access reads have files of their own.
#include "filter/output_pin.h"

#include <cstring>

#include "demux/vob_demuxer.h"
#include "diag/debug_log.h"
#include "dshow/media_type.h"
#include "dvdnav/dvd_title_reader.h"
#include "filter/settings_store.h"
#include "filter/source_guids.h"
#include "input/multiple_file_inputer.h"
#include "platform/message_box.h"

using dshow::Locked;
using diag::LOG_ERROR;
using diag::LOG_TRACE;

namespace {

// Messages of the DVD navigation code and the demultiplexer, with their level.
void navigationSink(int level, const char* text) {
  FENNORIA_LOG(LOG_TRACE, static_cast<std::uint32_t>(level < 0 ? 0 : level), "%s", text);
}

}  // namespace

OutputPin::OutputPin(dshow::BaseFilter* filter, CRITICAL_SECTION* lock, MultipleFileInputer* input,
                     ProgressDisplay* statusObject)
    : dshow::BasePin(filter, lock, L"Output", PINDIR_OUTPUT),
      inputer(input),
      filterLock(lock),
      status(statusObject),
      reader_(*this),
      navigationLog_(navigationSink) {
  InitializeCriticalSection(&ownLock);
  finishedEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ResetSettings();
}

OutputPin::~OutputPin() {
  if (demuxer) demuxer->CloseAll();
  DeleteCriticalSection(&ownLock);
  if (finishedEvent) CloseHandle(finishedEvent);
}

HRESULT OutputPin::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IAsyncReader))
    return dshow::getInterface(static_cast<IAsyncReader*>(&reader_), object);
  if (IsEqualIID(iid, IID_ISourceControl))
    return dshow::getInterface(static_cast<ISourceControl*>(this), object);
  if (IsEqualIID(iid, IID_IMediaSeeking)) {
    FENNORIA_LOG(LOG_TRACE, 4, "Offering IMediaSeeking interface.");
  } else if (IsEqualIID(iid, IID_IMediaPosition)) {
    FENNORIA_LOG(LOG_TRACE, 4,
                 "CmmesSourceStream::NonDelegatingQueryInterface: being asked for IMediaPosition "
                 "interface.");
  }
  return BasePin::NonDelegatingQueryInterface(iid, object);
}

HRESULT OutputPin::GetMediaType(int position, AM_MEDIA_TYPE* type) {
  if (!type) return E_POINTER;
  if (position < 0) return E_INVALIDARG;
  if (position > 0) return VFW_S_NO_MORE_ITEMS;
  std::memset(type, 0, sizeof *type);
  type->majortype = kMediaTypeStream;
  type->subtype = kMediaSubtypeMpeg2Program;
  type->bFixedSizeSamples = TRUE;
  type->lSampleSize = 1;
  type->formattype = GUID_NULL;
  return S_OK;
}

HRESULT OutputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
  if (!type || !IsEqualGUID(type->majortype, kMediaTypeStream) ||
      !IsEqualGUID(type->subtype, kMediaSubtypeMpeg2Program))
    return S_FALSE;
  FENNORIA_LOG(LOG_TRACE, 0, "CheckMediaType succeeded");
  return ConfigureSource();
}

HRESULT OutputPin::Active() {
  FENNORIA_LOG(LOG_TRACE, 1, "Active");
  lastReportedFile = -1;
  return BasePin::Active();
}

HRESULT OutputPin::Inactive() {
  lastReportedFile = -1;
  if (demuxer) demuxer->CloseAll();
  return BasePin::Inactive();
}

HRESULT OutputPin::ConfigureSource() {
  standardReads = ReadSettingInt(kSettingsKeyPath, "StandardReads", 0) == 1;
  demuxedUpTo = 0;
  settings.readMode = ReadSettingInt(kSettingsKeyPath, "DvdReadMode", settings.readMode);

  if (settings.readMode == 0) {
    titleReader.reset();
  } else {
    if (!titleReader) titleReader = std::make_unique<DvdTitleReader>(navigationLog_);
    if (titleReader->getLibraryVersion() < 2000) platform::showMessage("Wrong DVD Lib!", "Fennoria");
  }

  FileList* list = inputer ? inputer->list : nullptr;
  std::int32_t index = inputer ? inputer->fileIndex : -1;
  if (!list || !list->names || index < 0 || index >= list->count || !list->names[index])
    return E_FAIL;
  std::string current = list->names[index];
  std::size_t separator = current.find_last_of("/\\");
  std::string folder = separator == std::string::npos ? std::string() : current.substr(0, separator);

  if (titleReader) {
    settings.title = ReadSettingInt(kSettingsKeyPath, "DvdTitle", settings.title);
    settings.pgc = ReadSettingInt(kSettingsKeyPath, "DvdPgc", settings.pgc);
    settings.audioNumber = ReadSettingInt(kSettingsKeyPath, "DvdAudio", settings.audioNumber);
    FENNORIA_LOG(LOG_TRACE, 0, "DvdImg mode, title=%d, pgc=%d, audio=%d", settings.title,
                 settings.pgc, settings.audioNumber);
    if (titleReader->openIfo(folder) != 0) throw IfoLoadError(folder);
    titleReader->selectTitleSet(settings.title, settings.titleSelector);
    titleReader->selectProgramChain(settings.pgc);
  }

  if (demuxer) {
    demuxer->CloseAll();
    demuxer.reset();
  }
  if (settings.readMode == 1) demuxer = std::make_unique<VobDemuxer>(navigationSink);

  if (demuxer) {
    if (audioTracks.empty()) {
      if (demuxer->AddAudio(settings.audioFile, 0, settings.audioNumber, false) != 0)
        FENNORIA_LOG(LOG_ERROR, 0, "Could not add audio track %s/%d/%d", settings.audioFile, 0,
                     settings.audioNumber);
    } else if (audioTracks.size() == 1) {
      const auto& entry = *audioTracks.begin();
      if (titleReader) {
        titleReader->audioSelect = entry.first;
        titleReader->setAudio(entry.second->streamNumber, entry.first);
      }
    } else {
      for (const auto& entry : audioTracks) {
        const AudioTrack& track = *entry.second;
        if (demuxer->AddAudio(track.file.c_str(), track.streamNumber, entry.first, false) != 0)
          FENNORIA_LOG(LOG_ERROR, 0, "Could not add audio track %s/%d/%d", track.file.c_str(),
                       track.streamNumber, entry.first);
      }
    }
    const std::int32_t count = static_cast<std::int32_t>(subtitleTracks.size());
    for (std::int32_t key = 0; key < count; ++key) {
      std::unique_ptr<SubtitleTrack>& track = subtitleTracks[key];
      if (!track) continue;
      if (demuxer->AddSubtitle(track->file.c_str(), key, false) != 0)
        FENNORIA_LOG(LOG_ERROR, 0, "Could not add subtitle track %s/%d", track->file.c_str(), key);
    }
  }

  // The counter is set first, so this seek finds it there and does not
  // reposition the reader.
  setStreamPosition(0);
  SeekStream(0);
  return S_OK;
}
