// Fuzzes the disc image reader: an image made of the input is read through
// its UDF or ISO 9660 file system, then every file found is read (its start
// and a stretch from its middle, across extents) and the VOB files are
// checked for scrambled packs.
//
// A DVD image holds its descriptors hundreds of sectors apart, in a sea of
// zeros, so the input is a sparse image rather than the image itself:
//   0  the image's length in bytes (4 bytes, little-endian)
//   4  records: a sector number (4 bytes, little-endian), then up to 2,048
//      bytes of that sector (the last record may be short)
// Every byte not given is zero. tools/make-disc-image-corpus makes the
// seeds from images of the sample disc.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "disc/disc_files.h"
#include "disc/disc_image.h"
#include "disc/scrambled_packs.h"

namespace disc_image_fuzz {

constexpr std::size_t kRecord = 4 + disc::kSectorSize;
// The bytes read of each file: enough to cross a few extents, little
// enough that a file table of thousands of names stays quick.
constexpr std::uint32_t kFileRead = 16 * 1024;

class SparseImageBytes : public ImageBytes {
 public:
  SparseImageBytes(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return;
    size_ = static_cast<std::int64_t>(data[0] | (data[1] << 8) | (data[2] << 16)) |
            (static_cast<std::int64_t>(data[3]) << 24);
    for (std::size_t at = 4; at + 4 < size; at += kRecord) {
      const std::uint8_t* p = data + at;
      std::int64_t sector = p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<std::int64_t>(p[3]) << 24);
      std::vector<std::uint8_t>& bytes = sectors_[sector];
      bytes.assign(disc::kSectorSize, 0);
      std::memcpy(bytes.data(), p + 4, std::min(size - at - 4, static_cast<std::size_t>(disc::kSectorSize)));
    }
  }

  std::int64_t size() const override { return size_; }

  std::size_t readAt(std::int64_t offset, void* buffer, std::size_t count) override {
    if (count == 0 || offset < 0 || offset >= size_) return 0;
    count = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(count),
                                                            size_ - offset));
    auto* out = static_cast<std::uint8_t*>(buffer);
    std::memset(out, 0, count);
    std::int64_t first = offset / disc::kSectorSize;
    std::int64_t last = (offset + static_cast<std::int64_t>(count) - 1) / disc::kSectorSize;
    for (auto it = sectors_.lower_bound(first); it != sectors_.end() && it->first <= last; ++it) {
      std::int64_t start = std::max(offset, it->first * disc::kSectorSize);
      std::int64_t end = std::min(offset + static_cast<std::int64_t>(count),
                                  (it->first + 1) * disc::kSectorSize);
      std::memcpy(out + (start - offset), it->second.data() + (start - it->first * disc::kSectorSize),
                  static_cast<std::size_t>(end - start));
    }
    return count;
  }

 private:
  std::int64_t size_ = 0;
  std::map<std::int64_t, std::vector<std::uint8_t>> sectors_;
};

inline void readFile(const ImageFiles& files, const disc::ImageFile& file,
                     std::vector<std::uint8_t>& buffer) {
  auto stream = files.open(file.name);
  // Of two files with one name (in any case) the first is the one opened.
  const std::int64_t length = disc::findFile(files.table(), file.name)->length;
  if (stream->getLength() != length) std::abort();
  std::int32_t got = stream->read(buffer.data(), kFileRead);
  if (got < 0 || static_cast<std::int64_t>(got) > std::min<std::int64_t>(length, kFileRead))
    std::abort();
  stream->seek(length / 2);
  stream->read(buffer.data(), kFileRead);
}

inline int runOne(const std::uint8_t* data, std::size_t size) {
  auto image = std::make_shared<SparseImageBytes>(data, size);
  disc::ImageTable table = disc::readImageTable(*image);
  // A fault leaves no files behind and says what it is.
  if (table.problem != disc::Problem::None && (!table.files.empty() || table.message.empty()))
    std::abort();
  bool hasVideoManager = disc::findFile(table, "video_ts.ifo") != nullptr;
  ImageFiles files(image, std::move(table), "image");
  std::vector<std::uint8_t> buffer(kFileRead);
  for (const disc::ImageFile& file : files.table().files) readFile(files, file, buffer);
  if (hasVideoManager) disc::findScrambledVob(files);
  return 0;
}

}  // namespace disc_image_fuzz

#ifndef FENNORIA_FUZZ_REPLAY_ONLY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return disc_image_fuzz::runOne(data, size);
}
#endif
