// The disc image reader against images that real tools made of the sample
// disc: the files it finds are the folder's, byte for byte, and every kind of
// damage (made by cutting or patching such an image) is named.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sstream>

#include "disc/disc_files.h"
#include "disc/disc_image.h"
#include "disc/scrambled_packs.h"
#include "dvdnav/dvd_title_reader.h"
#include "support/disc_images.h"
#include "support/scratch.h"

using namespace testing_support;

namespace {

constexpr std::size_t kSector = 2048;

disc::ImageTable tableOf(const std::vector<std::uint8_t>& bytes) {
  MemoryImageBytes image(bytes);
  return disc::readImageTable(image);
}

disc::ImageTable tableOfFile(const std::string& name) {
  FileImageBytes image(name);
  return disc::readImageTable(image);
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

const SampleImage& udfUpper() { return sampleImages()[0]; }
const SampleImage& isoUpper() { return sampleImages()[2]; }

std::uint32_t le32At(const std::vector<std::uint8_t>& b, std::size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<std::uint32_t>(b[at + 3]) << 24);
}

void putLe32(std::vector<std::uint8_t>& b, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) b[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
}

}  // namespace

TEST(DiscImage, EveryImageHoldsTheFolderFilesByteForByte) {
  for (const SampleImage& kind : sampleImages()) {
    SCOPED_TRACE(kind.label);
    disc::ImageTable table = tableOfFile(imagePath(kind));
    ASSERT_EQ(table.problem, disc::Problem::None) << table.message;
    EXPECT_EQ(table.fileSystem, kind.udf ? "UDF" : "ISO 9660");
    auto bytes = std::make_shared<FileImageBytes>(imagePath(kind));
    ImageFiles files(bytes, table, "image");
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(imageSourceFolder(kind))) {
      std::string name = entry.path().filename().string();
      SCOPED_TRACE(name);
      ++count;
      ASSERT_NE(disc::findFile(table, upper(name)), nullptr);
      std::string expected = readWholeFile(entry.path().string());
      auto stream = files.open(name);
      ASSERT_EQ(stream->getLength(), static_cast<std::int64_t>(expected.size()));
      std::string got(expected.size() + 10, '\0');
      ASSERT_EQ(stream->read(got.data(), static_cast<std::uint32_t>(got.size())),
                static_cast<std::int32_t>(expected.size()));
      got.resize(expected.size());
      EXPECT_TRUE(got == expected);
    }
    EXPECT_EQ(table.files.size(), count);
  }
}

TEST(DiscImage, HybridImageWithoutItsUdfAnchorIsReadThroughIso9660) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(udfUpper()));
  std::fill(bytes.begin() + 256 * kSector, bytes.begin() + 257 * kSector, 0);
  disc::ImageTable table = tableOf(bytes);
  ASSERT_EQ(table.problem, disc::Problem::None) << table.message;
  EXPECT_EQ(table.fileSystem, "ISO 9660");
  EXPECT_EQ(table.files.size(), tableOfFile(imagePath(udfUpper())).files.size());
}

TEST(DiscImage, MediaFileIsNotAnImage) {
  std::string vob = std::string(FENNORIA_SAMPLES_DIR) + "/dvd/VIDEO_TS/VTS_01_1.VOB";
  FileImageBytes image(vob);
  EXPECT_FALSE(disc::hasVolumeSignature(image));
  disc::ImageTable table = disc::readImageTable(image);
  EXPECT_EQ(table.problem, disc::Problem::NotAnImage);
  EXPECT_EQ(table.message, "not a disc image (no UDF or ISO 9660 volume)");
  FileImageBytes real(imagePath(udfUpper()));
  EXPECT_TRUE(disc::hasVolumeSignature(real));
}

