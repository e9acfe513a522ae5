// The pin's side of random-access reads ("StandardReads" 1): the bytes of a
// range from the pin's byte source, and the counter, progress, current file
// and demultiplexer that follow each read.
// The queue and the flush live in StandardReader, which calls readAt.
#include "filter/output_pin.h"

#include <cinttypes>

#include "diag/debug_log.h"

using dshow::Locked;
using diag::LOG_ERROR;

std::int64_t OutputPin::readAt(std::int64_t position, std::int32_t length, BYTE* buffer) {
  Locked hold(filterLock_);
  const RandomAccessReader::Result result = source_->readAt(position, length, buffer);
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
  if (demuxer_ && done > 0 && position == demuxedUpTo_) {
    demuxBlock(buffer, done);
    demuxedUpTo_ = position + done;
  }
  reportCurrentFile();
  return done;
}

HRESULT OutputPin::ReaderBeginFlush() {
  if (!standardReads_) return S_OK;
  return standardReader_.beginFlush();
}

HRESULT OutputPin::ReaderEndFlush() {
  if (!standardReads_) return S_OK;
  return standardReader_.endFlush();
}
