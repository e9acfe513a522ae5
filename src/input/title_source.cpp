#include "input/title_source.h"

#include <algorithm>
#include <cstring>

#include "dvdnav/dvd_title_reader.h"

TitleSource::TitleSource() = default;
TitleSource::~TitleSource() = default;

DvdTitleReader& TitleSource::open(std::ostream& log) {
  if (!reader_) {
    reader_ = std::make_unique<DvdTitleReader>(log);
    random_ = std::make_unique<RandomAccessReader>(nullptr, reader_.get());
  }
  return *reader_;
}

void TitleSource::close() {
  random_.reset();
  reader_.reset();
}

std::int64_t TitleSource::length() const { return reader_ ? reader_->getRangeLength() : -1; }

std::int64_t TitleSource::position() const { return reader_ ? reader_->getRangePosition() : -1; }

std::int64_t TitleSource::seek(std::int64_t position) {
  return reader_ ? reader_->seekRange(position) : -1;
}

std::int64_t TitleSource::read(std::uint8_t* buffer, std::int32_t count) {
  std::uint8_t* dest = buffer;
  std::int32_t left = count;
  // What the last read left of its sector comes first; what this read does
  // not take of it is dropped.
  if (carryOffset_ != 0) {
    const std::int32_t take = std::min(kSectorSize - carryOffset_, left);
    if (take > 0) {
      std::memcpy(dest, sector_.data() + carryOffset_, static_cast<std::size_t>(take));
      dest += take;
      left -= take;
    }
    carryOffset_ = 0;
  }
  while (left > 0 && reader_) {
    if (reader_->readFiltered(sector_.data(), kSectorSize) < kSectorSize) break;
    const std::int32_t take = std::min(left, kSectorSize - carryOffset_);
    std::memcpy(dest, sector_.data() + carryOffset_, static_cast<std::size_t>(take));
    carryOffset_ = (carryOffset_ + take) & (kSectorSize - 1);
    dest += take;
    left -= take;
  }
  return dest - buffer;
}

RandomAccessReader::Result TitleSource::readAt(std::int64_t position, std::int32_t length,
                                               std::uint8_t* buffer) {
  if (!random_) return {};  // no reader: outside any stream
  return random_->read(position, length, buffer);
}
