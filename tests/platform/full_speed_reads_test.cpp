// Every read that the engine and the tool ask of the system lands where the
// system copies at full speed, wherever their callers point and wherever a
// file, a cell or an extent ends: the file layer's read watch sees each
// read's destination and file position. The system copies into memory just
// past the file position's place within a page at a fraction of its speed
// (see platform/read_staging.h), so a buffer that slips there (as one from
// the general-purpose heap does) fails here rather than only in a
// benchmark.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/cli.h"
#include "dvdnav/dvd_title_reader.h"
#include "input/file_list.h"
#include "input/multiple_file_inputer.h"
#include "input/random_access_reader.h"
#include "platform/file.h"
#include "platform/io_buffer.h"
#include "platform/read_staging.h"
#include "support/scratch.h"
#include "support/stand_in.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>

#include "disc/open_disc_image.h"
#include "support/disc_images.h"
#endif

using testing::IsEmpty;
using testing_support::readWholeFile;
using testing_support::ScratchDir;
using testing_support::StandIn;

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;
const std::string kDisc = kSamples + "/dvd/VIDEO_TS";

// What the watch saw: how many reads, and those that landed where the
// system copies slowly. The tool's read-ahead threads read at the same time.
struct SeenReads {
  std::mutex lock;
  std::int64_t count = 0;
  std::vector<std::string> slow;
  std::vector<std::string> offPage;  // destinations off a page boundary
};
SeenReads* seen = nullptr;

void watchRead(platform::FileHandle file, const void* buffer, std::uint32_t count) {
  std::int64_t position = platform::moveFilePointer(file, 0, platform::MoveMethod::Current);
  std::lock_guard<std::mutex> hold(seen->lock);
  ++seen->count;
  std::string read = std::to_string(count) + " bytes at page offset " +
                     std::to_string(platform::pageOffset(buffer)) + " from file offset " +
                     std::to_string(position);
  if (!platform::copiesAtFullSpeed(buffer, position)) seen->slow.push_back(read);
  if (!platform::isPageAligned(buffer)) seen->offPage.push_back(read);
}

class FullSpeedReads : public testing::Test {
 protected:
  FullSpeedReads() : stagedBefore_(platform::ReadStaging::stagedReads()) { seen = &reads_; }
  ~FullSpeedReads() override { seen = nullptr; }

  // At least `least` reads were made, and every one landed where the system
  // copies at full speed.
  void expectEveryReadAtFullSpeed(std::int64_t least) {
    std::lock_guard<std::mutex> hold(reads_.lock);
    EXPECT_GE(reads_.count, least);
    EXPECT_THAT(reads_.slow, IsEmpty());
  }

  // Every read landed on a page boundary: the tool's own buffers, read from
  // page-aligned positions, start on one (wherever the heap would put them).
  void expectEveryReadOnAPage() {
    std::lock_guard<std::mutex> hold(reads_.lock);
    EXPECT_THAT(reads_.offPage, IsEmpty());
  }

  // How many reads had to be staged since the test began.
  std::uint64_t staged() const { return platform::ReadStaging::stagedReads() - stagedBefore_; }

  const std::uint64_t stagedBefore_;
  SeenReads reads_;
  StandIn<platform::ReadWatch> watch_{platform::readWatch, &watchRead};
};

// Files whose ends fall off page boundaries, and a list naming them; the
// joined bytes in `joined`. Read into page-aligned memory, the second file
// starts 16 bytes past a page boundary of it.
std::string makeOddList(const ScratchDir& dir, std::string* joined) {
  const std::int64_t lengths[] = {3 * 4096 + 16, 40000, 10, 16384, 70001, 2048};
  std::string text;
  for (unsigned i = 0; i < 6; ++i) {
    std::string name = dir.writePattern("part" + std::to_string(i) + ".bin", lengths[i], i);
    for (std::int64_t k = 0; k < lengths[i]; ++k)
      joined->push_back(static_cast<char>(testing_support::patternByte(i, k)));
    text += name + "\r\n";
  }
  return dir.write("parts.lst", text);
}

