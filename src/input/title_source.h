// The DVD mode's byte source: the selected range (or cells) of a
// DvdTitleReader, which the source owns, read through the audio pack filter
// in whole sectors. A read that ends inside a sector keeps the rest of it
// for the next read; the next read takes from that carry what fits and drops
// the remainder, so the carry belongs to the source and survives seeks, and
// even a change of reader (the pin keeps this source across modes).
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>

#include "dvdnav/ifo_records.h"
#include "input/byte_source.h"
#include "platform/io_buffer.h"

class DvdTitleReader;

class TitleSource : public ByteSource {
 public:
  static constexpr std::int32_t kSectorSize = dvdnav::sectorSize;

  TitleSource();
  ~TitleSource() override;

  // The reader; null until `open`, and after `close`.
  DvdTitleReader* reader() const { return reader_.get(); }
  // Makes a reader writing its messages to `log`, unless there is one.
  DvdTitleReader& open(std::ostream& log);
  // Lets go of the reader; the carry stays.
  void close();
  // Forgets the carried bytes.
  void dropCarry() { carryOffset_ = 0; }
  // Where the unread bytes of the last sector start; 0 when none are kept.
  std::int32_t carryOffset() const { return carryOffset_; }

  std::int64_t length() const override;
  std::int64_t position() const override;
  std::int64_t seek(std::int64_t position) override;
  std::int64_t read(std::uint8_t* buffer, std::int32_t count) override;
  RandomAccessReader::Result readAt(std::int64_t position, std::int32_t length,
                                    std::uint8_t* buffer) override;
  bool isSelection() const override { return true; }

 private:
  std::unique_ptr<DvdTitleReader> reader_;
  // Random-access reads of this reader, which keep their sector buffer
  // from one request to the next.
  std::unique_ptr<RandomAccessReader> random_;
  // Page-aligned, as every buffer a file read lands in.
  platform::IoBuffer sector_{kSectorSize};
  std::int32_t carryOffset_ = 0;
};
