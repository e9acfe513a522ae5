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
  if (standardReads) return standardRequest(sample, user);
  if (!sample) return E_POINTER;
  std::int64_t position = 0, length = 0;
  HRESULT hr = sampleRange(sample, &position, &length);
  if (FAILED(hr)) return hr;
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