std::size_t systemPageSize() {
#ifdef _WIN32
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize;
#else
  return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
#endif
}

// Program chain 1 of title set 1 of the sample disc, as libdvdread reads it:
// its bytes of the joined VOB files (the chain's cells adjoin).
std::string sampleChainOne(const std::string& vobs) {
  std::ifstream facts(kSamples + "/dvd/dvdread-facts.txt");
  std::string line, key;
  int cells = 0;
  std::int64_t first = -1, last = -1;
  while (std::getline(facts, line)) {
    std::istringstream fields(line);
    fields >> key;
    if (key == "vts.1.pgc.1.cells") fields >> cells;
    std::string word;
    if (key == "vts.1.pgc.1.cell.1.sectors") fields >> word >> first;
    if (cells > 0 && key == "vts.1.pgc.1.cell." + std::to_string(cells) + ".sectors")
      fields >> word >> word >> word >> last;
  }
  if (first < 0 || last < first) return {};
  return vobs.substr(static_cast<std::size_t>(first) * 2048,
                     static_cast<std::size_t>(last - first + 1) * 2048);
}

std::string sampleTitleSet() {
  std::string joined;
  for (const char* part : {"VTS_01_1.VOB", "VTS_01_2.VOB", "VTS_01_3.VOB"})
    joined += readWholeFile(kDisc + "/" + part);
  return joined;
}

std::string bytesOf(const std::uint8_t* data, std::int64_t count) {
  return std::string(reinterpret_cast<const char*>(data), static_cast<std::size_t>(count));
}

}  // namespace

TEST(IoBuffer, StartsOnAPageOfTheSystemsSize) {
  EXPECT_EQ(platform::kPageSize, systemPageSize());
  std::vector<platform::IoBuffer> buffers;
  for (std::size_t size : {1u, 16u, 2048u, 4097u, 65536u, 1u << 20, 3u << 20}) {
    buffers.emplace_back(size);
    platform::IoBuffer& buffer = buffers.back();
    ASSERT_EQ(buffer.size(), size);
    EXPECT_TRUE(platform::isPageAligned(buffer.data())) << size << " bytes";
    // Every byte is the buffer's own (the sanitized build checks).
    std::fill(buffer.data(), buffer.data() + size, std::uint8_t{0xA5});
    EXPECT_EQ(buffer[size - 1], 0xA5);
  }
}

TEST(IoBuffer, EmptyAndMovedFromHoldNoMemory) {
  platform::IoBuffer none;
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.data(), nullptr);
  EXPECT_TRUE(platform::IoBuffer(0).empty());
  platform::IoBuffer first(5000);
  std::uint8_t* memory = first.data();
  platform::IoBuffer second(std::move(first));
  EXPECT_EQ(second.data(), memory);
  EXPECT_EQ(second.size(), 5000u);
  EXPECT_TRUE(first.empty());
  platform::IoBuffer third(10, std::nothrow);
  third = std::move(second);
  EXPECT_EQ(third.data(), memory);
  EXPECT_TRUE(second.empty());
}

