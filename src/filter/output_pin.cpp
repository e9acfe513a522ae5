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
#include "dvdnav/open_navigation.h"
#include "filter/disc_title_settings.h"
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
      inputer_(input),
      filterLock_(lock),
      status_(statusObject),
      listSource_(input),
      source_(&listSource_),
      standardReader_(lock, [this](std::int64_t position, std::int32_t length, BYTE* buffer) {
        return readAt(position, length, buffer);
      }),
      reader_(*this),
      navigationLog_(navigationSink) {
  InitializeCriticalSection(&ownLock_);
  ResetSettings();
}

OutputPin::~OutputPin() {
  if (demuxer_) demuxer_->CloseAll();
  DeleteCriticalSection(&ownLock_);
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
  lastReportedFile_ = -1;
  return BasePin::Active();
}

HRESULT OutputPin::Inactive() {
  lastReportedFile_ = -1;
  if (demuxer_) demuxer_->CloseAll();
  return BasePin::Inactive();
}

// A disc image (or drive) as the current file is read from inside; any
// other file names the folder its VOB files and IFOs are in. A damaged or
// scrambled image is logged with the reader's words and fails the load.
void OutputPin::openNavigation(const std::string& current, const std::string& folder) {
  NavigationLoad load = loadNavigation(*titleSource_.reader(), current, folder);
  if (load.loaded) return;
  if (!load.problem.empty())
    FENNORIA_LOG(LOG_ERROR, 0, "%s: %s", current.c_str(), load.problem.c_str());
  throw IfoLoadError(load.location);
}

HRESULT OutputPin::ConfigureSource() {
  standardReads_ =
      ReadSettingInt(kSettingsKeyPath, "StandardReads", readDefaults_.standardReads) == 1;
  demuxedUpTo_ = 0;
  settings_.readMode = ReadSettingInt(kSettingsKeyPath, "DvdReadMode", settings_.readMode);

  if (settings_.readMode == 0) {
    titleSource_.close();
    source_ = &listSource_;
  } else {
    DvdTitleReader& reader = titleSource_.open(navigationLog_);
    source_ = &titleSource_;
    if (reader.getLibraryVersion() < 2000) platform::showMessage("Wrong DVD Lib!", "Fennoria");
  }

  FileList* list = inputer_ ? inputer_->list : nullptr;
  std::int32_t index = inputer_ ? inputer_->fileIndex : -1;
  if (!list || !list->names || index < 0 || index >= list->count || !list->names[index])
    return E_FAIL;
  std::string current = list->names[index];
  std::string folder = folderOf(current);

  // Opt-in: a disc title as players number it, and an audio track.
  const DiscTitleSettings discTitle = DiscTitleSettings::read();
  if (DvdTitleReader* reader = titleSource_.reader()) {
    settings_.title = ReadSettingInt(kSettingsKeyPath, "DvdTitle", settings_.title);
    settings_.pgc = ReadSettingInt(kSettingsKeyPath, "DvdPgc", settings_.pgc);
    settings_.audioNumber = ReadSettingInt(kSettingsKeyPath, "DvdAudio", settings_.audioNumber);
    // Opt-in: the chain's cells as a player plays them rather than the
    // sectors from its first cell to its last.
    const bool playbackOrder =
        ReadSettingInt(kSettingsKeyPath, "DvdPlaybackOrder", readDefaults_.playbackOrder) == 1;
    FENNORIA_LOG(LOG_TRACE, 0, "DvdImg mode, title=%d, pgc=%d, audio=%d", settings_.title,
                 settings_.pgc, settings_.audioNumber);
    // The IFO files' text dump goes to the debug log at trace level 3;
    // composing it is most of a load's time, so it is composed only when
    // the log would take it.
    reader->dumpRecords = diag::debugLog().wants(LOG_TRACE, 3);
    openNavigation(current, folder);
    if (!selectDiscTitle(discTitle, *reader)) {
      reader->selectTitleSet(settings_.title, settings_.titleSelector);
      if (playbackOrder)
        reader->selectPlaybackOrder(settings_.pgc);
      else
        reader->selectProgramChain(settings_.pgc);
    }
  }

  if (demuxer_) {
    demuxer_->CloseAll();
    demuxer_.reset();
  }
  if (settings_.readMode == 1) demuxer_ = std::make_unique<VobDemuxer>(navigationSink);

  if (demuxer_) {
    if (audioTracks_.empty()) {
      if (demuxer_->AddAudio(settings_.audioFile, 0, settings_.audioNumber, false) != 0)
        FENNORIA_LOG(LOG_ERROR, 0, "Could not add audio track %s/%d/%d", settings_.audioFile, 0,
                     settings_.audioNumber);
    } else if (audioTracks_.size() == 1) {
      const auto& entry = *audioTracks_.begin();
      if (DvdTitleReader* reader = titleSource_.reader()) {
        reader->audioSelect = entry.first;
        reader->setAudio(entry.second->streamNumber, entry.first);
      }
    } else {
      for (const auto& entry : audioTracks_) {
        const AudioTrack& track = *entry.second;
        if (demuxer_->AddAudio(track.file.c_str(), track.streamNumber, entry.first, false) != 0)
          FENNORIA_LOG(LOG_ERROR, 0, "Could not add audio track %s/%d/%d", track.file.c_str(),
                       track.streamNumber, entry.first);
      }
    }
    const std::int32_t count = static_cast<std::int32_t>(subtitleTracks_.size());
    for (std::int32_t key = 0; key < count; ++key) {
      std::unique_ptr<SubtitleTrack>& track = subtitleTracks_[key];
      if (!track) continue;
      if (demuxer_->AddSubtitle(track->file.c_str(), key, false) != 0)
        FENNORIA_LOG(LOG_ERROR, 0, "Could not add subtitle track %s/%d", track->file.c_str(), key);
    }
  }

  if (DvdTitleReader* reader = titleSource_.reader()) selectDiscAudioTrack(discTitle, *reader);

  // The counter is set first, so this seek finds it there and does not
  // reposition the reader.
  setStreamPosition(0);
  seekStream(0);
  return S_OK;
}
