// UDF 1.02 as DVD-Video discs record it: the anchor at sector 256, the main
// volume descriptor sequence (partition and logical volume), the file set,
// the root and VIDEO_TS directories and the file entries of their files.
// One structure and one reader per descriptor; ICB strategy 4 only, one
// type 1 partition.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "disc/disc_image_bytes.h"

namespace disc {

namespace {

constexpr std::int64_t kAnchorSector = 256;
// The largest directory read whole. VIDEO_TS holds at most a few hundred
// names (about 100 bytes each); anything far beyond is not a DVD.
constexpr std::int64_t kMaxDirectoryBytes = 4 << 20;
// The most volume descriptors read: a sequence holds a handful, and
// pointers to overlapping extents must not make the walk quadratic.
constexpr std::int64_t kMaxVolumeDescriptors = 1024;
// The most extents taken for one file: a DVD file has one, and the list
// must not grow with a hostile chain of continuation extents.
constexpr std::size_t kMaxExtents = 4096;

enum Tag : std::uint32_t {
  kPrimaryVolume = 1,
  kVolumePointer = 3,
  kAnchor = 2,
  kPartition = 5,
  kLogicalVolume = 6,
  kTerminator = 8,
  kFileSet = 256,
  kFileIdentifier = 257,
  kAllocationExtent = 258,
  kFileEntry = 261,
  kExtendedFileEntry = 266,
};

// The 16-byte tag that starts every descriptor; `checksum` covers its other
// 15 bytes.
struct DescriptorTag {
  std::uint32_t id;
  bool valid;
};

DescriptorTag readTag(const std::uint8_t* p) {
  unsigned sum = 0;
  for (int i = 0; i < 16; ++i)
    if (i != 4) sum += p[i];
  return {le16(p), (sum & 0xFF) == p[4]};
}

void expectTag(const std::uint8_t* p, Tag wanted, const std::string& what) {
  DescriptorTag tag = readTag(p);
  if (!tag.valid)
    raise(Problem::Malformed, what + ": descriptor tag checksum does not match");
  if (tag.id != wanted)
    raise(Problem::Malformed, what + ": descriptor tag is " + std::to_string(tag.id) +
                                  ", expected " + std::to_string(wanted));
}

// An extent_ad: a byte length and an absolute sector.
struct ExtentAd {
  std::uint32_t length;
  std::uint32_t sector;
};

// A long_ad: a byte length (top two bits: the extent's type), a block of a
// partition and that partition's reference number.
struct LongAd {
  std::uint32_t length;
  std::uint32_t block;
  std::uint32_t partitionRef;
};

LongAd readLongAd(const std::uint8_t* p) { return {le32(p), le32(p + 4), le16(p + 8)}; }

struct Partition {
  std::uint32_t number = 0;
  std::int64_t start = 0;   // absolute sector
  std::int64_t length = 0;  // sectors
};

struct LogicalVolume {
  std::uint32_t partitionNumber = 0;  // of its one partition map
  LongAd fileSet{};
};

struct Volume {
  ImageBytes& image;
  Partition partition;
  LongAd fileSet;
  std::string label;  // the primary volume identifier