TEST(ReadStaging, FullSpeedWhenThePlacesInAPageMatchOrLieACacheLineApart) {
  platform::IoBuffer memory(2 * platform::kPageSize);
  std::uint8_t* page = memory.data();
  EXPECT_TRUE(platform::copiesAtFullSpeed(page, 0));
  EXPECT_TRUE(platform::copiesAtFullSpeed(page, 3 * 4096));
  EXPECT_TRUE(platform::copiesAtFullSpeed(page + 16, 16));
  EXPECT_TRUE(platform::copiesAtFullSpeed(page + 2048, 0));
  EXPECT_TRUE(platform::copiesAtFullSpeed(page + 64, 0));
  EXPECT_TRUE(platform::copiesAtFullSpeed(page, 64));
  EXPECT_FALSE(platform::copiesAtFullSpeed(page + 16, 0));   // the heap's block header
  EXPECT_FALSE(platform::copiesAtFullSpeed(page, 4080));     // 16 bytes past, across pages
  EXPECT_FALSE(platform::copiesAtFullSpeed(page + 63, 0));
  EXPECT_FALSE(platform::copiesAtFullSpeed(page + 4090, 0));  // just before
  EXPECT_FALSE(platform::copiesAtFullSpeed(page, std::int64_t{5} << 32 | 8));
}

TEST(ReadStaging, SlowReadsLandHalfAPageFromBothAndAreCopiedIntoPlace) {
  platform::IoBuffer memory(3 * platform::kPageSize);
  platform::ReadStaging staging;
  std::size_t count = 100000;
  EXPECT_EQ(staging.landing(memory.data(), 0, &count), memory.data());
  EXPECT_EQ(count, 100000u);
  std::uint8_t* off = memory.data() + 16;
  const std::pair<std::uint8_t*, std::int64_t> slow[] = {
      {off, 0}, {memory.data(), 4096 * 7 + 4080}, {memory.data() + 4090, 0}};
  for (const auto& read : slow) {
    count = 100000;
    void* into = staging.landing(read.first, read.second, &count);
    EXPECT_NE(into, read.first);
    EXPECT_EQ(count, platform::ReadStaging::kStagedBytes);
    // The system's copy into the staging, and the copy out of it.
    EXPECT_TRUE(platform::copiesAtFullSpeed(into, read.second));
    EXPECT_TRUE(platform::copiesAtFullSpeed(read.first, platform::pageOffset(into)));
  }
  void* into = staging.landing(off, 0, &count);
  std::fill(static_cast<std::uint8_t*>(into), static_cast<std::uint8_t*>(into) + 50,
            std::uint8_t{7});
  staging.deliver(into, off, 50);
  EXPECT_EQ(off[0], 7);
  EXPECT_EQ(off[49], 7);
  count = 20;
  staging.landing(off, 0, &count);
  EXPECT_EQ(count, 20u);  // a short read is not lengthened
}

TEST_F(FullSpeedReads, ListInputerWhereverItsCallerPoints) {
  // Into memory 16 bytes past a page boundary, where a sample from another
  // filter's allocator may start, in requests of several sizes.
  ScratchDir dir;
  std::string joined;
  FileList list;
  list.load(makeOddList(dir, &joined).c_str());
  const auto total = static_cast<std::int64_t>(joined.size());
  ASSERT_EQ(list.totalLength, total);
  for (std::int64_t request : {std::int64_t{3000}, std::int64_t{65536}, total}) {
    MultipleFileInputer inputer;
    ASSERT_EQ(inputer.open(&list), S_OK);
    platform::IoBuffer memory(static_cast<std::size_t>(total) + 16);
    std::uint8_t* out = memory.data() + 16;
    for (std::int64_t done = 0; done < total;) {
      std::int64_t got = inputer.readBlock(out + done, std::min(request, total - done));
      ASSERT_GT(got, 0) << "at " << done;
      done += got;
    }
    EXPECT_EQ(bytesOf(out, total), joined) << "requests of " << request;
  }
  expectEveryReadAtFullSpeed(30);
  EXPECT_GT(staged(), 0u);
}

// A reader on program chain 1 of the sample disc's title set 1. (A reader
// is good for one pass: its joined VOB files move only the file it seeks in.)
class ChainOne {
 public:
  explicit ChainOne(std::int32_t audio = -1) : reader(log_) {
    ok = reader.openIfo(kDisc) == 0 && reader.selectTitleSet(1, 1) == 0 &&
         reader.selectProgramChain(0) == 0;
    reader.audioSelect = audio;
    reader.setAudio(0, audio);
  }
  std::ostringstream log_;
  DvdTitleReader reader;
  bool ok = false;
};

