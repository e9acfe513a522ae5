#include "filter/output_pin.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "demux/vob_demuxer.h"
#include "diag/debug_log.h"
#include "dshow/media_type.h"
#include "dvdnav/dvd_title_reader.h"
#include "filter/settings_store.h"
#include "filter/source_guids.h"
#include "input/random_access_reader.h"
#include "input/multiple_file_inputer.h"
#include "platform/message_box.h"
#include "ui/progress_display.h"

using dshow::Locked;
using diag::LOG_ERROR;
using diag::LOG_TRACE;

namespace {

constexpr std::int32_t kSectorSize = 2048;
constexpr LONGLONG kUnitsPerByte = 10000000;

// Shared by every pin of the process.
std::int64_t streamPositionCounter = 0;

// Messages of the DVD navigation code and the demultiplexer, with their level.
void navigationSink(int level, const char* text) {
  FENNORIA_LOG(LOG_TRACE, static_cast<std::uint32_t>(level < 0 ? 0 : level), "%s", text);
}

}  // namespace

std::int64_t OutputPin::streamPosition() { return streamPositionCounter; }
void OutputPin::setStreamPosition(std::int64_t position) { streamPositionCounter = position; }

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

// ---- ISourceControl ----

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

// ---- IAsyncReader ----

HRESULT STDMETHODCALLTYPE OutputPin::AsyncReader::Length(LONGLONG* total, LONGLONG* available) {
  // The navigation files may fail to load while switching modes.
  return dshow::guarded([&] { return pin_.Length(total, available); });
}

HRESULT OutputPin::RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                    IMemAllocator** actual) {
  if (!preferred || !properties || !actual) return E_POINTER;
  properties->cbAlign = 1;
  ALLOCATOR_PROPERTIES granted = {};
  if (FAILED(preferred->SetProperties(properties, &granted))) return E_FAIL;
  preferred->AddRef();
  *actual = preferred;
  return S_OK;
}

HRESULT OutputPin::Request(IMediaSample* sample, DWORD_PTR user) {
  if (standardReads) return standardRequest(sample, user);
  if (!sample) return E_POINTER;
  REFERENCE_TIME start = 0, stop = 0;
  HRESULT hr = sample->GetTime(&start, &stop);
  if (FAILED(hr)) {
    FENNORIA_LOG(LOG_TRACE, 16, "CHECK_FAILED: %s", "GetTime");
    return hr;
  }
  std::int64_t position = start / kUnitsPerByte;
  std::int64_t length = (stop - start) / kUnitsPerByte;
  FENNORIA_LOG(LOG_TRACE, 1, "Request pos=%" PRId64 " length=%d  E_NOTIMPL", position,
               static_cast<int>(length));
  return E_NOTIMPL;
}

HRESULT OutputPin::WaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user) {
  if (standardReads) return standardWaitForNext(timeout, sample, user);
  FENNORIA_LOG(LOG_TRACE, 1, "WaitForNext timeout=%d", static_cast<int>(timeout));
  if (sample) *sample = nullptr;
  return E_NOTIMPL;
}

std::int64_t OutputPin::readerPosition() const {
  if (titleReader) return titleReader->getRangePosition();
  return inputer ? inputer->position : 0;
}

