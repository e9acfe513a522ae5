// The pin's forward read path: reads that go on from where the last one
// ended skip the seek, every read comes from the pin's byte source (the
// joined files, or the chosen program chain's filtered sectors with their
// one-sector carry), and every block read goes to the demultiplexer when
// there is one.
#include "filter/output_pin.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "demux/vob_demuxer.h"
#include "diag/debug_log.h"
#include "input/multiple_file_inputer.h"
#include "ui/progress_display.h"

using dshow::Locked;
using diag::LOG_ERROR;
using diag::LOG_TRACE;

namespace {
// Shared by every pin of the process.
std::int64_t streamPositionCounter = 0;
}  // namespace

std::int64_t OutputPin::streamPosition() { return streamPositionCounter; }
void OutputPin::setStreamPosition(std::int64_t position) { streamPositionCounter = position; }

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

// The byte range a sample's times ask for.
HRESULT OutputPin::sampleRange(IMediaSample* sample, std::int64_t* position,
                               std::int64_t* length) {
  REFERENCE_TIME start = 0, stop = 0;
  HRESULT hr = sample->GetTime(&start, &stop);
  if (FAILED(hr)) {
    FENNORIA_LOG(LOG_TRACE, 16, "CHECK_FAILED: %s", "GetTime");
    return hr;
  }
  *position = start / kUnitsPerByte;
  *length = (stop - start) / kUnitsPerByte;
  return S_OK;
}

HRESULT OutputPin::Request(IMediaSample* sample, DWORD_PTR user) {
  if (standardReads_) return standardReader_.request(sample, user);
  if (!sample) return E_POINTER;
  std::int64_t position = 0, length = 0;
  HRESULT hr = sampleRange(sample, &position, &length);
  if (FAILED(hr)) return hr;
  FENNORIA_LOG(LOG_TRACE, 1, "Request pos=%" PRId64 " length=%d  E_NOTIMPL", position,
               static_cast<int>(length));
  return E_NOTIMPL;
}

HRESULT OutputPin::WaitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user) {
  if (standardReads_) return standardReader_.waitForNext(timeout, sample, user);
  FENNORIA_LOG(LOG_TRACE, 1, "WaitForNext timeout=%d", static_cast<int>(timeout));
  if (sample) *sample = nullptr;
  return E_NOTIMPL;
}

HRESULT OutputPin::SyncReadAligned(IMediaSample* sample) {
  if (standardReads_) return standardReader_.syncReadAligned(sample);
  if (!sample) return E_POINTER;
  Locked hold(filterLock_);
  if (endOfStream_) {
    sample->SetActualDataLength(0);
    return S_FALSE;
  }
  std::int64_t position = 0, length = 0;
  HRESULT hr = sampleRange(sample, &position, &length);
  if (FAILED(hr)) return hr;
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
  seekStream(position);
  std::int32_t read = 0;
  readStream(buffer, static_cast<std::int32_t>(length), &read);
  std::int64_t reached = source_->position();
  FENNORIA_LOG(LOG_TRACE, 2,
               "SyncReadAligned pos=%" PRId64 "/%" PRId64 " diff:%" PRId64 " length=%" PRId64
               " read=%d",
               position, reached, reached - position, length, read);
  setStreamPosition(streamPosition() + read);
  feedPosition();
  if (read == 0) {
    FENNORIA_LOG(LOG_ERROR, 0, "bytesRead=0 ! EOF?");
    sample->SetActualDataLength(0);
    endOfStream_ = true;
    return S_OK;
  }
  if (read != length) {
    FENNORIA_LOG(LOG_ERROR, 0, "bytesRead!=bytesToRead ! EOF?");
    sample->SetActualDataLength(read);
    endOfStream_ = true;
  }
  if (FAILED(demuxBlock(buffer, read))) FENNORIA_LOG(LOG_ERROR, 0, "VobDemux failed!");
  hr = sample->SetActualDataLength(read);
  if (FAILED(hr)) {
    FENNORIA_LOG(LOG_TRACE, 16, "CHECK_FAILED: %s", "SetActualDataLength");
    return hr;
  }
  reportCurrentFile();
  return S_OK;
}