TEST_F(FullSpeedReads, TitleReaderRangeFilteredAndRandomAccess) {
  const std::string range = sampleChainOne(sampleTitleSet());
  const auto total = static_cast<std::int64_t>(range.size());
  platform::IoBuffer memory(static_cast<std::size_t>(total) + 16);

  // The whole range in one call, as the tool reads it.
  ChainOne whole;
  ASSERT_TRUE(whole.ok);
  ASSERT_EQ(whole.reader.getRangeLength(), total);
  EXPECT_EQ(whole.reader.readSectors(memory.data(), static_cast<std::int32_t>(total)), total);
  EXPECT_EQ(bytesOf(memory.data(), total), range);

  // One AC-3 stream kept: whole sectors filtered in place, and the same
  // bytes asked for in requests that end inside a sector and land 16 bytes
  // past a page boundary.
  ChainOne sectors(0);
  ASSERT_EQ(sectors.reader.readSectors(memory.data(), static_cast<std::int32_t>(total)), total);
  std::int32_t kept = sectors.reader.filterSectors(
      memory.data(), static_cast<std::int32_t>(total / 2048), DvdTitleReader::Refused::Dropped);
  ASSERT_LT(kept, total / 2048);  // something was dropped
  const std::string filtered = bytesOf(memory.data(), std::int64_t{kept} * 2048);
  ChainOne pieces(0);
  DvdTitleReader& reader = pieces.reader;
  std::uint8_t* out = memory.data() + 16;
  std::int64_t done = 0;
  while (done < static_cast<std::int64_t>(filtered.size())) {
    auto want = static_cast<std::int32_t>(
        std::min<std::int64_t>(5000, static_cast<std::int64_t>(filtered.size()) - done));
    ASSERT_EQ(reader.readFiltered(out + done, want), want);
    done += want;
  }
  EXPECT_EQ(bytesOf(out, done), filtered);

  // Random access at odd places, unfiltered, into memory off a page.
  ChainOne jumping;
  RandomAccessReader randomAccess(nullptr, &jumping.reader);
  for (std::int64_t at : {total - 3000, std::int64_t{5}, std::int64_t{100000}}) {
    RandomAccessReader::Result result = randomAccess.read(at, 3000, out);
    ASSERT_EQ(result.count, 3000) << "at " << at;
    EXPECT_EQ(bytesOf(out, 3000), range.substr(static_cast<std::size_t>(at), 3000));
  }
  expectEveryReadAtFullSpeed(100);
}

TEST_F(FullSpeedReads, CellsInPlaybackOrderEndingOffAPage) {
  // Cells of 3, 5 and 3 sectors, the second before the first in the files
  // and the third in the second file: every cell end falls off a page
  // boundary of the caller's buffer.
  const std::string vobs = sampleTitleSet();
  std::ostringstream log;
  DvdTitleReader reader(log);
  ASSERT_EQ(reader.openIfo(kDisc), 0);
  reader.selectTitleSet(1, 1);
  ASSERT_EQ(reader.selectPlaybackOrder(0), 0);
  reader.cellOrder.assign({{9, 12}, {1, 6}, {200, 203}});
  const std::int64_t total = reader.getRangeLength();
  ASSERT_EQ(total, 11 * 2048);
  platform::IoBuffer memory(static_cast<std::size_t>(total));
  EXPECT_EQ(reader.readSectors(memory.data(), static_cast<std::int32_t>(total)), total);
  EXPECT_EQ(bytesOf(memory.data(), total),
            vobs.substr(9 * 2048, 3 * 2048) + vobs.substr(1 * 2048, 5 * 2048) +
                vobs.substr(200 * 2048, 3 * 2048));
  expectEveryReadAtFullSpeed(3);
}

