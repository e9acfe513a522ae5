// ISO 9660 as the fallback for images without UDF: the primary volume
// descriptor, the root directory's records and VIDEO_TS's. One structure
// and one reader per record kind.
#include <cstring>
#include <string>
#include <vector>

#include "disc/disc_image_bytes.h"

namespace disc {

namespace {

constexpr std::int64_t kFirstDescriptor = 16;
// Volume descriptors before the terminator: a primary, a supplementary or
// two and a boot record are usual; far more is not a disc.
constexpr std::int64_t kMaxDescriptors = 64;
// As for UDF: larger than any VIDEO_TS folder.
constexpr std::uint32_t kMaxDirectoryBytes = 4 << 20;

struct PrimaryVolume {
  std::uint32_t rootSector = 0;
  std::uint32_t rootLength = 0;
  std::string label;  // the volume identifier, 32 bytes at offset 40
};

// A directory record: where its data is, how long, and its name with the
// ";1" version and a trailing dot taken off.
struct DirectoryRecord {
  std::string name;
  std::uint32_t sector;
  std::uint32_t length;
  std::uint32_t flags;  // 0x02 directory, 0x80 more extents of the same file follow
  bool self;            // "." or "..": the one-byte names 0 and 1
};

PrimaryVolume readPrimaryVolume(const Sector& s) {
  std::uint32_t blockSize = le16(s.data() + 128);
  if (blockSize != kSectorSize)
    raise(Problem::Unsupported, "ISO 9660 primary volume: block size " +
                                    std::to_string(blockSize) + " (DVDs use 2048)");
  // The root's own record, 34 bytes at offset 156.
  return {le32(s.data() + 156 + 2), le32(s.data() + 156 + 10), labelText(s.data() + 40, 32)};
}

// Finds the primary volume descriptor; false when sector 16 holds no
// ISO 9660 descriptor at all.
bool findPrimaryVolume(ImageBytes& image, PrimaryVolume& volume) {
  for (std::int64_t i = 0; i < kMaxDescriptors; ++i) {
    if (i == 0 && kFirstDescriptor >= sectorCount(image)) return false;
    Sector s = readSector(image, kFirstDescriptor + i, "ISO 9660 volume descriptor");
    if (std::memcmp(s.data() + 1, "CD001", 5) != 0) {
      if (i == 0) return false;
      raise(Problem::Malformed, "ISO 9660 volume descriptor " + std::to_string(i) +
                                    " has no CD001 identifier");
    }
    if (s[0] == 1) {
      volume = readPrimaryVolume(s);
      return true;
    }
    if (s[0] == 255) break;
  }
  raise(Problem::Malformed, "no ISO 9660 primary volume descriptor");
}

std::string recordName(const std::uint8_t* p, std::uint32_t length) {
  std::string name(reinterpret_cast<const char*>(p), length);
  std::size_t version = name.find(';');
  if (version != std::string::npos) name.erase(version);
  if (!name.empty() && name.back() == '.') name.pop_back();
  return name;
}

// `size` bytes at `p` are the record's; nothing past them is read, not even
// the name's length when the record is too short to hold it.
DirectoryRecord readRecord(const std::uint8_t* p, std::uint32_t size, const std::string& where) {
  if (size < 34)
    raise(Problem::Malformed, where + ": record of " + std::to_string(size) +
                                  " bytes, too short for its fields");
  std::uint32_t nameLength = p[32];
  if (nameLength < 1 || 33 + nameLength > size)
    raise(Problem::Malformed, where + ": record of " + std::to_string(size) +
                                  " bytes with a name of " + std::to_string(nameLength));
  if (p[26] != 0 || p[27] != 0)
    raise(Problem::Unsupported, where + ": interleaved file");
  bool self = nameLength == 1 && p[33] <= 1;
  return {recordName(p + 33, nameLength), le32(p + 2), le32(p + 10), p[25], self};
}

// The records of a directory, without "." and "..". Records never cross a
// sector: a zero length byte means the rest of the sector is empty.
std::vector<DirectoryRecord> readDirectory(ImageBytes& image, std::uint32_t sector,
                                           std::uint32_t length, const std::string& name) {
  if (length > kMaxDirectoryBytes)
    raise(Problem::Unsupported, name + ": directory of " + std::to_string(length) +
                                    " bytes (more than a DVD's)");
  checkInsideImage(image, {static_cast<std::int64_t>(sector) * kSectorSize, length}, name);
  std::vector<DirectoryRecord> records;
  std::uint32_t sectors = static_cast<std::uint32_t>((length + kSectorSize - 1) / kSectorSize);
  for (std::uint32_t i = 0; i < sectors; ++i) {
    Sector s = readSector(image, static_cast<std::int64_t>(sector) + i, name);
    std::uint32_t at = 0;
    while (at < kSectorSize && s[at] != 0) {
      std::uint32_t size = s[at];
      if (at + size > kSectorSize)
        raise(Problem::Malformed, name + ": record at byte " + std::to_string(at) +
                                      " of sector " + std::to_string(sector + i) +
                                      " crosses the sector's end");
      DirectoryRecord r = readRecord(s.data() + at, size, name);
      if (!r.self) records.push_back(std::move(r));
      at += size;
    }
  }
  return records;
}

// Gathers the records of a file recorded in several extents (each but the
// last flagged 0x80) into one file.
std::vector<ImageFile> filesOf(const std::vector<DirectoryRecord>& records) {
  std::vector<ImageFile> files;
  bool continues = false;
  for (const DirectoryRecord& r : records) {
    if (r.flags & 0x02) {
      continues = false;
      continue;
    }
    if (!continues || !sameName(files.back().name, r.name)) files.push_back({r.name, 0, {}});
    ImageFile& file = files.back();
    file.extents.push_back({static_cast<std::int64_t>(r.sector) * kSectorSize, r.length});
    file.length += r.length;
    continues = (r.flags & 0x80) != 0;
  }
  return files;
}

}  // namespace

bool readIso9660Files(ImageBytes& image, std::vector<ImageFile>& files, std::string& label) {
  PrimaryVolume volume;
  if (!findPrimaryVolume(image, volume)) return false;
  std::vector<DirectoryRecord> root =
      readDirectory(image, volume.rootSector, volume.rootLength, "ISO 9660 root directory");
  const DirectoryRecord* videoTs = nullptr;
  for (const DirectoryRecord& r : root)
    if ((r.flags & 0x02) && sameName(r.name, "VIDEO_TS")) videoTs = &r;
  if (!videoTs) raise(Problem::NoVideoTs, "no VIDEO_TS folder in the ISO 9660 root directory");
  if (videoTs->sector == volume.rootSector)
    raise(Problem::Malformed, "VIDEO_TS: its records are the root directory's (a loop)");
  files = filesOf(readDirectory(image, videoTs->sector, videoTs->length, "VIDEO_TS"));
  label = volume.label;
  return true;
}

}  // namespace disc
