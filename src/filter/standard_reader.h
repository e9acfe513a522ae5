// IAsyncReader for parsers that jump about the stream (the "StandardReads"
// setting): any position at any time, each request done at once on the
// caller's thread and queued for WaitForNext, and the flush pair that
// releases a waiting WaitForNext.
//
// The reader owns only its queue; the bytes come from the pin that owns it,
// through a function that reads a range of the stream under the pin's lock.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <utility>

class StandardReader {
 public:
  // Reads the bytes [position, position + length) of the stream, cut at its
  // end; the count read, or -1 when the position is outside the stream.
  using ReadAt = std::function<std::int64_t(std::int64_t position, std::int32_t length,
                                            BYTE* buffer)>;

  // `lock` guards the queue; it is the pin's, which `readAt` takes too.
  StandardReader(CRITICAL_SECTION* lock, ReadAt readAt);
  ~StandardReader();
  StandardReader(const StandardReader&) = delete;
  StandardReader& operator=(const StandardReader&) = delete;

  HRESULT request(IMediaSample* sample, DWORD_PTR user);
  HRESULT waitForNext(DWORD timeout, IMediaSample** sample, DWORD_PTR* user);
  HRESULT syncReadAligned(IMediaSample* sample);
  HRESULT syncRead(LONGLONG position, LONG length, BYTE* buffer);
  HRESULT beginFlush();
  HRESULT endFlush();

 private:
  CRITICAL_SECTION* lock_;
  ReadAt readAt_;
  std::deque<std::pair<IMediaSample*, DWORD_PTR>> finished_;
  bool flushing_ = false;
  // Set while a request is finished or a flush is on.
  HANDLE finishedEvent_;
};
