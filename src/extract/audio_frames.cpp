#include "extract/audio_frames.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <vector>

namespace {

// AC-3 frame lengths in 16-bit words, by frame size code, for 48, 44.1 and
// 32 kHz (the sampling frequency code 0, 1, 2).
constexpr std::array<std::array<std::uint16_t, 38>, 3> kAc3Words = {{
    {64,  64,  80,  80,  96,  96,  112, 112, 128, 128, 160, 160, 192,  192,  224,  224,  256,  256,  320,
     320, 384, 384, 448, 448, 512, 512, 640, 640, 768, 768, 896, 896, 1024, 1024, 1152, 1152, 1280, 1280},
    {69,  70,  87,  88,  104, 105, 121, 122, 139, 140, 174, 175, 208,  209,  243,  244,  278,  279,  348,
     349, 417, 418, 487, 488, 557, 558, 696, 697, 835, 836, 975, 976, 1114, 1115, 1253, 1254, 1393, 1394},
    {96,  96,  120, 120, 144, 144, 168, 168, 192, 192, 240, 240, 288,  288,  336,  336,  384,  384,  480,
     480, 576, 576, 672, 672, 768, 768, 960, 960, 1152, 1152, 1344, 1344, 1536, 1536, 1728, 1728, 1920, 1920},
}};

std::optional<std::int64_t> ac3Length(const std::uint8_t* p, std::size_t available) {
  if (available < 5 || p[0] != 0x0B || p[1] != 0x77) return std::nullopt;
  const int rate = p[4] >> 6, size = p[4] & 0x3F;
  if (rate == 3 || size >= 38) return std::nullopt;
  return std::int64_t{2} * kAc3Words[static_cast<std::size_t>(rate)][static_cast<std::size_t>(size)];
}

// The DTS core's sync word (16-bit big-endian form, as a DVD carries it)
// and its frame size field, in bytes less one.
std::optional<std::int64_t> dtsLength(const std::uint8_t* p, std::size_t available) {
  if (available < 8 || p[0] != 0x7F || p[1] != 0xFE || p[2] != 0x80 || p[3] != 0x01)
    return std::nullopt;
  const std::int64_t size = ((p[5] & 0x03) << 12 | p[6] << 4 | p[7] >> 4) + 1;
  if (size < 96) return std::nullopt;
  return size;
}

// MPEG audio layers I to III, MPEG-1 and the lower sampling rates of MPEG-2
// and 2.5; free-format streams have no length in their headers and are not
// followed.
std::optional<std::int64_t> mpegAudioLength(const std::uint8_t* p, std::size_t available) {
  if (available < 4 || p[0] != 0xFF || (p[1] & 0xE0) != 0xE0) return std::nullopt;
  const int version = (p[1] >> 3) & 3;  // 3 MPEG-1, 2 MPEG-2, 0 MPEG-2.5
  const int layer = 4 - ((p[1] >> 1) & 3);  // 1, 2, 3 (4: reserved)
  const int bitrateIndex = p[2] >> 4, rateIndex = (p[2] >> 2) & 3, padding = (p[2] >> 1) & 1;
  if (version == 1 || layer == 4 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3)
    return std::nullopt;
  static constexpr int kRates[3] = {44100, 48000, 32000};
  const int rate = kRates[rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
  static constexpr int kMpeg1[3][15] = {
      {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
      {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}};
  static constexpr int kMpeg2[2][15] = {
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};
  const std::int64_t kbps =
      version == 3 ? kMpeg1[layer - 1][bitrateIndex] : kMpeg2[layer == 1 ? 0 : 1][bitrateIndex];
  if (layer == 1) return (12 * kbps * 1000 / rate + padding) * 4;
  const std::int64_t perFrame = layer == 3 && version != 3 ? 72 : 144;
  return perFrame * kbps * 1000 / rate + padding;
}

// A forward window on the bytes of a stream: what lies at an offset, a
// refill away. Memory is the whole stream at once; a file is read in pieces.
class Window {
 public:
  using Fill = std::function<std::size_t(std::int64_t offset, std::uint8_t* to, std::size_t n)>;
  Window(std::int64_t size, Fill fill) : size_(size), fill_(std::move(fill)), piece_(kPiece) {}
  Window(const std::uint8_t* bytes, std::int64_t size) : size_(size), memory_(bytes) {}

  std::int64_t size() const { return size_; }
  // The bytes at `offset`, at least `wanted` of them unless the stream ends
  // first; `*available` says how many.
  const std::uint8_t* at(std::int64_t offset, std::size_t wanted, std::size_t* available) {
    if (memory_) {
      *available = static_cast<std::size_t>(std::max<std::int64_t>(size_ - offset, 0));
      return memory_ + offset;
    }
    if (offset < start_ || offset + static_cast<std::int64_t>(wanted) > start_ + held_) {
      start_ = offset;
      held_ = static_cast<std::int64_t>(fill_(offset, piece_.data(), piece_.size()));
    }
    *available = static_cast<std::size_t>(std::max<std::int64_t>(start_ + held_ - offset, 0));
    return piece_.data() + (offset - start_);
  }

 private:
  static constexpr std::size_t kPiece = 1 << 20;
  std::int64_t size_;
  Fill fill_;
  const std::uint8_t* memory_ = nullptr;
  std::vector<std::uint8_t> piece_;
  std::int64_t start_ = 0, held_ = 0;
};

// The longest header looked at.
constexpr std::size_t kHeader = 8;

std::optional<std::int64_t> frameAt(AudioCoding coding, Window& window, std::int64_t offset) {
  std::size_t available = 0;
  const std::uint8_t* p = window.at(offset, kHeader, &available);
  return audioFrameLength(coding, p, std::min(available, kHeader));
}

FrameSpan walk(AudioCoding coding, Window& window) {
  const std::int64_t size = window.size();
  FrameSpan span;
  // The first header that a second one follows, one frame on (or that ends
  // the stream exactly): a sync word inside the data of a cut frame rarely
  // passes that test.
  std::int64_t at = 0;
  for (; at < size; ++at) {
    const std::optional<std::int64_t> length = frameAt(coding, window, at);
    if (!length) continue;
    if (at + *length == size || (at + *length < size && frameAt(coding, window, at + *length)))
      break;
  }
  span.start = span.end = at < size ? at : size;
  // Frame after frame; where no header stands, the next one is looked for,
  // and the bytes between stay.
  while (at < size) {
    const std::optional<std::int64_t> length = frameAt(coding, window, at);
    if (!length) {
      ++at;
      continue;
    }
    if (at + *length > size) break;
    at += *length;
    span.end = at;
  }
  return span;
}

}  // namespace

std::optional<std::int64_t> audioFrameLength(AudioCoding coding, const std::uint8_t* p,
                                             std::size_t available) {
  switch (coding) {
    case AudioCoding::Ac3: return ac3Length(p, available);
    case AudioCoding::Dts: return dtsLength(p, available);
    case AudioCoding::MpegAudio: return mpegAudioLength(p, available);
  }
  return std::nullopt;
}

FrameSpan wholeFrames(AudioCoding coding, const std::uint8_t* bytes, std::int64_t size) {
  Window window(bytes, size);
  return walk(coding, window);
}

namespace {

namespace fs = std::filesystem;

// Keeps the lines of a timing file whose position lies in [start, end),
// counted from `start`. Positions are the low 32 bits of the offset.
bool rebaseTiming(const std::string& path, std::int64_t start, std::int64_t end) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream kept;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    long long position = 0;
    std::string rest;
    if (!(fields >> position)) continue;
    std::getline(fields, rest);
    const std::int64_t offset = static_cast<std::uint32_t>(static_cast<std::int32_t>(position));
    if (offset < start || offset >= end) continue;
    kept << static_cast<std::int32_t>(static_cast<std::uint32_t>(offset - start)) << rest << '\n';
  }
  in.close();
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << kept.str();
  return static_cast<bool>(out.flush());
}

}  // namespace

