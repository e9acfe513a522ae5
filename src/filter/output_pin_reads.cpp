// The pin's forward read path: reads that go on from where the last one
// ended skip the seek, list mode reads the joined files, DVD mode the chosen
// program chain's filtered sectors with a one-sector carry, and every block
// read goes to the demultiplexer when there is one.
#include "filter/output_pin.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "demux/vob_demuxer.h"
#include "diag/debug_log.h"
#include "dvdnav/dvd_title_reader.h"
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

std::int64_t OutputPin::readerPosition() const {
  if (titleReader_) return titleReader_->getRangePosition();
  return inputer_ ? inputer_->position : 0;
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
  if (!titleReader_) reportCurrentFile();
  return S_OK;
}

HRESULT OutputPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) {
  if (standardReads_) return standardReader_.syncRead(position, length, buffer);
  FENNORIA_LOG(LOG_TRACE, 2, "SyncRead pos=%" PRId64 " length=%d", static_cast<std::int64_t>(position),
               static_cast<int>(length));
  if (length == 0) return E_FAIL;
  if (!buffer) return E_POINTER;
  if (position < 0) return E_FAIL;
  std::int64_t total = inputer_ ? inputer_->totalLength : 0;
  std::int64_t current = inputer_ ? inputer_->position : 0;
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
  if (!titleReader_) reportCurrentFile();
  return S_OK;
}

HRESULT OutputPin::Length(LONGLONG* total, LONGLONG* available) {
  Locked hold(filterLock_);
  if (total) {
    if (!titleReader_) {
      *total = inputer_ ? inputer_->totalLength : 0;
      FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length/dvd mode 0: %" PRId64,
                   static_cast<std::int64_t>(*total));
    } else {
      *total = titleReader_->getRangeLength();
      FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length/dvd mode 1: %" PRId64,
                   static_cast<std::int64_t>(*total));
      if (*total == 0) {
        FENNORIA_LOG(LOG_TRACE, 1, "try to auto-switch to mode 0");
        settings_.readMode = 0;
        if (FAILED(ConfigureSource())) return E_FAIL;
        *total = inputer_ ? inputer_->totalLength : 0;
        FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length NOW %" PRId64,
                     static_cast<std::int64_t>(*total));
      }
    }
  }
  if (available && standardReads_) {
    // Every byte of the stream can be read at once.
    std::int64_t length = standardLength();
    *available = length < 0 ? 0 : length;
  } else if (available) {
    if (!titleReader_)
      *available = inputer_ ? inputer_->totalLength - inputer_->position : 0;
    else
      *available = titleReader_->getRangeLength() - titleReader_->getRangePosition();
    FENNORIA_LOG(LOG_TRACE, 1, "OutputPin::Length available %" PRId64,
                 static_cast<std::int64_t>(*available));
  }
  return S_OK;
}

HRESULT OutputPin::seekStream(std::int64_t position) {
  if (position == streamPosition()) return S_OK;
  std::int64_t reached = position;
  if (titleReader_)
    reached = titleReader_->seekRange(position);
  else if (inputer_)
    reached = inputer_->seek(position);
  if (reached != position)
    FENNORIA_LOG(LOG_ERROR, 0, "VobSeek error: %" PRId64 " %" PRId64, position, reached);
  setStreamPosition(position);
  return S_OK;
}

HRESULT OutputPin::readStream(BYTE* buffer, std::int32_t length, std::int32_t* bytesRead) {
  Locked hold(filterLock_);
  if (!titleReader_) {
    std::int64_t read = inputer_ ? inputer_->readBlock(buffer, length) : 0;
    if (read < 0) return E_FAIL;
    if (bytesRead) *bytesRead = static_cast<std::int32_t>(read);
    return S_OK;
  }
  BYTE* dest = buffer;
  std::int32_t left = length;
  if (carryOffset_ != 0) {
    std::int32_t take = std::min(kSectorSize - carryOffset_, left);
    if (take > 0) {
      std::memcpy(dest, sectorBuffer_ + carryOffset_, static_cast<std::size_t>(take));
      dest += take;
      left -= take;
    }
    carryOffset_ = 0;
  }
  while (left > 0) {
    if (titleReader_->readFiltered(sectorBuffer_, kSectorSize) < kSectorSize) break;
    std::int32_t take = std::min(left, kSectorSize - carryOffset_);
    std::memcpy(dest, sectorBuffer_ + carryOffset_, static_cast<std::size_t>(take));
    carryOffset_ = (carryOffset_ + take) & (kSectorSize - 1);
    dest += take;
    left -= take;
  }
  if (bytesRead) *bytesRead = static_cast<std::int32_t>(dest - buffer);
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
  status_->setPosition(std::max<std::int64_t>(readerPosition(), 0));
}

std::int64_t OutputPin::progressTotal() const {
  if (titleReader_) return std::max<std::int64_t>(titleReader_->getRangeLength(), 0);
  return inputer_ ? inputer_->totalLength : 0;
}

void OutputPin::reportCurrentFile() {
  if (!inputer_ || inputer_->fileIndex == lastReportedFile_) return;
  const FileList* list = inputer_->list;
  const char* name = nullptr;
  if (list && list->names && inputer_->fileIndex >= 0 && inputer_->fileIndex < list->count)
    name = list->names[inputer_->fileIndex];
  if (status_) status_->setCurrentFile(name);
  lastReportedFile_ = inputer_->fileIndex;
}