TEST_F(FullSpeedReads, ToolCatOfFilesEndingOffAPage) {
  ScratchDir dir;
  std::string joined;
  std::string list = makeOddList(dir, &joined);
  std::string out = dir.path("joined.bin");
  ASSERT_EQ(cli::runCat({list, "-o", out, "-q"}), 0);
  EXPECT_EQ(readWholeFile(out), joined);
  expectEveryReadAtFullSpeed(10);
  EXPECT_GT(staged(), 0u);  // the second file, 16 bytes past a page of the buffer
}

TEST_F(FullSpeedReads, ToolDvdFromAFolder) {
  ScratchDir dir;
  std::string out = dir.path("title.vob");
  ASSERT_EQ(cli::runDvd({kDisc, "--titleset", "1", "--pgc", "1", "--range", "-o", out, "-q"}), 0);
  std::string title = readWholeFile(out);
  EXPECT_EQ(title, sampleChainOne(sampleTitleSet()));
  ASSERT_EQ(cli::runDvd({kDisc, "--titleset", "1", "--pgc", "1", "--range", "--ac3", "0", "-o", out, "-q"}), 0);
  EXPECT_LT(readWholeFile(out).size(), title.size());
  expectEveryReadAtFullSpeed(8);
  expectEveryReadOnAPage();
}

TEST_F(FullSpeedReads, ToolDemuxFromAFolder) {
  ScratchDir dir;
  std::string out = dir.path("audio.ac3");
  ASSERT_EQ(cli::runDemux({kDisc, "--titleset", "1", "--pgc", "1", "--range", "--ac3", "0=" + out, "-q"}), 0);
  EXPECT_EQ(readWholeFile(out), readWholeFile(kSamples + "/dvd/refs/vts.1.pgc.1.0x80.ac3"));
  expectEveryReadAtFullSpeed(5);
  expectEveryReadOnAPage();
}

#ifndef _WIN32
// Disc images are made by the real image tools, on Linux.
TEST_F(FullSpeedReads, ImageOpenedAndReadByTheTitleReader) {
  for (const auto& kind : testing_support::sampleImages()) {
    SCOPED_TRACE(kind.label);
    std::string image = testing_support::imagePath(kind);
    OpenedDiscImage opened = openDiscImage(image, image + "/VIDEO_TS");
    ASSERT_TRUE(opened.files) << opened.message;
    std::ostringstream log;
    DvdTitleReader reader(log);
    ASSERT_EQ(reader.openIfo(opened.files, image + "/VIDEO_TS"), 0);
    reader.selectTitleSet(1, 1);
    ASSERT_EQ(reader.selectProgramChain(0), 0);
    const std::int64_t total = reader.getRangeLength();
    platform::IoBuffer memory(static_cast<std::size_t>(total));
    EXPECT_EQ(reader.readSectors(memory.data(), static_cast<std::int32_t>(total)), total);
  }
  expectEveryReadAtFullSpeed(100);
}

TEST_F(FullSpeedReads, ToolDvdAndDemuxFromAnImage) {
  ScratchDir dir;
  std::string image = testing_support::imagePath(testing_support::sampleImages().front());
  std::string title = dir.path("title.vob");
  ASSERT_EQ(cli::runDvd({image, "--titleset", "1", "--pgc", "1", "--range", "-o", title, "-q"}), 0);
  EXPECT_EQ(readWholeFile(title), sampleChainOne(sampleTitleSet()));
  std::string audio = dir.path("audio.ac3");
  ASSERT_EQ(cli::runDemux({image, "--titleset", "1", "--pgc", "1", "--range", "--ac3", "0=" + audio, "-q"}), 0);
  EXPECT_EQ(readWholeFile(audio), readWholeFile(kSamples + "/dvd/refs/vts.1.pgc.1.0x80.ac3"));
  expectEveryReadAtFullSpeed(50);
}
#endif