TEST(DiscImage, ExtentBeyondTheEndIsTruncated) {
  for (const SampleImage& kind : sampleImages()) {
    SCOPED_TRACE(kind.label);
    std::vector<std::uint8_t> bytes = readBytes(imagePath(kind));
    disc::ImageTable whole = tableOf(bytes);
    // Cut the image in the middle of its last file.
    const disc::ImageFile* last = &whole.files.front();
    for (const auto& file : whole.files)
      if (file.extents.back().offset > last->extents.back().offset) last = &file;
    bytes.resize(static_cast<std::size_t>(last->extents.back().offset + kSector));
    disc::ImageTable table = tableOf(bytes);
    EXPECT_EQ(table.problem, disc::Problem::Truncated);
    EXPECT_NE(table.message.find("truncated: " + last->name + " reaches byte"), std::string::npos)
        << table.message;
    EXPECT_TRUE(table.files.empty());
  }
}

TEST(DiscImage, ImageCutBeforeItsDirectoriesIsTruncated) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(isoUpper()));
  bytes.resize(18 * kSector);
  disc::ImageTable table = tableOf(bytes);
  EXPECT_EQ(table.problem, disc::Problem::Truncated);
  EXPECT_EQ(table.message.rfind("truncated: ", 0), 0u) << table.message;
}

TEST(DiscImage, ImageWithoutVideoTsSaysSo) {
  ScratchDir dir;
  std::string out = dir.path("list.iso");
  ASSERT_EQ(shell("genisoimage -quiet -udf -o '" + out + "' '" + FENNORIA_SAMPLES_DIR +
                  "/list' 2>&1"),
            0);
  disc::ImageTable table = tableOfFile(out);
  EXPECT_EQ(table.problem, disc::Problem::NoVideoTs);
  EXPECT_EQ(table.message, "no VIDEO_TS folder in the UDF root directory");
}

TEST(DiscImage, UdfFolderPointingBackToTheRootIsALoop) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(udfUpper()));
  std::size_t videoTs = findUdfIdentifier(bytes, "VIDEO_TS");
  ASSERT_NE(videoTs, 0u);
  // The root directory's first identifier is its parent entry: the root.
  std::size_t parent = videoTs - videoTs % kSector;
  ASSERT_EQ(bytes[parent + 18] & 0x08, 0x08);
  putLe32(bytes, videoTs + 24, le32At(bytes, parent + 24));
  fixTagChecksum(bytes, videoTs);
  disc::ImageTable table = tableOf(bytes);
  EXPECT_EQ(table.problem, disc::Problem::Malformed);
  EXPECT_EQ(table.message, "VIDEO_TS: its file entry is the root directory's (a loop)");
}

TEST(DiscImage, UdfFileEntryOutsideThePartitionIsReported) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(udfUpper()));
  std::size_t videoTs = findUdfIdentifier(bytes, "VIDEO_TS");
  ASSERT_NE(videoTs, 0u);
  putLe32(bytes, videoTs + 24, 0x00FFFFFF);
  fixTagChecksum(bytes, videoTs);
  disc::ImageTable table = tableOf(bytes);
  EXPECT_EQ(table.problem, disc::Problem::Malformed);
  EXPECT_EQ(table.message.rfind("VIDEO_TS: file entry points to block 16777215, outside the "
                                "partition's ", 0),
            0u)
      << table.message;
}

TEST(DiscImage, VolumeDescriptorPointerToItselfIsALoop) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(udfUpper()));
  std::uint32_t sequence = le32At(bytes, 256 * kSector + 20);
  std::size_t at = sequence * kSector;
  // A volume descriptor pointer (tag 3) whose next extent is its own sector.
  std::fill(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at + kSector), 0);
  bytes[at] = 3;
  bytes[at + 2] = 2;
  putLe32(bytes, at + 20, kSector);
  putLe32(bytes, at + 24, sequence);
  fixTagChecksum(bytes, at);
  disc::ImageTable table = tableOf(bytes);
  EXPECT_EQ(table.problem, disc::Problem::Malformed);
  EXPECT_EQ(table.message,
            "volume descriptor pointers loop back to sector " + std::to_string(sequence));
}