  std::int64_t sectorOf(std::int64_t block, const std::string& what) const {
    if (block >= partition.length)
      raise(Problem::Malformed, what + " points to block " + std::to_string(block) +
                                    ", outside the partition's " +
                                    std::to_string(partition.length) + " blocks");
    return partition.start + block;
  }
  Sector block(const LongAd& where, const std::string& what) const {
    if (where.partitionRef != 0)
      raise(Problem::Unsupported, what + " is in partition reference " +
                                      std::to_string(where.partitionRef) +
                                      " (only one partition is read)");
    return readSector(image, sectorOf(where.block, what), what);
  }
};

// ---- the volume descriptors ----------------------------------------------

ExtentAd readAnchor(const Sector& s) {
  ExtentAd main{le32(s.data() + 16), le32(s.data() + 20)};
  if (main.length < kSectorSize)
    raise(Problem::Malformed, "anchor: main volume descriptor sequence length " +
                                  std::to_string(main.length) + " holds no descriptor");
  return main;
}

Partition readPartition(const Sector& s) {
  Partition p;
  p.number = le16(s.data() + 22);
  p.start = le32(s.data() + 188);
  p.length = le32(s.data() + 192);
  return p;
}

LogicalVolume readLogicalVolume(const Sector& s) {
  const std::uint8_t* p = s.data();
  std::uint32_t blockSize = le32(p + 212);
  if (blockSize != kSectorSize)
    raise(Problem::Unsupported,
          "logical volume: block size " + std::to_string(blockSize) + " (DVDs use 2048)");
  std::uint32_t mapTableLength = le32(p + 264);
  std::uint32_t maps = le32(p + 268);
  if (maps < 1 || mapTableLength < 6 || mapTableLength > kSectorSize - 440)
    raise(Problem::Malformed, "logical volume: " + std::to_string(maps) +
                                  " partition maps in a table of " +
                                  std::to_string(mapTableLength) + " bytes");
  const std::uint8_t* map = p + 440;
  if (map[0] != 1 || map[1] != 6)
    raise(Problem::Unsupported, "logical volume: partition map type " + std::to_string(map[0]) +
                                    " (only type 1 is read)");
  return {le16(map + 4), readLongAd(p + 248)};
}

// The primary volume descriptor's volume identifier: a 32-byte dstring at
// offset 24, its last byte the length used, its first the compression (8:
// a byte a character, 16: two, high byte first).
std::string readVolumeIdentifier(const Sector& s) {
  const std::uint8_t* d = s.data() + 24;
  const std::size_t used = std::min<std::size_t>(d[31], 31);
  if (used < 1 || (d[0] != 8 && d[0] != 16)) return "";
  std::vector<std::uint8_t> chars;
  for (std::size_t i = 1; i < used; ++i) {
    if (d[0] == 8) {
      chars.push_back(d[i]);
    } else if (i + 1 < used) {
      // Beyond ASCII the label shows '?'.
      chars.push_back(d[i] == 0 ? d[i + 1] : 0x80);
      ++i;
    }
  }
  return labelText(chars.data(), chars.size());
}

// Follows the main sequence (and any volume descriptor pointers, each
// extent once) to the partition and the logical volume.
Volume readVolume(ImageBytes& image, ExtentAd sequence) {
  bool havePartition = false, haveVolume = false;
  std::string label;
  std::vector<Partition> partitions;
  LogicalVolume volume;
  std::set<std::uint32_t> visited;
  std::int64_t read = 0;
  bool more = true;
  while (more) {
    if (!visited.insert(sequence.sector).second)
      raise(Problem::Malformed, "volume descriptor pointers loop back to sector " +
                                    std::to_string(sequence.sector));
    more = false;
    std::int64_t count = sequence.length / kSectorSize;
    for (std::int64_t i = 0; i < count; ++i) {
      if (++read > kMaxVolumeDescriptors)
        raise(Problem::Malformed, "more than " + std::to_string(kMaxVolumeDescriptors) +
                                      " volume descriptors");
      Sector s = readSector(image, static_cast<std::int64_t>(sequence.sector) + i,
                            "volume descriptor " + std::to_string(i));
      DescriptorTag tag = readTag(s.data());
      if (!tag.valid || tag.id == kTerminator || tag.id == 0) break;
      if (tag.id == kPartition) partitions.push_back(readPartition(s));
      if (tag.id == kPrimaryVolume && label.empty()) label = readVolumeIdentifier(s);
      if (tag.id == kLogicalVolume && !haveVolume) {
        volume = readLogicalVolume(s);
        haveVolume = true;
      }
      if (tag.id == kVolumePointer) {
        sequence = {le32(s.data() + 20), le32(s.data() + 24)};
        more = true;
        break;
      }
    }
  }
  if (!haveVolume)
    raise(Problem::Malformed, "no logical volume descriptor in the volume descriptor sequence");
  Volume result{image, {}, volume.fileSet, label};
  for (const Partition& p : partitions)
    if (p.number == volume.partitionNumber && !havePartition) {
      result.partition = p;
      havePartition = true;
    }
  if (!havePartition)
    raise(Problem::Malformed, "no partition descriptor for partition " +
                                  std::to_string(volume.partitionNumber));
  return result;
}

// ---- file entries ----------------------------------------------------------

struct FileEntry {
  bool directory = false;
  std::int64_t length = 0;
  std::vector<Extent> extents;
};

// Reads the allocation descriptors (type 0 short, 1 long) in `bytes`,
// following continuation extents, each block once. A loop rather than
// recursion: the chain may be as long as the image allows.
void readAllocation(const Volume& volume, const std::uint8_t* bytes, std::uint32_t size,
                    int type, FileEntry& entry, const std::string& name) {
  const std::uint32_t step = type == 0 ? 8 : 16;
  std::set<std::uint32_t> visited;
  Sector continuation{};
  for (bool more = true; more;) {
    more = false;
    for (std::uint32_t at = 0; at + step <= size && !more; at += step) {
      LongAd ad = type == 0 ? LongAd{le32(bytes + at), le32(bytes + at + 4), 0}
                            : readLongAd(bytes + at);
      std::uint32_t length = ad.length & 0x3FFFFFFF;
      std::uint32_t kind = ad.length >> 30;
      if (length == 0) return;
      if (kind == 3) {
        if (!visited.insert(ad.block).second)
          raise(Problem::Malformed, name + ": allocation extents loop back to block " +
                                        std::to_string(ad.block));
        continuation = volume.block(ad, name + ": allocation extent");
        expectTag(continuation.data(), kAllocationExtent, name + ": allocation extent");
        size = le32(continuation.data() + 20);
        if (size > kSectorSize - 24)
          raise(Problem::Malformed, name + ": allocation extent holds " + std::to_string(size) +
                                        " bytes of descriptors");
        bytes = continuation.data() + 24;
        more = true;
        continue;
      }
      if (kind != 0)
        raise(Problem::Unsupported, name + ": an extent is allocated but not recorded");
      if (entry.extents.size() >= kMaxExtents)
        raise(Problem::Unsupported, name + ": more than " + std::to_string(kMaxExtents) +
                                        " extents (DVD files have one)");
      std::int64_t sectors = (static_cast<std::int64_t>(length) + kSectorSize - 1) / kSectorSize;
      std::int64_t first = volume.sectorOf(ad.block, name + ": an extent");
      volume.sectorOf(ad.block + sectors - 1, name + ": an extent");
      entry.extents.push_back({first * kSectorSize, length});
    }
  }
}

// Cuts the extents to the entry's length; they must cover it.
void fitExtents(FileEntry& entry, const std::string& name) {
  std::int64_t left = entry.length;
  std::vector<Extent> kept;
  for (Extent e : entry.extents) {
    if (left == 0) break;
    if (e.length > left) e.length = left;
    left -= e.length;
    kept.push_back(e);
  }
  if (left > 0)
    raise(Problem::Malformed, name + ": allocation descriptors cover " +
                                  std::to_string(entry.length - left) + " of its " +
                                  std::to_string(entry.length) + " bytes");
  entry.extents = std::move(kept);
}

FileEntry readFileEntry(const Volume& volume, const LongAd& icb, const std::string& name) {
  Sector s = volume.block(icb, name + ": file entry");
  const std::uint8_t* p = s.data();
  DescriptorTag tag = readTag(p);
  if (!tag.valid || (tag.id != kFileEntry && tag.id != kExtendedFileEntry))
    expectTag(p, kFileEntry, name + ": file entry");
  bool extended = tag.id == kExtendedFileEntry;
  std::uint32_t strategy = le16(p + 20);
  if (strategy != 4)
    raise(Problem::Unsupported, name + ": ICB strategy " + std::to_string(strategy) +
                                    " (only strategy 4 is read)");
  FileEntry entry;
  entry.directory = p[27] == 4;
  entry.length = static_cast<std::int64_t>(le64(p + 56) & 0x7FFFFFFFFFFFull);
  std::uint32_t eaLength = le32(p + (extended ? 208 : 168));
  std::uint32_t adLength = le32(p + (extended ? 212 : 172));
  std::uint32_t adStart = extended ? 216 : 176;
  if (eaLength > kSectorSize || adLength > kSectorSize - adStart - eaLength)
    raise(Problem::Malformed, name + ": file entry's " + std::to_string(eaLength) +
                                  " bytes of attributes and " + std::to_string(adLength) +
                                  " of allocation descriptors do not fit in its block");
  const std::uint8_t* ads = p + adStart + eaLength;
  int type = le16(p + 34) & 7;
  if (type == 3) {
    // The data is inside the entry itself.
    if (entry.length > adLength)
      raise(Problem::Malformed, name + ": " + std::to_string(entry.length) +
                                    " bytes said to be embedded in " +
                                    std::to_string(adLength));
    std::int64_t at = volume.sectorOf(icb.block, name) * kSectorSize + (ads - p);
    entry.extents.push_back({at, entry.length});
    return entry;
  }
  if (type > 1)
    raise(Problem::Unsupported,
          name + ": allocation descriptor type " + std::to_string(type));
  readAllocation(volume, ads, adLength, type, entry, name);
  fitExtents(entry, name);
  return entry;
}

// ---- directories -----------------------------------------------------------

struct DirectoryEntry {
  std::string name;
  bool directory;
  LongAd icb;
};

// A d-string: compression 8 is one byte a character, 16 two (big-endian).
std::string readName(const std::uint8_t* p, std::uint32_t length, const std::string& where) {
  if (length == 0) return {};
  std::string name;
  if (p[0] == 8) {
    name.assign(reinterpret_cast<const char*>(p + 1), length - 1);
  } else if (p[0] == 16) {
    for (std::uint32_t i = 1; i + 1 < length; i += 2)
      name += p[i] == 0 ? static_cast<char>(p[i + 1]) : '?';
  } else {
    raise(Problem::Malformed,
          where + ": file identifier compression " + std::to_string(p[0]));
  }
  return name;
}

std::vector<std::uint8_t> readData(const Volume& volume, const FileEntry& entry,
                                   const std::string& name) {
  if (entry.length > kMaxDirectoryBytes)
    raise(Problem::Unsupported, name + ": directory of " + std::to_string(entry.length) +
                                    " bytes (more than a DVD's)");
  std::vector<std::uint8_t> data;
  data.reserve(static_cast<std::size_t>(entry.length));
  for (const Extent& e : entry.extents) {
    // An empty directory embedded in its entry has an empty extent: nothing
    // to read, and no buffer to read it into.
    if (e.length == 0) continue;
    checkInsideImage(volume.image, e, name);
    std::size_t at = data.size();
    data.resize(at + static_cast<std::size_t>(e.length));
    if (volume.image.readAt(e.offset, data.data() + at, static_cast<std::size_t>(e.length)) !=
        static_cast<std::size_t>(e.length))
      raise(Problem::Truncated, "truncated: " + name + " cannot be read whole");
  }
  return data;
}

// The file identifier descriptors of a directory, without the parent and
// deleted ones.
std::vector<DirectoryEntry> readDirectory(const Volume& volume, const FileEntry& entry,
                                          const std::string& name) {
  if (!entry.directory) raise(Problem::Malformed, name + " is not a directory");
  std::vector<std::uint8_t> data = readData(volume, entry, name);
  std::vector<DirectoryEntry> found;
  std::size_t at = 0;
  while (at + 38 <= data.size()) {
    const std::uint8_t* p = data.data() + at;
    std::string where = name + ": entry at byte " + std::to_string(at);
    expectTag(p, kFileIdentifier, where);
    std::uint32_t characteristics = p[18];
    std::uint32_t nameLength = p[19];
    std::uint32_t useLength = le16(p + 36);
    std::size_t total = 38 + useLength + nameLength;
    if (at + total > data.size())
      raise(Problem::Malformed, where + ": identifier of " + std::to_string(total) +
                                    " bytes runs past the directory's end");
    if ((characteristics & 0x0C) == 0)
      found.push_back({readName(p + 38 + useLength, nameLength, where),
                       (characteristics & 0x02) != 0, readLongAd(p + 20)});
    at += (total + 3) & ~static_cast<std::size_t>(3);
  }
  return found;
}

const DirectoryEntry* findEntry(const std::vector<DirectoryEntry>& entries,
                                const std::string& name, bool directory) {
  for (const DirectoryEntry& e : entries)
    if (e.directory == directory && sameName(e.name, name)) return &e;
  return nullptr;
}

}  // namespace

bool readUdfFiles(ImageBytes& image, std::vector<ImageFile>& files, std::string& label) {
  if (sectorCount(image) <= kAnchorSector) return false;
  Sector anchor = readSector(image, kAnchorSector, "anchor");
  DescriptorTag tag = readTag(anchor.data());
  if (!tag.valid || tag.id != kAnchor) return false;

  Volume volume = readVolume(image, readAnchor(anchor));
  label = volume.label;
  Sector fileSet = volume.block(volume.fileSet, "file set");
  expectTag(fileSet.data(), kFileSet, "file set");
  LongAd rootIcb = readLongAd(fileSet.data() + 400);
  FileEntry root = readFileEntry(volume, rootIcb, "root directory");
  std::vector<DirectoryEntry> top = readDirectory(volume, root, "root directory");
  const DirectoryEntry* videoTs = findEntry(top, "VIDEO_TS", true);
  if (!videoTs) raise(Problem::NoVideoTs, "no VIDEO_TS folder in the UDF root directory");
  // The only way back up that could make the walk go round.
  if (videoTs->icb.block == rootIcb.block)
    raise(Problem::Malformed, "VIDEO_TS: its file entry is the root directory's (a loop)");
  FileEntry folder = readFileEntry(volume, videoTs->icb, "VIDEO_TS");
  for (const DirectoryEntry& e : readDirectory(volume, folder, "VIDEO_TS")) {
    if (e.directory) continue;
    FileEntry entry = readFileEntry(volume, e.icb, e.name);
    files.push_back({e.name, entry.length, std::move(entry.extents)});
  }
  return true;
}

}  // namespace disc
