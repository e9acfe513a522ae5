// The reading half of the DVD title reader: the selected sector range of the
// joined VOB files, read as bytes, and the audio pack filter.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "dvdnav/dvd_title_reader.h"

namespace {

constexpr std::int64_t kSector = dvdnav::sectorSize;

bool passesUnexamined(std::uint8_t streamId) {
  switch (streamId) {
    case 0xBC: case 0xBE: case 0xBF: case 0xF0: case 0xF1: case 0xF2: case 0xF8: case 0xFF:
      return true;
    default:
      return false;
  }
}

}  // namespace

bool DvdTitleReader::isEnd() {
  if (!vobStream) return true;
  if (endBlock > 0 && vobStream->getPosition() >= endBlock * kSector) return true;
  return vobStream->isEnd();
}

std::int32_t DvdTitleReader::readRange(void* buffer, std::int32_t count) {
  if (isEnd()) return 0;
  std::int64_t end = endBlock * kSector;
  std::int64_t overshoot = vobStream->getPosition() + count - end;
  // Near the end this reads the amount by which the request passes the end,
  // not the amount left before it; whole sectors at sector boundaries never
  // come here.
  if (end > 0 && overshoot > 0 && overshoot < count)
    return vobStream->read(buffer, static_cast<std::int32_t>(overshoot));
  return vobStream->read(buffer, count);
}

std::int64_t DvdTitleReader::getRangeLength() const {
  if (!vobStream || startBlock < 0 || endBlock < 1 || startBlock > endBlock) return -1;
  return (static_cast<std::int64_t>(endBlock) - startBlock) * kSector;
}

std::int64_t DvdTitleReader::getRangePosition() const {
  if (!vobStream) return -1;
  if (startBlock < 1 || endBlock < 1 || startBlock > endBlock) return vobStream->getPosition();
  return vobStream->getPosition() - startBlock * kSector;
}

std::int64_t DvdTitleReader::seekRange(std::int64_t position) {
  if (!vobStream) return -1;
  if (startBlock > 0 && endBlock >= 1 && startBlock <= endBlock) {
    std::int64_t start = startBlock * kSector;
    // A position so far on that the sum has no 64-bit value lies beyond
    // every file, like the largest one: the stream is asked for a place it
    // does not hold and stays where it is.
    std::int64_t target = position > INT64_MAX - start ? INT64_MAX : position + start;
    return vobStream->seek(target) - start;
  }
  return vobStream->seek(position);
}

void DvdTitleReader::setAudio(std::int32_t mode, std::int32_t stream) {
  audioMode = mode;
  audioStream = stream;
}

bool DvdTitleReader::checkPacks(std::uint8_t* sectors, std::int32_t sectorCount) const {
  for (std::int32_t i = 0; i < sectorCount; ++i) {
    std::uint8_t* pack = sectors + static_cast<std::int64_t>(i) * kSector;
    // The first PES packet follows the 14-byte pack header and its stuffing;
    // every offset below stays well inside the sector.
    std::uint8_t* pes = pack + 14 + (pack[13] & 7);
    std::uint8_t& streamId = pes[3];
    if (passesUnexamined(streamId)) continue;
    if ((streamId & 0xE0) == 0xC0) {
      if (audioMode == 0) return false;
      if (audioMode == 2) {
        if ((streamId & 0x1F) != audioStream) return false;
        streamId = 0xC0;  // the chosen stream always leaves as MPEG audio stream 0
      }
      continue;
    }
    if (streamId == 0xBD) {
      std::uint8_t substream = pes[9 + pes[8]];
      if (substream >= 0x80 && substream <= 0x87 &&
          (audioMode != 0 || (substream & 7) != audioStream))
        return false;
    }
  }
  return true;
}

std::int32_t DvdTitleReader::readFiltered(void* buffer, std::int32_t count) {
  if (isEnd()) return 0;
  if (audioSelect < 0) return readRange(buffer, count);

  auto* out = static_cast<std::uint8_t*>(buffer);
  std::int32_t left = count;
  if (carryCount > 0) {
    // The held-back bytes are the tail of the last sector; a request smaller
    // than them takes what fits and leaves the rest pending.
    std::int32_t take = std::min(carryCount, std::max(left, 0));
    std::memcpy(out, carryBuffer.data() + kSector - carryCount, static_cast<std::size_t>(take));
    out += take;
    left -= take;
    carryCount -= take;
  }
  // A sector that is dropped is overwritten by the next one. When the files
  // give nothing more before the range ends, the loops stop rather than
  // wait for bytes that never come.
  while (!isEnd() && left >= kSector) {
    if (readRange(out, static_cast<std::int32_t>(kSector)) <= 0) break;
    if (checkPacks(out, 1)) {
      out += kSector;
      left -= static_cast<std::int32_t>(kSector);
    }
  }
  // The last, partial sector goes through the held-back buffer, which holds
  // one sector; when the loop above stopped early with whole sectors still
  // to go, the read ends here.
  while (!isEnd() && left > 0 && left < kSector) {
    if (readRange(carryBuffer.data(), static_cast<std::int32_t>(kSector)) <= 0) break;
    if (checkPacks(carryBuffer.data(), 1)) {
      std::memcpy(out, carryBuffer.data(), static_cast<std::size_t>(left));
      carryCount = static_cast<std::int32_t>(kSector) - left;
      left = 0;
    }
  }
  return count;
}
