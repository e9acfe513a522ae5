// The reading half of the DVD title reader: the selected sector range of the
// joined VOB files, read as bytes or as whole sectors, and the audio pack
// filter that drops or pads the sectors it refuses.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "demux/program_stream.h"
#include "dvdnav/dvd_title_reader.h"

namespace {

constexpr std::int64_t kSector = dvdnav::sectorSize;

// Makes the pack at `pack` a padding pack: its pack header stays, one
// padding packet (stream id 0xBE) of 0xFF bytes fills the rest of the sector.
void makePaddingPack(std::uint8_t* pack) {
  std::uint8_t* pes = ps::firstPacket(pack);
  std::int32_t payload = static_cast<std::int32_t>(kSector - ps::packHeaderSize(pack)) - 6;
  pes[0] = 0x00;
  pes[1] = 0x00;
  pes[2] = 0x01;
  pes[3] = ps::kPaddingStream;
  pes[4] = static_cast<std::uint8_t>(payload >> 8);
  pes[5] = static_cast<std::uint8_t>(payload & 0xFF);
  std::memset(pes + 6, 0xFF, static_cast<std::size_t>(payload));
}

// The audio substreams of private stream 1: AC-3 and DTS (0x80-0x8F) and
// LPCM (0xA0-0xA7).
bool isAudioSubstream(int substream) {
  return (substream & ~0x0F) == ps::kAc3Substream || (substream & ~7) == ps::kLpcmSubstream;
}

constexpr std::int32_t kOneSubstream = DvdTitleReader::kAudioOneSubstream;

}  // namespace

bool DvdTitleReader::isEnd() {
  if (!vobStream) return true;
  if (playbackOrder) return cellOrder.atEnd();
  if (endBlock > 0 && vobStream->getPosition() >= endBlock * kSector) return true;
  return vobStream->isEnd();
}

std::int32_t DvdTitleReader::readRange(void* buffer, std::int32_t count) {
  if (isEnd()) return 0;
  if (playbackOrder) return cellOrder.read(*vobStream, buffer, count);
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
  if (playbackOrder) return vobStream ? cellOrder.length() : -1;
  if (!vobStream || startBlock < 0 || endBlock < 1 || startBlock > endBlock) return -1;
  return (static_cast<std::int64_t>(endBlock) - startBlock) * kSector;
}

std::int64_t DvdTitleReader::getRangePosition() const {
  if (!vobStream) return -1;
  if (playbackOrder) return cellOrder.position();
  if (startBlock < 1 || endBlock < 1 || startBlock > endBlock) return vobStream->getPosition();
  return vobStream->getPosition() - startBlock * kSector;
}

std::int64_t DvdTitleReader::seekRange(std::int64_t position) {
  if (!vobStream) return -1;
  // A position outside the cells leaves the position where it was.
  if (playbackOrder) return cellOrder.seek(position);
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
    // Judged by its first packet alone; every offset below stays well
    // inside the sector.
    std::uint8_t* pes = ps::firstPacket(pack);
    std::uint8_t& streamId = pes[3];
    if (ps::hasNoPesExtension(streamId)) continue;
    if (ps::isAudioStream(streamId)) {
      if (audioMode == 0 || audioMode == kOneSubstream) return false;
      if (audioMode == 2) {
        if ((streamId & 0x1F) != audioStream) return false;
        streamId = ps::kAudioStream;  // the chosen stream always leaves as MPEG audio stream 0
      }
      continue;
    }
    if (streamId == ps::kPrivateStream1) {
      const int substream = pes[ps::payloadOffset(pes)];
      if (audioMode == kOneSubstream) {
        if (isAudioSubstream(substream) && substream != audioStream) return false;
      } else if (ps::isAc3Substream(substream) &&
                 (audioMode != 0 || (substream & 7) != audioStream)) {
        return false;
      }
    }
  }
  return true;
}

std::int32_t DvdTitleReader::readSectors(std::uint8_t* buffer, std::int32_t count) {
  std::int32_t done = 0;
  while (done < count) {
    std::int32_t n = readRange(buffer + done, count - done);
    if (n <= 0) break;
    done += n;
  }
  return done;
}

std::int32_t DvdTitleReader::filterSectors(std::uint8_t* sectors, std::int32_t sectorCount,
                                           Refused refused) const {
  if (audioSelect < 0) return sectorCount;
  std::int32_t kept = 0;
  for (std::int32_t i = 0; i < sectorCount; ++i) {
    std::uint8_t* sector = sectors + static_cast<std::int64_t>(i) * kSector;
    if (!checkPacks(sector, 1)) {
      if (refused == Refused::Dropped) continue;
      makePaddingPack(sector);
    }
    std::uint8_t* place = sectors + static_cast<std::int64_t>(kept) * kSector;
    if (place != sector) std::memmove(place, sector, static_cast<std::size_t>(kSector));
    ++kept;
  }
  return kept;
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
    if (readSectors(out, static_cast<std::int32_t>(kSector)) <= 0) break;
    if (filterSectors(out, 1, Refused::Dropped) == 1) {
      out += kSector;
      left -= static_cast<std::int32_t>(kSector);
    }
  }
  // The last, partial sector goes through the held-back buffer, which holds
  // one sector; when the loop above stopped early with whole sectors still
  // to go, the read ends here.
  while (!isEnd() && left > 0 && left < kSector) {
    if (readSectors(carryBuffer.data(), static_cast<std::int32_t>(kSector)) <= 0) break;
    if (filterSectors(carryBuffer.data(), 1, Refused::Dropped) == 1) {
      std::memcpy(out, carryBuffer.data(), static_cast<std::size_t>(left));
      carryCount = static_cast<std::int32_t>(kSector) - left;
      left = 0;
    }
  }
  return count;
}