HRESULT OutputPin::SyncReadAligned(IMediaSample* sample) {
  if (standardReads) return standardSyncReadAligned(sample);
  if (!sample) return E_POINTER;
  Locked hold(filterLock);
  if (endOfStream) {
    sample->SetActualDataLength(0);
    return S_FALSE;
  }
  REFERENCE_TIME start = 0, stop = 0;
  HRESULT hr = sample->GetTime(&start, &stop);
  if (FAILED(hr)) {
    FENNORIA_LOG(LOG_TRACE, 16, "CHECK_FAILED: %s", "GetTime");
    return hr;
  }
  std::int64_t position = start / kUnitsPerByte;
  std::int64_t length = (stop - start) / kUnitsPerByte;
  if (length == 0) {
    FENNORIA_LOG(LOG_ERROR, 0, "SyncReadAligned: BytesToRead=0 !");
    return S_OK;
  }
  long size = sample->GetSize();
  if (size < 1) {
    FENNORIA_LOG(LOG_ERROR, 0, "SyncReadAligned: sampleSize=%d !", static_cast<int>(size));
    return E_FAIL;
  }
  if (length > size) length = size;
  if (length < 0) {
    // A stop time before the start time asks for nothing that can be read.
    FENNORIA_LOG(LOG_ERROR, 0, "SyncReadAligned: BytesToRead=0 !");
    return S_OK;
  }
  BYTE* buffer = nullptr;
  hr = sample->GetPointer(&buffer);
  if (FAILED(hr)) {
    FENNORIA_LOG(LOG_TRACE, 16, "CHECK_FAILED: %s", "GetPointer");
    return hr;
  }
  SeekStream(position);
  std::int32_t read = 0;
  ReadStream(buffer, static_cast<std::int32_t>(length), &read);
  std::int64_t reached = readerPosition();
  FENNORIA_LOG(LOG_TRACE, 2,
               "SyncReadAligned pos=%" PRId64 "/%" PRId64 " diff:%" PRId64 " length=%" PRId64
               " read=%d",
               position, reached, reached - position, length, read);
  setStreamPosition(streamPosition() + read);
  feedPosition();
  if (read == 0) {
    FENNORIA_LOG(LOG_ERROR, 0, "bytesRead=0 ! EOF?");
    sample->SetActualDataLength(0);
    endOfStream = true;
    return S_OK;
  }
  if (read != length) {
    FENNORIA_LOG(LOG_ERROR, 0, "bytesRead!=bytesToRead ! EOF?");
    sample->SetActualDataLength(read);
    endOfStream = true;
  }
  if (FAILED(DemuxBlock(buffer, read))) FENNORIA_LOG(LOG_ERROR, 0, "VobDemux failed!");
  hr = sample->SetActualDataLength(read);
  if (FAILED(hr)) {
    FENNORIA_LOG(LOG_TRACE, 16, "CHECK_FAILED: %s", "SetActualDataLength");
    return hr;
  }
  if (!titleReader) reportCurrentFile();
  return S_OK;
}

HRESULT OutputPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) {
  if (standardReads) return standardSyncRead(position, length, buffer);
  FENNORIA_LOG(LOG_TRACE, 2, "SyncRead pos=%" PRId64 " length=%d", static_cast<std::int64_t>(position),
               static_cast<int>(length));
  if (length == 0) return E_FAIL;
  if (!buffer) return E_POINTER;
  if (position < 0) return E_FAIL;
  std::int64_t total = inputer ? inputer->totalLength : 0;
  std::int64_t current = inputer ? inputer->position : 0;
  if (position >= total || length < 0) return E_FAIL;
  if (length > total - current) return E_FAIL;

  Locked hold(filterLock);
  SeekStream(position);
  std::int32_t read = 0;
  if (FAILED(ReadStream(buffer, length, &read))) return E_UNEXPECTED;
  setStreamPosition(streamPosition() + read);
  feedPosition();
  if (read == 0) {
    FENNORIA_LOG(LOG_TRACE, 1, "BytesRead=1");
    return S_FALSE;
  }
  if (read != length) {
    FENNORIA_LOG(LOG_TRACE, 1, "BytesRead=length %d %d", read, static_cast<int>(length));
    return S_FALSE;
  }
  DemuxBlock(buffer, read);
  if (!titleReader) reportCurrentFile();
  return S_OK;
}

HRESULT OutputPin::Length(LONGLONG* total, LONGLONG* available) {
  Locked hold(filterLock);
  if (total) {
    if (!titleReader) {
      *total = inputer ? inputer->totalLength : 0;
      FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length/dvd mode 0: %" PRId64,
                   static_cast<std::int64_t>(*total));
    } else {
      *total = titleReader->getRangeLength();
      FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length/dvd mode 1: %" PRId64,
                   static_cast<std::int64_t>(*total));
      if (*total == 0) {
        FENNORIA_LOG(LOG_TRACE, 1, "try to auto-switch to mode 0");
        settings.readMode = 0;
        if (FAILED(ConfigureSource())) return E_FAIL;
        *total = inputer ? inputer->totalLength : 0;
        FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length NOW %" PRId64,
                     static_cast<std::int64_t>(*total));
      }
    }
  }
  if (available && standardReads) {
    // Every byte of the stream can be read at once.
    std::int64_t length = StandardLength();
    *available = length < 0 ? 0 : length;
  } else if (available) {
    if (!titleReader)
      *available = inputer ? inputer->totalLength - inputer->position : 0;
    else
      *available = titleReader->getRangeLength() - titleReader->getRangePosition();
    FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length available %" PRId64,
                 static_cast<std::int64_t>(*available));
  }
  return S_OK;
}

