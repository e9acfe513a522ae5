#include "input/random_access_reader.h"

#include <algorithm>
#include <cstring>

#include "dvdnav/dvd_title_reader.h"
#include "input/multiple_file_inputer.h"
#include "platform/file.h"

namespace {

constexpr std::int32_t kSector = dvdnav::sectorSize;

// The recorded length of file `index`; a list without lengths counts every
// file as empty, as the inputer does.
std::int64_t sizeOf(const FileList& list, std::int32_t index) {
  return list.sizes ? list.sizes[index] : 0;
}

}  // namespace

std::int64_t RandomAccessReader::length() const {
  if (titleReader_) return titleReader_->getRangeLength();
  return inputer_ ? inputer_->totalLength : -1;
}

RandomAccessReader::Result RandomAccessReader::read(std::int64_t position, std::int32_t length,
                                                    std::uint8_t* buffer) {
  Result result;
  std::int64_t total = this->length();
  if (position < 0 || total < 0 || position >= total) return result;
  if (length <= 0) {
    result.outcome = Outcome::NothingAsked;
    return result;
  }
  std::int32_t wanted =
      static_cast<std::int32_t>(std::min<std::int64_t>(length, total - position));
  if (titleReader_) {
    result.outcome = Outcome::Read;
    result.wanted = wanted;
    result.count = readSectors(position, wanted, buffer);
    return result;
  }
  if (!inputer_) return result;
  return readList(position, wanted, buffer);
}

RandomAccessReader::Result RandomAccessReader::readList(std::int64_t position,
                                                        std::int32_t wanted,
                                                        std::uint8_t* buffer) {
  Result result;
  std::int64_t before = inputer_->position;
  std::int64_t answer = inputer_->seek(position);
  // The seek answers an offset inside a file cut to 32 bits, so it cannot be
  // judged by its sign or against the joined position: judge where the
  // inputer now stands instead.
  if (!standsAt(position, answer, before)) {
    result.outcome = Outcome::SeekMissed;
    result.reached = inputer_->position;
    return result;
  }
  result.outcome = Outcome::Read;
  result.wanted = wanted;
  std::int32_t done = 0;
  while (done < wanted) {
    std::int64_t got = inputer_->readBlock(buffer + done, wanted - done);
    if (got <= 0) break;
    done += static_cast<std::int32_t>(got);
  }
  result.count = done;
  return result;
}

bool RandomAccessReader::standsAt(std::int64_t position, std::int64_t answer,
                                  std::int64_t before) const {
  const MultipleFileInputer& in = *inputer_;
  // A failed seek may already hold the new joined position while the file
  // fields are still those of the old one, so every one of them is checked.
  if (!in.isOpen || !in.list || in.position != position) return false;
  const FileList& list = *in.list;
  if (in.fileIndex < 0 || in.fileIndex >= list.count) return false;
  std::int64_t start = 0;
  for (std::int32_t i = 0; i < in.fileIndex; ++i) start += sizeOf(list, i);
  std::int64_t size = sizeOf(list, in.fileIndex);
  if (in.fileLength != size) return false;
  if (in.filePosition < 0 || in.filePosition > size || start + in.filePosition != position)
    return false;
  // The answer is 0 when the inputer stood there already, else the offset
  // reached in the file, cut to 32 bits.
  std::int64_t narrowed =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(in.filePosition));
  if (!(answer == narrowed || (before == position && answer == 0))) return false;
  // -1 is also what a failed move of the file pointer answers; an offset
  // that narrows to it is confirmed by the file itself.
  if (answer == -1)
    return platform::moveFilePointer(in.currentHandle, 0, platform::MoveMethod::Current) ==
           in.filePosition;
  return true;
}

std::int32_t RandomAccessReader::readSectors(std::int64_t position, std::int32_t wanted,
                                             std::uint8_t* buffer) {
  // Byte p of the range is byte p mod 2048 of sector p / 2048; each sector
  // is read whole, judged, and the part asked for copied out.
  if (sector_.empty()) sector_ = platform::IoBuffer(kSector);
  std::int32_t done = 0;
  while (done < wanted) {
    std::int64_t at = position + done;
    std::int64_t sectorStart = at - at % kSector;
    titleReader_->seekRange(sectorStart);
    if (titleReader_->getRangePosition() != sectorStart) break;
    if (titleReader_->readSectors(sector_.data(), kSector) < kSector) break;
    titleReader_->filterSectors(sector_.data(), 1, DvdTitleReader::Refused::Padded);
    std::int32_t offset = static_cast<std::int32_t>(at - sectorStart);
    std::int32_t take = std::min(kSector - offset, wanted - done);
    std::memcpy(buffer + done, sector_.data() + offset, static_cast<std::size_t>(take));
    done += take;
  }
  return done;
}
