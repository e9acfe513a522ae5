// Fuzzes random-access reads and checks every byte they give. Files of
// pattern bytes and VOB files of hand-made packs are written once to a
// temporary folder; each input picks a list of those files (list mode) or a
// sector range and audio choice over the VOB files (DVD mode), then makes a
// run of reads at positions and lengths of its own. Every result is compared
// with what the files hold; a difference aborts.
//
// Input: byte 0 chooses the mode (bit 7: DVD) and the number of list
// entries (low 3 bits + 1).
//   List mode: two bytes per entry (file, share of its length listed), then
//   the reads.
//   DVD mode: first sector, end sector (two bytes each, signed), audio
//   choice, audio mode, audio stream; then the reads.
//   Each read is 8 bytes: a 5-byte position, a 3-byte length; the high bit
//   of the position's first byte asks for a position anywhere at all.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "input/file_list.h"
#include "input/multiple_file_inputer.h"
#include "input/random_access_reader.h"
#include "platform/message_box.h"

namespace random_access_fuzz {

// Lengths of the list files: empty ones, ones around a sector and around
// the inputer's largest single read.
constexpr std::int64_t kLengths[] = {0, 1, 7, 2047, 2048, 2049, 16383, 16384, 16385, 40000};
constexpr int kFiles = sizeof kLengths / sizeof kLengths[0];
constexpr std::int32_t kVobSectors[] = {37, 20};

inline char patternByte(int file, std::int64_t offset) {
  return static_cast<char>((file * 131 + offset * 7 + (offset >> 8) * 13 + (offset >> 16)) & 0xFF);
}

// A 2,048-byte pack whose first PES packet has `streamId` (and `substream`
// as its first payload byte when not negative), after `stuffing` bytes.
inline std::string pack(std::uint8_t streamId, int substream, unsigned n) {
  std::string p(2048, static_cast<char>(0x20 + (n & 0x3F)));
  const unsigned char header[14] = {0x00, 0x00, 0x01, 0xBA, 0x44, 0x00, 0x04,
                                    0x00, 0x04, 0x01, 0x01, 0x89, 0xC3, 0xF8};
  std::memcpy(p.data(), header, 14);
  unsigned stuffing = n % 8;
  p[13] = static_cast<char>(0xF8 | stuffing);
  std::size_t pes = 14 + stuffing;
  p[pes] = p[pes + 1] = 0;
  p[pes + 2] = 0x01;
  p[pes + 3] = static_cast<char>(streamId);
  p[pes + 8] = static_cast<char>(n % 5);
  if (substream >= 0) p[pes + 9 + n % 5] = static_cast<char>(substream);
  p[2046] = static_cast<char>(n >> 8);
  p[2047] = static_cast<char>(n);
  return p;
}

struct Files {
  std::string folder;
  std::vector<std::string> listNames;
  std::vector<std::string> listBytes;
  std::string vobBytes;  // the VOB files joined
};

// Made on first use and removed at exit (the names are kept until then,
// after every static object is gone).
inline const Files& files() {
  static const Files* made = new Files([] {
    Files f;
    std::string base =
        std::filesystem::temp_directory_path().string() + "/random-access-fuzz-XXXXXX";
    std::vector<char> name(base.begin(), base.end());
    name.push_back('\0');
    if (!mkdtemp(name.data())) std::abort();
    f.folder = name.data();
    for (int i = 0; i < kFiles; ++i) {
      std::string bytes;
      for (std::int64_t k = 0; k < kLengths[i]; ++k) bytes += patternByte(i, k);
      std::string fileName = f.folder + "/f" + std::to_string(i) + ".bin";
      std::ofstream(fileName, std::ios::binary) << bytes;
      f.listNames.push_back(fileName);
      f.listBytes.push_back(bytes);
    }
    static const std::uint8_t ids[] = {0xE0, 0xC0, 0xBD, 0xC1, 0xBD, 0xE0, 0xBD, 0xC3,
                                       0xBE, 0xBF, 0xBD, 0xC2, 0xBB, 0xBC, 0xBD, 0xE0};
    static const int subs[] = {-1, -1, 0x80, -1, 0x81, -1, 0x20, -1,
                               -1, -1, 0x82, -1, -1, -1, 0x87, -1};
    unsigned n = 0;
    for (int v = 0; v < 2; ++v) {
      std::string bytes;
      for (std::int32_t s = 0; s < kVobSectors[v]; ++s, ++n)
        bytes += pack(ids[n % 16], subs[n % 16], n);
      std::ofstream(f.folder + "/VTS_01_" + std::to_string(v + 1) + ".VOB", std::ios::binary)
          << bytes;
      f.vobBytes += bytes;
    }
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(files().folder, ignored);
    });
    // The inputer's messages would only fill the fuzzer's output.
    platform::setMessageHook([](const std::string&, const std::string&) {});
    return f;
  }());
  return *made;
}