HRESULT OutputPin::SeekStream(std::int64_t position) {
  if (position == streamPosition()) return S_OK;
  std::int64_t reached = position;
  if (titleReader)
    reached = titleReader->seekRange(position);
  else if (inputer)
    reached = inputer->seek(position);
  if (reached != position)
    FENNORIA_LOG(LOG_ERROR, 0, "VobSeek error: %" PRId64 " %" PRId64, position, reached);
  setStreamPosition(position);
  return S_OK;
}

HRESULT OutputPin::ReadStream(BYTE* buffer, std::int32_t length, std::int32_t* bytesRead) {
  Locked hold(filterLock);
  if (!titleReader) {
    std::int64_t read = inputer ? inputer->readBlock(buffer, length) : 0;
    if (read < 0) return E_FAIL;
    if (bytesRead) *bytesRead = static_cast<std::int32_t>(read);
    return S_OK;
  }
  BYTE* dest = buffer;
  std::int32_t left = length;
  if (carryOffset != 0) {
    std::int32_t take = std::min(kSectorSize - carryOffset, left);
    if (take > 0) {
      std::memcpy(dest, sectorBuffer + carryOffset, static_cast<std::size_t>(take));
      dest += take;
      left -= take;
    }
    carryOffset = 0;
  }
  while (left > 0) {
    if (titleReader->readFiltered(sectorBuffer, kSectorSize) < kSectorSize) break;
    std::int32_t take = std::min(left, kSectorSize - carryOffset);
    std::memcpy(dest, sectorBuffer + carryOffset, static_cast<std::size_t>(take));
    carryOffset = (carryOffset + take) & (kSectorSize - 1);
    dest += take;
    left -= take;
  }
  if (bytesRead) *bytesRead = static_cast<std::int32_t>(dest - buffer);
  return S_OK;
}

HRESULT OutputPin::DemuxBlock(const BYTE* buffer, std::int32_t count) {
  if (!demuxer) return E_FAIL;
  demuxer->Demultiplex(buffer, count);
  return S_OK;
}

// The progress window follows this pin's own reader: its position and the
// length of the same stream (the title range in DVD mode, the joined files
// otherwise), never the process-wide counter, which other filters move too.
// The window only stores the values; its own thread shows them.
void OutputPin::feedPosition() {
  if (!status) return;
  std::int64_t total = progressTotal();
  if (total != fedTotal_) {
    status->setTotalLength(total);
    fedTotal_ = total;
  }
  status->setPosition(std::max<std::int64_t>(readerPosition(), 0));
}

std::int64_t OutputPin::progressTotal() const {
  if (titleReader) return std::max<std::int64_t>(titleReader->getRangeLength(), 0);
  return inputer ? inputer->totalLength : 0;
}

void OutputPin::reportCurrentFile() {
  if (!inputer || inputer->fileIndex == lastReportedFile) return;
  const FileList* list = inputer->list;
  const char* name = nullptr;
  if (list && list->names && inputer->fileIndex >= 0 && inputer->fileIndex < list->count)
    name = list->names[inputer->fileIndex];
  if (status) status->setCurrentFile(name);
  lastReportedFile = inputer->fileIndex;
}

// ---- Standard reads ----

std::int64_t OutputPin::StandardLength() {
  Locked hold(filterLock);
  return RandomAccessReader(inputer, titleReader.get()).length();
}

std::int64_t OutputPin::ReadAt(std::int64_t position, std::int32_t length, BYTE* buffer) {
  Locked hold(filterLock);
  RandomAccessReader::Result result =
      RandomAccessReader(inputer, titleReader.get()).read(position, length, buffer);
  switch (result.outcome) {
    case RandomAccessReader::Outcome::Outside:
      return -1;
    case RandomAccessReader::Outcome::NothingAsked:
      return 0;
    case RandomAccessReader::Outcome::SeekMissed:
      FENNORIA_LOG(LOG_ERROR, 0, "Standard read: seek to %" PRId64 " reached %" PRId64, position,
                   result.reached);
      return 0;
    case RandomAccessReader::Outcome::Read:
      break;
  }
  const std::int32_t done = result.count;
  if (done < result.wanted)
    FENNORIA_LOG(LOG_ERROR, 0, "Standard read: %d of %d bytes at %" PRId64, done, result.wanted,
                 position);
  setStreamPosition(position + done);
  feedPosition();
  // The demultiplexer only takes the stream in order.
  if (demuxer && done > 0 && position == demuxedUpTo) {
    DemuxBlock(buffer, done);
    demuxedUpTo = position + done;
  }
  if (!titleReader) reportCurrentFile();
  return done;
}

