// Fuzzes the DVD title reader from navigation data to bytes: a title set IFO
// made of the input is parsed (as the reader's load does with the files it
// finds), a title set, program chain and cell are chosen, and the chosen
// sector range is read through the audio pack filter, with seeks in between,
// from VOB files of hand-made packs written once to a temporary folder.
//
// Input: a 72-byte head, then the IFO bytes.
//   0  title set choice (low 3 bits), title VOBs or menu VOB (bit 3), force
//      the title set identifier (bit 4), two copies of the title set (bit 5)
//   1  program chain (signed)    2  cell (signed)
//   3  how the range is chosen (low 2 bits); then, with bit 2, the chain's
//      cells in playback order instead; with bit 3, a disc title instead:
//      title 1 of a title table whose one entry names title (byte 1 low 3
//      bits) of title set 1 with (byte 2 low 6 bits) chapters, chapters
//      (byte 6 low 3 bits) to (byte 6 bits 3-5); with bit 4, then audio
//      track (byte 5, 0-8) of the selection
//   4  audio choice (bit 7: none)   5  audio mode   6  audio stream
//   7  number of steps (at most 16)
//   8  the steps, 4 bytes each: kind, then a 24-bit amount
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/ifo_parser.h"

namespace title_range_fuzz {

constexpr std::size_t kHead = 72;

// A 2,048-byte pack whose first PES packet has `streamId` (and `substream`
// as its first payload byte when not negative), after `stuffing` bytes.
inline std::string pack(std::uint8_t streamId, int substream, unsigned stuffing, unsigned mark) {
  std::string p(2048, static_cast<char>(0x40 + (mark & 0x3F)));
  const unsigned char header[14] = {0x00, 0x00, 0x01, 0xBA, 0x44, 0x00, 0x04,
                                    0x00, 0x04, 0x01, 0x01, 0x89, 0xC3, 0xF8};
  std::memcpy(p.data(), header, 14);
  p[13] = static_cast<char>(0xF8 | (stuffing & 7));
  std::size_t pes = 14 + (stuffing & 7);
  p[pes + 2] = 0x01;
  p[pes] = p[pes + 1] = 0;
  p[pes + 3] = static_cast<char>(streamId);
  p[pes + 8] = static_cast<char>(mark % 11);
  if (substream >= 0) p[pes + 9 + mark % 11] = static_cast<char>(substream);
  p[2046] = static_cast<char>(mark >> 8);
  p[2047] = static_cast<char>(mark);
  return p;
}

// The packs of a made-up title: video, MPEG audio streams 0-3, AC-3
// substreams 0-2, subpictures, padding and navigation packs, in turn.
inline std::string packs(unsigned count, unsigned first) {
  static const std::uint8_t ids[] = {0xE0, 0xC0, 0xBD, 0xC1, 0xBD, 0xE0, 0xBD, 0xC3,
                                     0xBE, 0xBF, 0xBD, 0xC2, 0xBB, 0xBC, 0xBD, 0xE0};
  static const int subs[] = {-1, -1, 0x80, -1, 0x81, -1, 0x20, -1,
                             -1, -1, 0x82, -1, -1, -1, 0x87, -1};
  std::string out;
  for (unsigned i = 0; i < count; ++i) {
    unsigned n = first + i;
    out += pack(ids[n % 16], subs[n % 16], n % 8, n);
  }
  return out;
}

// The folder of VOB files, made on first use and removed at exit (its name
// is kept until then, after every static object is gone).
inline const std::string& vobFolder() {
  static const std::string* folder = new std::string([] {
    std::string base = std::filesystem::temp_directory_path().string() + "/title-range-fuzz-XXXXXX";
    std::vector<char> name(base.begin(), base.end());
    name.push_back('\0');
    if (!mkdtemp(name.data())) std::abort();
    std::string made(name.data());
    auto put = [&](const char* leaf, const std::string& bytes) {
      std::ofstream(made + "/" + leaf, std::ios::binary) << bytes;
    };
    put("VIDEO_TS.VOB", packs(10, 0));
    put("VTS_01_0.VOB", packs(5, 0));
    put("VTS_01_1.VOB", packs(150, 0));
    put("VTS_01_2.VOB", packs(150, 150));
    put("VTS_01_3.VOB", packs(60, 300));
    put("VTS_02_1.VOB", packs(70, 0));
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(vobFolder(), ignored);
    });
    return made;
  }());
  return *folder;
}

inline std::int32_t amount(const std::uint8_t* step) {
  return static_cast<std::int32_t>((step[1] << 16) | (step[2] << 8) | step[3]);
}

