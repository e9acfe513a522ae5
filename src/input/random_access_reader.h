// Reads any byte range of the stream the output pin delivers, in whatever
// order it is asked for, for parsers that jump about the file instead of
// reading it front to back.
//
// List mode reads the joined files of a MultipleFileInputer; DVD mode reads
// the selected range of a DvdTitleReader sector by sector, with every pack
// that the audio choice drops replaced in place by a padding pack, so that
// byte positions stay those of the range. The reader keeps no position of
// its own: every read says where it starts.
#pragma once

#include <cstdint>

#include "dvdnav/ifo_records.h"
#include "platform/io_buffer.h"

class MultipleFileInputer;
class DvdTitleReader;

class RandomAccessReader {
 public:
  // How a read ended.
  enum class Outcome {
    Outside,       // the position lies outside the stream (or there is none)
    NothingAsked,  // a length of 0 or less; nothing was done
    SeekMissed,    // list mode: the inputer did not reach the position
    Read,          // `count` bytes were placed, `wanted` were asked for
  };
  struct Result {
    Outcome outcome = Outcome::Outside;
    std::int32_t count = 0;    // bytes placed in the buffer
    std::int32_t wanted = 0;   // the length asked for, cut at the stream end
    std::int64_t reached = 0;  // SeekMissed: the inputer's position after the seek
  };

  // DVD mode when `titleReader` is given, list mode otherwise; neither
  // object is owned, and either may be null.
  RandomAccessReader(MultipleFileInputer* inputer, DvdTitleReader* titleReader)
      : inputer_(inputer), titleReader_(titleReader) {}

  // The stream's length: the selected range's in DVD mode, the joined
  // files' in list mode; -1 when there is none.
  std::int64_t length() const;

  // Reads the bytes [position, position + length) of the stream, cut at its
  // end, into `buffer`. A short count means that the files gave out first.
  Result read(std::int64_t position, std::int32_t length, std::uint8_t* buffer);

 private:
  Result readList(std::int64_t position, std::int32_t wanted, std::uint8_t* buffer);
  std::int32_t readSectors(std::int64_t position, std::int32_t wanted, std::uint8_t* buffer);
  // Whether the inputer stands at `position` with every field of its
  // current file agreeing with it, after a seek from `before` that answered
  // `answer`.
  bool standsAt(std::int64_t position, std::int64_t answer, std::int64_t before) const;

  MultipleFileInputer* inputer_;
  DvdTitleReader* titleReader_;
  platform::IoBuffer sector_;  // one sector, had on the first DVD read
};
