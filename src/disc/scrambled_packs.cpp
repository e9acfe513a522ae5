#include "disc/scrambled_packs.h"

#include "demux/program_stream.h"
#include "disc/disc_image_bytes.h"
#include "platform/io_buffer.h"

namespace disc {

namespace {

// Sectors looked at from the start of each VOB file.
constexpr int kSectorsLooked = 32;

bool endsWith(const std::string& name, const std::string& tail) {
  return name.size() >= tail.size() && sameName(name.substr(name.size() - tail.size()), tail);
}

}  // namespace

bool isScrambledPack(const std::uint8_t* p) {
  // An MPEG-2 pack header without stuffing, then a packet of a stream whose
  // header carries the scrambling bits (video, MPEG audio, private stream 1).
  if (!ps::isMpeg2PackHeader(p) || ps::packHeaderSize(p) != 14) return false;
  const std::uint8_t* pes = ps::firstPacket(p);
  if (!ps::hasStartCode(pes)) return false;
  const std::uint8_t id = ps::streamId(pes);
  const bool flagged = id == ps::kPrivateStream1 || ps::isAudioStream(id) || ps::isVideoStream(id);
  return flagged && ps::scramblingControl(pes) != 0;
}

std::int64_t firstScrambledPack(const std::uint8_t* packs, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    if (isScrambledPack(packs + i * static_cast<std::size_t>(kSectorSize)))
      return static_cast<std::int64_t>(i);
  return -1;
}

std::string scrambledMessage(const std::string& where) {
  return "the disc is scrambled (CSS; " + where +
         " is encrypted), and decrypting it is not fennoria's business";
}

std::string findScrambledVob(const ImageFiles& files) {
  // One read per file: the sectors looked at are read together.
  platform::IoBuffer sectors(kSectorsLooked * kSectorSize);
  for (const ImageFile& file : files.table().files) {
    if (!endsWith(file.name, ".VOB")) continue;
    std::int32_t got = files.open(file.name)->read(sectors.data(),
                                                  static_cast<std::uint32_t>(sectors.size()));
    for (std::int32_t at = 0; at + kSectorSize <= got; at += kSectorSize)
      if (isScrambledPack(sectors.data() + at)) return file.name;
  }
  return {};
}

}  // namespace disc