inline int runOne(const std::uint8_t* data, std::size_t size) {
  if (size < kHead) return 0;
  const std::uint8_t* head = data;
  std::vector<std::uint8_t> ifo(data + kHead, data + size);
  if ((head[0] & 0x10) && ifo.size() >= 12) std::memcpy(ifo.data(), "DVDVIDEO-VTS", 12);

  std::ostringstream log;
  DvdTitleReader reader(log);
  reader.folder = vobFolder();
  reader.videoManager = std::make_unique<dvdnav::VideoManagerInfo>();
  int copies = (head[0] & 0x20) ? 2 : 1;
  for (int i = 0; i < copies; ++i) {
    auto titleSet = std::make_unique<dvdnav::TitleSetInfo>();
    dvdnav::parseTitleSet(dvdnav::IfoBytes(ifo.data(), ifo.size()), *titleSet, log);
    reader.titleSets.push_back(std::move(titleSet));
    reader.titleSetNumbers.push_back(i + 1);
  }

  static const std::int32_t titleSetChoices[] = {1, 1, 1, 2, 0, -1, 3, 150};
  reader.selectTitleSet(titleSetChoices[head[0] & 7], (head[0] & 0x08) ? 0 : 1);
  std::int32_t pgc = static_cast<std::int8_t>(head[1]);
  std::int32_t cell = static_cast<std::int8_t>(head[2]);
  switch (head[3] & 3) {
    case 0: reader.selectProgramChain(pgc); break;
    case 1: reader.selectProgramChain(pgc); reader.selectCell(cell); break;
    case 2: reader.selectProgramChainQuiet(pgc); break;
    case 3: reader.setSectorRange(pgc * 7, cell * 9); break;
  }
  if (head[3] & 0x04) reader.selectPlaybackOrder(pgc);
  reader.audioSelect = (head[4] & 0x80) ? -1 : head[4];
  reader.setAudio(static_cast<std::int32_t>(head[5] % 4) - 1, head[6] & 0x3F);
  if (head[3] & 0x08) {
    dvdnav::TitleEntry entry;
    entry.vtsnumber = 1;
    entry.vtstitlenumber = head[1] & 7;
    entry.numparts = head[2] & 0x3F;
    entry.numangles = 1;
    reader.videoManager->titles.push_back(entry);
    if (reader.selectTitle(1, head[6] & 7, (head[6] >> 3) & 7) != 0 && reader.getRangeLength() > 0)
      std::abort();  // a refused title leaves nothing to read
  }
  if (head[3] & 0x10) reader.selectAudioTrack(head[5] % 9);

  std::vector<std::uint8_t> buffer;
  unsigned steps = head[7] % 17;
  for (unsigned s = 0; s < steps; ++s) {
    const std::uint8_t* step = head + 8 + 4 * s;
    std::int32_t n = amount(step);
    switch (step[0] % 6) {
      case 0:    // a read of up to 64 KiB
      case 1: {  // a read of a few sectors and a bit
        std::int32_t count = step[0] % 6 == 0 ? n % 65536 : n % (5 * 2048);
        if ((step[1] & 0x80) && (step[0] & 0x40)) count = -count;
        buffer.assign(static_cast<std::size_t>(count > 0 ? count : 0), 0);
        bool atEnd = reader.isEnd();
        std::int32_t got = reader.readFiltered(buffer.data(), count);
        if (atEnd && got != 0) std::abort();
        if (!atEnd && reader.audioSelect >= 0 && got != count) std::abort();
        if (got > count && count >= 0) std::abort();
        if (reader.carryCount < 0 || reader.carryCount >= 2048) std::abort();
        break;
      }
      case 2:  // a seek inside or near the range
        reader.seekRange(static_cast<std::int64_t>(n) - 1000);
        break;
      case 3: {  // a seek anywhere at all, up to the ends of the 64-bit range
        std::int64_t far = static_cast<std::int64_t>(
            (static_cast<std::uint64_t>(n) << 40) ^ (static_cast<std::uint64_t>(step[0]) << 56));
        if (step[0] & 0x40) far = (step[0] & 0x80) ? INT64_MIN + n : INT64_MAX - n;
        reader.seekRange(far);
        break;
      }
      case 4:  // a sector read straight from the range
        buffer.assign(2048, 0);
        if (reader.readRange(buffer.data(), 2048) > 2048) std::abort();
        break;
      case 5:
        (void)reader.getRangeLength();
        (void)reader.getRangePosition();
        break;
    }
    // The cells in order never put the position outside them.
    if (reader.playbackOrder && (reader.getRangePosition() < 0 ||
                                 reader.getRangePosition() > reader.getRangeLength()))
      std::abort();
  }
  return 0;
}

}  // namespace title_range_fuzz

#ifndef FENNORIA_FUZZ_REPLAY_ONLY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return title_range_fuzz::runOne(data, size);
}
#endif