HRESULT OutputPin::standardSyncRead(LONGLONG position, LONG length, BYTE* buffer) {
  FENNORIA_LOG(LOG_TRACE, 2, "SyncRead pos=%" PRId64 " length=%d (standard)",
               static_cast<std::int64_t>(position), static_cast<int>(length));
  if (!buffer) return E_POINTER;
  if (length < 0) return E_INVALIDARG;
  std::int64_t read = ReadAt(position, length, buffer);
  if (read < 0) {
    FENNORIA_LOG(LOG_ERROR, 0, "SyncRead: position %" PRId64 " is outside the stream",
                 static_cast<std::int64_t>(position));
    return E_FAIL;
  }
  return read == length ? S_OK : S_FALSE;
}

HRESULT OutputPin::standardSyncReadAligned(IMediaSample* sample) {
  if (!sample) return E_POINTER;
  REFERENCE_TIME start = 0, stop = 0;
  HRESULT hr = sample->GetTime(&start, &stop);
  if (FAILED(hr)) return hr;
  BYTE* buffer = nullptr;
  hr = sample->GetPointer(&buffer);
  if (FAILED(hr)) return hr;
  std::int64_t position = start / kUnitsPerByte;
  std::int64_t length = (stop - start) / kUnitsPerByte;
  long size = sample->GetSize();
  if (length > size) length = size;
  if (length < 0) length = 0;
  std::int64_t read = ReadAt(position, static_cast<std::int32_t>(length), buffer);
  if (read < 0) {
    FENNORIA_LOG(LOG_ERROR, 0, "SyncReadAligned: position %" PRId64 " is outside the stream",
                 position);
    sample->SetActualDataLength(0);
    return S_FALSE;
  }
  sample->SetActualDataLength(static_cast<long>(read));
  return read == length ? S_OK : S_FALSE;
}

HRESULT OutputPin::standardRequest(IMediaSample* sample, DWORD_PTR user) {
  if (!sample) return E_POINTER;
  {
    Locked hold(filterLock);
    if (flushing) return VFW_E_WRONG_STATE;
  }
  // The read happens now, on the caller's thread; a failed read still
  // queues the sample, with nothing in it.
  HRESULT hr = standardSyncReadAligned(sample);
  if (FAILED(hr)) return hr;
  Locked hold(filterLock);
  if (flushing) return VFW_E_WRONG_STATE;
  finished.emplace_back(sample, user);  // the caller's guard answers a failure
  SetEvent(finishedEvent);
  return S_OK;
}

HRESULT OutputPin::standardWaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user) {
  if (!sample) return E_POINTER;
  *sample = nullptr;
  if (user) *user = 0;
  DWORD begin = GetTickCount();
  for (;;) {
    {
      Locked hold(filterLock);
      if (!finished.empty()) {
        *sample = finished.front().first;
        if (user) *user = finished.front().second;
        finished.pop_front();
        if (finished.empty() && !flushing) ResetEvent(finishedEvent);
        // While flushing, the samples still queued go back with the error.
        return flushing ? VFW_E_WRONG_STATE : S_OK;
      }
      if (flushing) return VFW_E_WRONG_STATE;
    }
    DWORD waited = GetTickCount() - begin;
    if (timeout != INFINITE && waited >= timeout) return VFW_E_TIMEOUT;
    DWORD left = timeout == INFINITE ? INFINITE : timeout - waited;
    if (WaitForSingleObject(finishedEvent, left) == WAIT_TIMEOUT) {
      Locked hold(filterLock);
      if (finished.empty() && !flushing) return VFW_E_TIMEOUT;
    }
  }
}

HRESULT OutputPin::ReaderBeginFlush() {
  if (!standardReads) return S_OK;
  Locked hold(filterLock);
  flushing = true;
  SetEvent(finishedEvent);
  return S_OK;
}

HRESULT OutputPin::ReaderEndFlush() {
  if (!standardReads) return S_OK;
  Locked hold(filterLock);
  flushing = false;
  if (finished.empty()) ResetEvent(finishedEvent);
  return S_OK;
}