// The input, read from the front; bytes past its end read as 0.
class Cursor {
 public:
  Cursor(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  std::uint32_t byte() { return at_ < size_ ? data_[at_++] : (at_++, 0u); }
  std::uint64_t bytes(int n) {
    std::uint64_t v = 0;
    for (int i = 0; i < n; ++i) v = (v << 8) | byte();
    return v;
  }
  bool more() const { return at_ < size_; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

struct Read {
  std::int64_t position;
  std::int32_t length;
};

// A position near the stream (or, when asked, anywhere) and a length of up
// to 96 KiB, negative at times.
inline Read nextRead(Cursor& in, std::int64_t total) {
  std::uint64_t raw = in.bytes(5);
  std::uint32_t rawLength = static_cast<std::uint32_t>(in.bytes(3));
  Read r;
  if (raw >> 39) {
    r.position = static_cast<std::int64_t>(raw << 24) ^ static_cast<std::int64_t>(raw);
  } else {
    std::int64_t span = (total > 0 ? total : 0) + 4097;
    r.position = static_cast<std::int64_t>(raw % static_cast<std::uint64_t>(span)) - 2048;
  }
  r.length = static_cast<std::int32_t>(rawLength % (96 * 1024));
  if (rawLength >> 23) r.length = -r.length;
  return r;
}

[[noreturn]] inline void mismatch() { std::abort(); }

inline void checkOutsideOrEmpty(const RandomAccessReader::Result& result, std::int64_t position,
                                std::int32_t length, std::int64_t total) {
  using Outcome = RandomAccessReader::Outcome;
  if (position < 0 || total < 0 || position >= total) {
    if (result.outcome != Outcome::Outside) mismatch();
  } else if (length <= 0) {
    if (result.outcome != Outcome::NothingAsked || result.count != 0) mismatch();
  }
}

inline int runList(Cursor& in, std::uint32_t entries) {
  const Files& f = files();
  FileList list;
  list.count = static_cast<std::int32_t>(entries);
  list.names = static_cast<char**>(std::calloc(entries, sizeof(char*)));
  list.sizes = static_cast<std::int64_t*>(std::calloc(entries, sizeof(std::int64_t)));
  if (!list.names || !list.sizes) std::abort();
  std::string expected;
  // Where a read cannot go on: the end of a file followed by an empty entry
  // (the inputer refuses to step onto an empty file while reading).
  std::vector<std::int64_t> stops;
  for (std::uint32_t i = 0; i < entries; ++i) {
    int file = static_cast<int>(in.byte() % kFiles);
    std::uint32_t share = in.byte();
    std::int64_t length = kLengths[file];
    // A listed length may be shorter than the file (only its start is
    // read), never longer.
    if (share & 0x80) length = length * (share & 0x7F) / 127;
    list.names[i] = strdup(f.listNames[static_cast<std::size_t>(file)].c_str());
    list.sizes[i] = length;
    expected += f.listBytes[static_cast<std::size_t>(file)].substr(0, static_cast<std::size_t>(length));
    if (i > 0 && length == 0) stops.push_back(list.totalLength);
    list.totalLength += length;
  }

  MultipleFileInputer inputer;
  if (inputer.open(&list) != S_OK) std::abort();
  RandomAccessReader reader(&inputer, nullptr);
  std::int64_t total = list.totalLength;
  if (reader.length() != total) mismatch();

  std::vector<std::uint8_t> buffer;
  for (int r = 0; r < 24 && in.more(); ++r) {
    Read read = nextRead(in, total);
    buffer.assign(static_cast<std::size_t>(read.length > 0 ? read.length : 0), 0xA5);
    RandomAccessReader::Result result = reader.read(read.position, read.length, buffer.data());
    checkOutsideOrEmpty(result, read.position, read.length, total);
    if (read.position < 0 || read.position >= total || read.length <= 0) continue;
    std::int64_t wanted = std::min<std::int64_t>(read.length, total - read.position);
    if (result.outcome != RandomAccessReader::Outcome::Read || result.wanted != wanted)
      mismatch();
    if (result.count != wanted) {
      // Only a read that meets an empty entry may fall short, and then
      // it reports nothing.
      bool meetsStop = false;
      for (std::int64_t stop : stops)
        meetsStop = meetsStop || (stop >= read.position && stop <= read.position + wanted);
      if (!meetsStop || result.count != 0) mismatch();
      continue;
    }
    if (std::memcmp(buffer.data(), expected.data() + read.position,
                    static_cast<std::size_t>(wanted)) != 0)
      mismatch();
  }
  return 0;
}

inline int runDvd(Cursor& in) {
  const Files& f = files();
  std::int32_t first = static_cast<std::int16_t>(in.bytes(2));
  std::int32_t end = static_cast<std::int16_t>(in.bytes(2));
  std::uint32_t audio = in.byte();
  std::int32_t mode = static_cast<std::int32_t>(in.byte() % 4) - 1;
  std::int32_t stream = static_cast<std::int32_t>(in.byte() & 0x1F);

  std::ostringstream log;
  DvdTitleReader title(log);
  title.folder = f.folder;
  title.selectTitleSet(1, 1);
  title.setSectorRange(first, end);
  title.audioSelect = (audio & 0x80) ? -1 : static_cast<std::int32_t>(audio);
  title.setAudio(mode, stream);
  RandomAccessReader reader(nullptr, &title);

  std::int64_t total =
      first < 0 || end < 1 || first > end ? -1 : (std::int64_t{end} - first) * 2048;
  if (reader.length() != total) mismatch();
  // What the range holds as far as the files go: each sector as the filter
  // judges it, a dropped one as a padding pack.
  std::int64_t fileSectors = static_cast<std::int64_t>(f.vobBytes.size()) / 2048;
  std::int64_t held = total < 0 ? 0 : std::min<std::int64_t>(end, fileSectors) - first;
  if (held < 0) held = 0;
  std::string expected;
  for (std::int64_t s = first; s < first + held; ++s) {
    std::string sector = f.vobBytes.substr(static_cast<std::size_t>(s) * 2048, 2048);
    if (title.audioSelect >= 0 &&
        !title.checkPacks(reinterpret_cast<std::uint8_t*>(sector.data()), 1)) {
      std::size_t header = 14 + (static_cast<unsigned char>(sector[13]) & 7);
      std::size_t payload = 2048 - header - 6;
      sector.replace(header, std::string::npos, std::string("\x00\x00\x01\xBE", 4));
      sector += static_cast<char>(payload >> 8);
      sector += static_cast<char>(payload & 0xFF);
      sector += std::string(payload, '\xFF');
    }
    expected += sector;
  }

  std::vector<std::uint8_t> buffer;
  for (int r = 0; r < 24 && in.more(); ++r) {
    Read read = nextRead(in, total);
    buffer.assign(static_cast<std::size_t>(read.length > 0 ? read.length : 0), 0xA5);
    RandomAccessReader::Result result = reader.read(read.position, read.length, buffer.data());
    checkOutsideOrEmpty(result, read.position, read.length, total);
    if (read.position < 0 || read.position >= total || read.length <= 0) continue;
    std::int64_t wanted = std::min<std::int64_t>(read.length, total - read.position);
    std::int64_t there = static_cast<std::int64_t>(expected.size()) - read.position;
    std::int64_t count = std::max<std::int64_t>(0, std::min(wanted, there));
    if (result.outcome != RandomAccessReader::Outcome::Read || result.wanted != wanted ||
        result.count != count)
      mismatch();
    if (count > 0 && std::memcmp(buffer.data(), expected.data() + read.position,
                                 static_cast<std::size_t>(count)) != 0)
      mismatch();
  }
  return 0;
}

inline int runOne(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  Cursor in(data, size);
  std::uint32_t head = in.byte();
  if (head & 0x80) return runDvd(in);
  return runList(in, (head & 7) + 1);
}

}  // namespace random_access_fuzz

#ifndef FENNORIA_FUZZ_REPLAY_ONLY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return random_access_fuzz::runOne(data, size);
}
#endif
