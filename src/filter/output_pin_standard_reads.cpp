// The pin's random-access reads ("StandardReads" 1): any position at any
// time through a RandomAccessReader, queued requests done at once on the
// caller's thread, and the flush pair that releases a waiting WaitForNext.
#include "filter/output_pin.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "demux/vob_demuxer.h"
#include "diag/debug_log.h"
#include "dvdnav/dvd_title_reader.h"
#include "input/multiple_file_inputer.h"
#include "input/random_access_reader.h"

using dshow::Locked;
using diag::LOG_ERROR;
using diag::LOG_TRACE;

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