HRESULT OutputPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) {
  if (standardReads_) return standardReader_.syncRead(position, length, buffer);
  FENNORIA_LOG(LOG_TRACE, 2, "SyncRead pos=%" PRId64 " length=%d", static_cast<std::int64_t>(position),
               static_cast<int>(length));
  if (length == 0) return E_FAIL;
  if (!buffer) return E_POINTER;
  if (position < 0) return E_FAIL;
  // The bounds are the list's, in DVD mode too, and measured from where the
  // list stands, not from the position asked for.
  const std::int64_t total = listSource_.length();
  const std::int64_t current = listSource_.position();
  if (position >= total || length < 0) return E_FAIL;
  if (length > total - current) return E_FAIL;

  Locked hold(filterLock_);
  seekStream(position);
  std::int32_t read = 0;
  if (FAILED(readStream(buffer, length, &read))) return E_UNEXPECTED;
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
  demuxBlock(buffer, read);
  reportCurrentFile();
  return S_OK;
}

HRESULT OutputPin::Length(LONGLONG* total, LONGLONG* available) {
  Locked hold(filterLock_);
  if (total) {
    const bool selection = source_->isSelection();
    *total = source_->length();
    FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length/dvd mode %d: %" PRId64, selection ? 1 : 0,
                 static_cast<std::int64_t>(*total));
    if (selection && *total == 0) {
      FENNORIA_LOG(LOG_TRACE, 1, "try to auto-switch to mode 0");
      settings_.readMode = 0;
      if (FAILED(ConfigureSource())) return E_FAIL;
      // The list's length, also when a stored read mode kept DVD mode.
      *total = listSource_.length();
      FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length NOW %" PRId64,
                   static_cast<std::int64_t>(*total));
    }
  }
  if (available && standardReads_) {
    // Every byte of the stream can be read at once.
    *available = std::max<std::int64_t>(source_->length(), 0);
  } else if (available) {
    *available = source_->length() - source_->position();
    FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length available %" PRId64,
                 static_cast<std::int64_t>(*available));
  }
  return S_OK;
}

HRESULT OutputPin::seekStream(std::int64_t position) {
  if (position == streamPosition()) return S_OK;
  const std::int64_t reached = source_->seek(position);
  if (reached != position)
    FENNORIA_LOG(LOG_ERROR, 0, "VobSeek error: %" PRId64 " %" PRId64, position, reached);
  setStreamPosition(position);
  return S_OK;
}

HRESULT OutputPin::readStream(BYTE* buffer, std::int32_t length, std::int32_t* bytesRead) {
  Locked hold(filterLock_);
  const std::int64_t read = source_->read(buffer, length);
  if (read < 0) return E_FAIL;
  if (bytesRead) *bytesRead = static_cast<std::int32_t>(read);
  return S_OK;
}

HRESULT OutputPin::demuxBlock(const BYTE* buffer, std::int32_t count) {
  if (!demuxer_) return E_FAIL;
  demuxer_->Demultiplex(buffer, count);
  return S_OK;
}

// The progress window follows this pin's own reader: its position and the
// length of the same stream (the title range in DVD mode, the joined files
// otherwise), never the process-wide counter, which other filters move too.
// The window only stores the values; its own thread shows them.
void OutputPin::feedPosition() {
  if (!status_) return;
  std::int64_t total = progressTotal();
  if (total != fedTotal_) {
    status_->setTotalLength(total);
    fedTotal_ = total;
  }
  status_->setPosition(std::max<std::int64_t>(source_->position(), 0));
}

std::int64_t OutputPin::progressTotal() const {
  return std::max<std::int64_t>(source_->length(), 0);
}

void OutputPin::reportCurrentFile() {
  const std::optional<ByteSource::CurrentFile> file = source_->currentFile();
  if (!file || file->index == lastReportedFile_) return;
  if (status_) status_->setCurrentFile(file->name);
  lastReportedFile_ = file->index;
}