TEST(DiscImage, Iso9660FolderPointingBackToTheRootIsALoop) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(isoUpper()));
  std::uint32_t root = le32At(bytes, 16 * kSector + 158);
  // The root directory's record of VIDEO_TS: its name follows byte 33.
  const std::string name = "VIDEO_TS";
  auto found = std::search(bytes.begin() + static_cast<long>(root * kSector),
                           bytes.begin() + static_cast<long>((root + 1) * kSector), name.begin(),
                           name.end());
  std::size_t record = static_cast<std::size_t>(found - bytes.begin()) - 33;
  ASSERT_EQ(bytes[record + 32], name.size());
  putLe32(bytes, record + 2, root);
  disc::ImageTable table = tableOf(bytes);
  EXPECT_EQ(table.problem, disc::Problem::Malformed);
  EXPECT_EQ(table.message, "VIDEO_TS: its records are the root directory's (a loop)");
}

TEST(DiscImage, ScrambledPacksAreRecognised) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(udfUpper()));
  auto clean = std::make_shared<MemoryImageBytes>(bytes);
  ImageFiles cleanFiles(clean, disc::readImageTable(*clean), "image");
  EXPECT_EQ(disc::findScrambledVob(cleanFiles), "");
  // Set the scrambling bits of the first video pack of the title set's VOB.
  const disc::ImageFile* vob = disc::findFile(cleanFiles.table(), "VTS_01_1.VOB");
  ASSERT_NE(vob, nullptr);
  std::size_t at = static_cast<std::size_t>(vob->extents.front().offset);
  while (!(bytes[at + 17] == 0xE0 && bytes[at + 3] == 0xBA)) at += kSector;
  EXPECT_FALSE(disc::isScrambledPack(&bytes[at]));
  bytes[at + 0x14] |= 0x10;
  EXPECT_TRUE(disc::isScrambledPack(&bytes[at]));
  auto scrambled = std::make_shared<MemoryImageBytes>(bytes);
  ImageFiles files(scrambled, disc::readImageTable(*scrambled), "image");
  EXPECT_EQ(disc::findScrambledVob(files), "VTS_01_1.VOB");
}

// A file in three extents, out of order in the image: reads and seeks cross
// the extents' edges.
TEST(DiscImage, FileStreamReadsItsExtentsInOrder) {
  std::vector<std::uint8_t> bytes(100);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i);
  auto image = std::make_shared<MemoryImageBytes>(bytes);
  disc::ImageFile file{"F", 30, {{50, 10}, {10, 15}, {80, 5}}};
  ImageFileStream stream(image, &file);
  std::vector<std::uint8_t> got(40, 0xEE);
  ASSERT_EQ(stream.read(got.data(), 40), 30);
  std::vector<std::uint8_t> expected;
  for (int i = 50; i < 60; ++i) expected.push_back(static_cast<std::uint8_t>(i));
  for (int i = 10; i < 25; ++i) expected.push_back(static_cast<std::uint8_t>(i));
  for (int i = 80; i < 85; ++i) expected.push_back(static_cast<std::uint8_t>(i));
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), got.begin()));
  EXPECT_TRUE(stream.isEnd());
  EXPECT_EQ(stream.seek(8), 0);
  ASSERT_EQ(stream.read(got.data(), 4), 4);
  EXPECT_EQ(got[0], 58);
  EXPECT_EQ(got[2], 10);
  EXPECT_EQ(stream.tell(), 12);
  ImageFileStream none(image, nullptr);
  EXPECT_EQ(none.read(got.data(), 4), 0);
  EXPECT_EQ(none.getLength(), 0);
  EXPECT_EQ(none.seek(0), 1);
  EXPECT_EQ(none.tell(), -1);
}