bool cutToWholeFrames(AudioCoding coding, const std::string& path, const std::string& timingPath) {
  std::error_code error;
  const std::int64_t size = static_cast<std::int64_t>(fs::file_size(fs::u8path(path), error));
  if (error) return false;
  std::fstream file(fs::u8path(path), std::ios::in | std::ios::out | std::ios::binary);
  if (!file) return false;
  Window window(size, [&file](std::int64_t offset, std::uint8_t* to, std::size_t n) {
    file.clear();
    file.seekg(offset);
    file.read(reinterpret_cast<char*>(to), static_cast<std::streamsize>(n));
    return static_cast<std::size_t>(file.gcount());
  });
  const FrameSpan span = walk(coding, window);
  if (span.start == 0 && span.end == size) return true;
  // The whole frames moved to the front, piece by piece, then the rest cut.
  std::vector<char> piece(1 << 20);
  for (std::int64_t at = span.start; span.start > 0 && at < span.end;) {
    const std::streamsize n = static_cast<std::streamsize>(
        std::min<std::int64_t>(span.end - at, static_cast<std::int64_t>(piece.size())));
    file.clear();
    file.seekg(at);
    file.read(piece.data(), n);
    file.seekp(at - span.start);
    file.write(piece.data(), n);
    if (!file) return false;
    at += n;
  }
  // A read that met the end leaves its flags; only the close is judged.
  file.clear();
  file.close();
  if (file.fail()) return false;
  fs::resize_file(fs::u8path(path), static_cast<std::uintmax_t>(span.end - span.start), error);
  if (error) return false;
  return timingPath.empty() || rebaseTiming(timingPath, span.start, span.end);
}
