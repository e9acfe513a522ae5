#include "filter/standard_reader.h"

#include <cinttypes>

#include "diag/debug_log.h"
#include "dshow/base_filter.h"

using dshow::Locked;
using diag::LOG_ERROR;
using diag::LOG_TRACE;

namespace {
// Sample times count this many units per byte.
constexpr LONGLONG kUnitsPerByte = 10000000;
}  // namespace

StandardReader::StandardReader(CRITICAL_SECTION* lock, ReadAt readAt)
    : lock_(lock),
      readAt_(std::move(readAt)),
      finishedEvent_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

StandardReader::~StandardReader() {
  if (finishedEvent_) CloseHandle(finishedEvent_);
}

HRESULT StandardReader::syncRead(LONGLONG position, LONG length, BYTE* buffer) {
  FENNORIA_LOG(LOG_TRACE, 2, "SyncRead pos=%" PRId64 " length=%d (standard)",
               static_cast<std::int64_t>(position), static_cast<int>(length));
  if (!buffer) return E_POINTER;
  if (length < 0) return E_INVALIDARG;
  std::int64_t read = readAt_(position, length, buffer);
  if (read < 0) {
    FENNORIA_LOG(LOG_ERROR, 0, "SyncRead: position %" PRId64 " is outside the stream",
                 static_cast<std::int64_t>(position));
    return E_FAIL;
  }
  return read == length ? S_OK : S_FALSE;
}

HRESULT StandardReader::syncReadAligned(IMediaSample* sample) {
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
  std::int64_t read = readAt_(position, static_cast<std::int32_t>(length), buffer);
  if (read < 0) {
    FENNORIA_LOG(LOG_ERROR, 0, "SyncReadAligned: position %" PRId64 " is outside the stream",
                 position);
    sample->SetActualDataLength(0);
    return S_FALSE;
  }
  sample->SetActualDataLength(static_cast<long>(read));
  return read == length ? S_OK : S_FALSE;
}

HRESULT StandardReader::request(IMediaSample* sample, DWORD_PTR user) {
  if (!sample) return E_POINTER;
  {
    Locked hold(lock_);
    if (flushing_) return VFW_E_WRONG_STATE;
  }
  // The read happens now, on the caller's thread; a failed read still
  // queues the sample, with nothing in it.
  HRESULT hr = syncReadAligned(sample);
  if (FAILED(hr)) return hr;
  Locked hold(lock_);
  if (flushing_) return VFW_E_WRONG_STATE;
  finished_.emplace_back(sample, user);  // the caller's guard answers a failure
  SetEvent(finishedEvent_);
  return S_OK;
}

HRESULT StandardReader::waitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user) {
  if (!sample) return E_POINTER;
  *sample = nullptr;
  if (user) *user = 0;
  DWORD begin = GetTickCount();
  for (;;) {
    {
      Locked hold(lock_);
      if (!finished_.empty()) {
        *sample = finished_.front().first;
        if (user) *user = finished_.front().second;
        finished_.pop_front();
        if (finished_.empty() && !flushing_) ResetEvent(finishedEvent_);
        // While flushing, the samples still queued go back with the error.
        return flushing_ ? VFW_E_WRONG_STATE : S_OK;
      }
      if (flushing_) return VFW_E_WRONG_STATE;
    }
    DWORD waited = GetTickCount() - begin;
    if (timeout != INFINITE && waited >= timeout) return VFW_E_TIMEOUT;
    DWORD left = timeout == INFINITE ? INFINITE : timeout - waited;
    if (WaitForSingleObject(finishedEvent_, left) == WAIT_TIMEOUT) {
      Locked hold(lock_);
      if (finished_.empty() && !flushing_) return VFW_E_TIMEOUT;
    }
  }
}

HRESULT StandardReader::beginFlush() {
  Locked hold(lock_);
  flushing_ = true;
  SetEvent(finishedEvent_);
  return S_OK;
}

HRESULT StandardReader::endFlush() {
  Locked hold(lock_);
  flushing_ = false;
  if (finished_.empty()) ResetEvent(finishedEvent_);
  return S_OK;
}