// The title reader opened on an image reads every program chain's range as
// it does from the folder the image was made of.
TEST(DiscFiles, TitleReaderOnAnImageReadsTheFolderRanges) {
  for (const SampleImage& kind : sampleImages()) {
    SCOPED_TRACE(kind.label);
    std::ostringstream folderLog, imageLog;
    DvdTitleReader onFolder(folderLog), onImage(imageLog);
    ASSERT_EQ(onFolder.openIfo(imageSourceFolder(kind)), 0);
    auto bytes = std::make_shared<FileImageBytes>(imagePath(kind));
    auto files = std::make_shared<ImageFiles>(bytes, disc::readImageTable(*bytes), "image");
    ASSERT_EQ(onImage.openIfo(files, "image/VIDEO_TS"), 0);
    EXPECT_EQ(onImage.folder, "image/VIDEO_TS");
    ASSERT_EQ(onImage.titleSets.size(), onFolder.titleSets.size());
    for (std::int32_t t = 1; t <= static_cast<std::int32_t>(onFolder.titleSets.size()); ++t) {
      for (std::size_t p = 0; p < onFolder.titleSets[t - 1]->programchains.size(); ++p) {
        SCOPED_TRACE(std::to_string(t) + "/" + std::to_string(p));
        for (DvdTitleReader* reader : {&onFolder, &onImage}) {
          reader->selectTitleSet(t, 1);
          ASSERT_EQ(reader->selectProgramChain(static_cast<std::int32_t>(p)), 0);
        }
        EXPECT_EQ(onImage.vobStream->getLength(), onFolder.vobStream->getLength());
        std::string a(1 << 20, '\0'), b(1 << 20, '\0');
        std::int32_t gotFolder = onFolder.readRange(a.data(), static_cast<std::int32_t>(a.size()));
        std::int32_t gotImage = onImage.readRange(b.data(), static_cast<std::int32_t>(b.size()));
        ASSERT_GT(gotFolder, 0);
        ASSERT_EQ(gotImage, gotFolder);
        EXPECT_TRUE(a == b);
      }
    }
  }
}

// A file entry whose allocation continues in an allocation extent descriptor
// that continues in itself.
TEST(DiscImage, AllocationExtentPointingToItselfIsALoop) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(udfUpper()));
  // A file entry (tag 261) of a 12,288-byte file: VIDEO_TS.IFO or one like it.
  std::size_t entry = 0;
  for (std::size_t at = 0; at < bytes.size() && !entry; at += kSector)
    if (bytes[at] == 0x05 && bytes[at + 1] == 0x01 && bytes[at + 27] == 5 &&
        le32At(bytes, at + 56) == 12288)
      entry = at;
  ASSERT_NE(entry, 0u);
  // Its tag gives its own block, and so where the partition starts.
  std::size_t partitionStart = entry / kSector - le32At(bytes, entry + 12);
  // A free sector after it in the partition becomes the descriptor.
  std::size_t free = entry + kSector;
  while (std::any_of(bytes.begin() + static_cast<long>(free),
                     bytes.begin() + static_cast<long>(free + kSector), [](std::uint8_t b) { return b; }))
    free += kSector;
  std::uint32_t block = static_cast<std::uint32_t>(free / kSector - partitionStart);
  bytes[free] = 0x02;  // tag 258
  bytes[free + 1] = 0x01;
  bytes[free + 2] = 2;
  putLe32(bytes, free + 12, block);
  putLe32(bytes, free + 20, 8);
  putLe32(bytes, free + 24, 0xC0000000u | kSector);
  putLe32(bytes, free + 28, block);
  fixTagChecksum(bytes, free);
  // The entry's first descriptor (short or long: both start length, block).
  std::size_t ads = entry + 176 + le32At(bytes, entry + 168);
  putLe32(bytes, ads, 0xC0000000u | kSector);
  putLe32(bytes, ads + 4, block);
  fixTagChecksum(bytes, entry);
  disc::ImageTable table = tableOf(bytes);
  EXPECT_EQ(table.problem, disc::Problem::Malformed);
  EXPECT_NE(table.message.find(": allocation extents loop back to block " + std::to_string(block)),
            std::string::npos)
      << table.message;
}

// A directory record too short to hold its own fields: nothing past its
// length is read, its name's length included.
TEST(DiscImage, Iso9660RecordTooShortForItsFieldsIsMalformed) {
  std::vector<std::uint8_t> bytes = readBytes(imagePath(isoUpper()));
  std::uint32_t root = le32At(bytes, 16 * kSector + 158);
  ASSERT_EQ(bytes[root * kSector + 33], 0);  // the first record is the root's "."
  bytes[root * kSector] = 8;
  disc::ImageTable table = tableOf(bytes);
  EXPECT_EQ(table.problem, disc::Problem::Malformed);
  EXPECT_EQ(table.message, "ISO 9660 root directory: record of 8 bytes, too short for its fields");
}
