#include "disc/disc_image.h"

#include <cstring>

#include "disc/disc_image_bytes.h"

namespace disc {

namespace {

// The volume recognition area starts at sector 16 in both file systems: an
// ISO 9660 descriptor ("CD001") or UDF's beginning of the extended area
// ("BEA01").
constexpr std::int64_t kRecognitionSector = 16;

void checkExtents(ImageBytes& image, const std::vector<ImageFile>& files) {
  for (const ImageFile& file : files)
    for (const Extent& extent : file.extents) checkInsideImage(image, extent, file.name);
}

}  // namespace

void raise(Problem kind, const std::string& message) { throw ImageError(kind, message); }

std::int64_t sectorCount(ImageBytes& image) { return image.size() / kSectorSize; }

Sector readSector(ImageBytes& image, std::int64_t number, const std::string& what) {
  Sector sector{};
  if (number < 0 || number >= sectorCount(image) ||
      image.readAt(number * kSectorSize, sector.data(), sector.size()) != sector.size())
    raise(Problem::Truncated, "truncated: " + what + " is at sector " + std::to_string(number) +
                                  ", beyond the image's " + std::to_string(sectorCount(image)) +
                                  " sectors");
  return sector;
}

void checkInsideImage(ImageBytes& image, const Extent& extent, const std::string& name) {
  if (extent.offset + extent.length > image.size())
    raise(Problem::Truncated, "truncated: " + name + " reaches byte " +
                                  std::to_string(extent.offset + extent.length) +
                                  ", beyond the image's end at byte " +
                                  std::to_string(image.size()));
}

bool sameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
    if (x >= 'a' && x <= 'z') x = static_cast<unsigned char>(x - 'a' + 'A');
    if (y >= 'a' && y <= 'z') y = static_cast<unsigned char>(y - 'a' + 'A');
    if (x != y) return false;
  }
  return true;
}

bool hasVolumeSignature(ImageBytes& image) {
  std::uint8_t head[6] = {};
  if (image.readAt(kRecognitionSector * kSectorSize, head, sizeof head) != sizeof head)
    return false;
  return std::memcmp(head + 1, "CD001", 5) == 0 || std::memcmp(head + 1, "BEA01", 5) == 0;
}

std::string labelText(const std::uint8_t* bytes, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i)
    text += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : bytes[i] ? '?' : ' ';
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

ImageTable readImageTable(ImageBytes& image) {
  ImageTable table;
  try {
    // UDF first: it is what players read, and a hybrid image's ISO 9660
    // side may be the one cut short (a UDF fault is reported, not hidden
    // behind the other file system).
    if (readUdfFiles(image, table.files, table.label))
      table.fileSystem = "UDF";
    else if (readIso9660Files(image, table.files, table.label))
      table.fileSystem = "ISO 9660";
    else
      raise(Problem::NotAnImage, "not a disc image (no UDF or ISO 9660 volume)");
    checkExtents(image, table.files);
  } catch (const ImageError& error) {
    table.problem = error.problem;
    table.message = error.what();
    table.files.clear();
  }
  return table;
}

const ImageFile* findFile(const ImageTable& table, const std::string& name) {
  for (const ImageFile& file : table.files)
    if (sameName(file.name, name)) return &file;
  return nullptr;
}

}  // namespace disc
