#include <gtest/gtest.h>
#ifndef _WIN32
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "platform/file.h"
#include "support/packs.h"
#include "support/scratch.h"
#include "support/stand_in.h"

using testing_support::makePack;
using testing_support::PackLayout;
using testing_support::ScratchDir;

namespace {

// A reader over VTS_01_1.VOB made of the given packs, each marked in its
// last byte with its sector number so that tests can tell sectors apart.
class DvdTitleRange : public testing::Test {
 protected:
  void makeVob(const std::vector<std::string>& packs) {
    std::string bytes;
    for (std::size_t i = 0; i < packs.size(); ++i) {
      std::string pack = packs[i];
      pack[2047] = static_cast<char>(i);
      bytes += pack;
    }
    std::filesystem::create_directories(dir.path("VIDEO_TS"));
    dir.write("VIDEO_TS/VTS_01_1.VOB", bytes);
    reader.folder = dir.path("VIDEO_TS");
    reader.selectTitleSet(1, 1);
  }
  std::vector<std::string> videoPacks(int n) {
    return std::vector<std::string>(static_cast<std::size_t>(n), makePack({}));
  }
  std::string readFiltered(std::int32_t count) {
    std::string out(static_cast<std::size_t>(count), '\x7E');
    EXPECT_EQ(reader.readFiltered(out.data(), count), count);
    return out;
  }
  std::string sector(std::size_t index) const {
    std::string bytes = testing_support::readWholeFile(dir.path("VIDEO_TS/VTS_01_1.VOB"));
    return bytes.substr(index * 2048, 2048);
  }

  ScratchDir dir;
  std::ostringstream log;
  DvdTitleReader reader{log};
};

}  // namespace

TEST_F(DvdTitleRange, RangeOfTenSectorsHasLength20480AndSeeksFromItsStart) {
  makeVob(videoPacks(30));
  reader.setSectorRange(10, 20);
  EXPECT_EQ(reader.getRangeLength(), 20480);
  reader.seekRange(0);
  EXPECT_EQ(reader.vobStream->getPosition(), 20480);
  EXPECT_EQ(reader.getRangePosition(), 0);
  reader.seekRange(4096);
  EXPECT_EQ(reader.getRangePosition(), 4096);
}

TEST_F(DvdTitleRange, SeekFarPastTheRangeLeavesTheStreamWhereItWas) {
  // The sum of a position near the 64-bit limit and the range's start has
  // no 64-bit value; like any other place past the files, the stream stays
  // where it was and the answer is the stream seek's 1 less the start.
  makeVob(videoPacks(30));
  reader.setSectorRange(10, 20);
  reader.seekRange(4096);
  EXPECT_EQ(reader.seekRange(INT64_MAX), 1 - 20480);
  EXPECT_EQ(reader.vobStream->getPosition(), 20480 + 4096);
  EXPECT_EQ(reader.seekRange(INT64_MAX - 20480), 1 - 20480);
  EXPECT_EQ(reader.getRangePosition(), 4096);
  EXPECT_EQ(reader.seekRange(INT64_MIN), 1 - 20480);
  EXPECT_EQ(reader.getRangePosition(), 4096);
  std::string bytes(2048, '\0');
  // As after any seek past the files, the next read gives nothing.
  EXPECT_EQ(reader.readRange(bytes.data(), 2048), 0);
}

TEST_F(DvdTitleRange, SeekRangeAnswersTheStreamSeekResultNotAPosition) {
  makeVob(videoPacks(30));
  reader.setSectorRange(10, 20);
  EXPECT_EQ(reader.seekRange(0), 1 - 20480);
  reader.setSectorRange(0, 20);
  EXPECT_EQ(reader.seekRange(2048), 1);
}

TEST_F(DvdTitleRange, LengthAndPositionWithoutAUsableRange) {
  EXPECT_EQ(reader.getRangeLength(), -1);
  EXPECT_EQ(reader.getRangePosition(), -1);
  EXPECT_EQ(reader.seekRange(0), -1);
  EXPECT_TRUE(reader.isEnd());
  makeVob(videoPacks(4));
  reader.setSectorRange(0, 0);
  EXPECT_EQ(reader.getRangeLength(), -1);
  reader.setSectorRange(3, 2);
  EXPECT_EQ(reader.getRangeLength(), -1);
  EXPECT_EQ(reader.getRangePosition(), 3 * 2048);  // the stream position itself
  reader.setSectorRange(0, 4);
  EXPECT_EQ(reader.getRangeLength(), 4 * 2048);
}

TEST_F(DvdTitleRange, EndOfRangeStopsReading) {
  makeVob(videoPacks(6));
  reader.setSectorRange(2, 4);
  std::string bytes(3 * 2048, '\0');
  EXPECT_EQ(reader.readRange(bytes.data(), 2048), 2048);
  EXPECT_EQ(reader.readRange(bytes.data(), 2048), 2048);
  EXPECT_TRUE(reader.isEnd());
  EXPECT_EQ(reader.readRange(bytes.data(), 2048), 0);
}

TEST_F(DvdTitleRange, ReadPastTheEndReadsTheOvershoot) {
  // 100 bytes before the end, a request of 1000 reads 900 bytes: the amount
  // by which it passes the end, not the 100 left.
  makeVob(videoPacks(6));
  reader.setSectorRange(0, 2);
  reader.seekRange(4096 - 100);
  std::string bytes(1000, '\0');
  EXPECT_EQ(reader.readRange(bytes.data(), 1000), 900);
}

TEST_F(DvdTitleRange, NoEndBoundReadsToTheEndOfTheFiles) {
  makeVob(videoPacks(3));
  reader.setSectorRange(1, 0);
  std::string bytes(8000, '\0');
  EXPECT_EQ(reader.readRange(bytes.data(), 8000), 4096);
  EXPECT_TRUE(reader.isEnd());
}

TEST_F(DvdTitleRange, UnfilteredReadIsTheRange) {
  makeVob(videoPacks(5));
  reader.setSectorRange(1, 3);
  std::string bytes(2048, '\0');
  EXPECT_EQ(reader.readFiltered(bytes.data(), 2048), 2048);
  EXPECT_EQ(bytes, sector(1));
}

TEST_F(DvdTitleRange, FilteredReadHoldsBackThePartOfASector) {
  makeVob(videoPacks(4));
  reader.setSectorRange(0, 4);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  std::string first = readFiltered(3000);
  EXPECT_EQ(first, sector(0) + sector(1).substr(0, 952));
  EXPECT_EQ(reader.carryCount, 1096);
  std::string next = readFiltered(2048 + 1096);
  EXPECT_EQ(next, sector(1).substr(952) + sector(2));
  EXPECT_EQ(reader.carryCount, 0);
}

TEST_F(DvdTitleRange, ChosenMpegStreamLeavesAsStreamZero) {
  makeVob({makePack({0xC1}), makePack({0xC0}), makePack({0xE0})});
  reader.setSectorRange(0, 3);
  reader.audioSelect = 5;
  reader.setAudio(2, 1);
  std::string out = readFiltered(2 * 2048);
  std::string expected = sector(0);
  expected[14 + 3] = static_cast<char>(0xC0);
  EXPECT_EQ(out, expected + sector(2));
}

TEST_F(DvdTitleRange, Ac3FilterKeepsOneSubstreamAndTheRest) {
  makeVob({makePack({0xBD, 0x82}), makePack({0xBD, 0x80}), makePack({0xC0}),
           makePack({0xBD, 0x21}), makePack({0xE0}), makePack({0xBE})});
  reader.setSectorRange(0, 6);
  reader.audioSelect = 0;
  reader.setAudio(0, 2);
  std::string out = readFiltered(4 * 2048);
  EXPECT_EQ(out, sector(0) + sector(3) + sector(4) + sector(5));
}

TEST_F(DvdTitleRange, MpegModeOneKeepsEveryMpegStreamAndDropsAc3) {
  makeVob({makePack({0xC3}), makePack({0xBD, 0x80}), makePack({0xC0})});
  reader.setSectorRange(0, 3);
  reader.audioSelect = 0;
  reader.setAudio(1, 0);
  EXPECT_EQ(readFiltered(2 * 2048), sector(0) + sector(2));
}

TEST_F(DvdTitleRange, StuffingAndHeaderLengthPlaceTheSubstreamId) {
  PackLayout kept{0xBD, 0x81, 7, 10};
  PackLayout dropped{0xBD, 0x80, 3, 0};
  makeVob({makePack(dropped), makePack(kept)});
  reader.setSectorRange(0, 2);
  reader.audioSelect = 0;
  reader.setAudio(0, 1);
  EXPECT_EQ(readFiltered(2048), sector(1));
}

TEST_F(DvdTitleRange, FilteredReadAtTheEndStillReturnsTheCountAskedFor) {
  makeVob({makePack({0xE0}), makePack({0xBD, 0x81})});
  reader.setSectorRange(0, 2);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  std::string out = readFiltered(3 * 2048);
  EXPECT_EQ(out.substr(0, 2048), sector(0));
  // The dropped sector was read in place and nothing came to overwrite it;
  // the rest of the buffer keeps what it held.
  EXPECT_EQ(out.substr(2048, 2048), sector(1));
  EXPECT_EQ(out.substr(4096), std::string(2048, '\x7E'));
  EXPECT_EQ(reader.readFiltered(out.data(), 100), 0);  // at the end
}

TEST_F(DvdTitleRange, CarryLargerThanTheRequestIsHandedOutInParts) {
  makeVob(videoPacks(2));
  reader.setSectorRange(0, 2);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  readFiltered(100);  // holds back 1948 bytes
  std::string part = readFiltered(50);
  EXPECT_EQ(part, sector(0).substr(100, 50));
  EXPECT_EQ(reader.carryCount, 1898);
  EXPECT_EQ(readFiltered(1898), sector(0).substr(150));
  EXPECT_EQ(reader.carryCount, 0);
}

TEST_F(DvdTitleRange, SeekKeepsTheHeldBackBytes) {
  makeVob(videoPacks(4));
  reader.setSectorRange(0, 4);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  readFiltered(1000);
  reader.seekRange(3 * 2048);
  EXPECT_EQ(readFiltered(1048 + 2048), sector(0).substr(1000) + sector(3));
}

TEST(DvdTitleReader, ReportsLibraryVersion2000) {
  std::ostringstream log;
  DvdTitleReader reader(log);
  EXPECT_EQ(reader.getLibraryVersion(), 2000);
  EXPECT_EQ(reader.audioSelect, -1);
  EXPECT_EQ(reader.audioMode, -1);
  EXPECT_EQ(reader.audioStream, -1);
  EXPECT_EQ(reader.carryCount, 0);
}

TEST(DvdTitleReader, CheckPacksJudgesEverySectorAndStopsAtTheFirstRefused) {
  std::ostringstream log;
  DvdTitleReader reader(log);
  reader.setAudio(2, 1);
  std::string packs = makePack({0xC1}) + makePack({0xC2}) + makePack({0xC1});
  auto* bytes = reinterpret_cast<std::uint8_t*>(packs.data());
  EXPECT_FALSE(reader.checkPacks(bytes, 3));
  EXPECT_EQ(bytes[17], 0xC0);
  EXPECT_EQ(bytes[2 * 2048 + 17], 0xC1);  // never reached
  std::string passing = makePack({0xE0}) + makePack({0xBF});
  EXPECT_TRUE(reader.checkPacks(reinterpret_cast<std::uint8_t*>(passing.data()), 2));
}

TEST_F(DvdTitleRange, FilesThatGiveNothingEndTheFilteredRead) {
  // The VOB shrinks after it was opened: the joined stream still counts its
  // old length, but reads give nothing; the filtered read must not wait.
  makeVob(videoPacks(4));
  reader.setSectorRange(0, 4);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  // Windows cuts no file that is open, so the file is let go, cut and opened
  // again; the joined stream keeps the length it recorded.
  ConcatenatedStream::Entry& vob = reader.vobStream->entries[0];
  vob.stream->close();
  std::filesystem::resize_file(vob.name, 2048);
  vob.stream = std::make_unique<mpdx::IFileStream>(vob.name.c_str());
  ASSERT_EQ(reader.vobStream->getLength(), 4 * 2048);
  // The buffer still holds packs that the filter drops, as after an earlier
  // read: a read that gives nothing leaves them there to be judged again.
  std::string stale;
  for (int i = 0; i < 4; ++i) stale += makePack({0xC0});
  std::string out = stale;
  EXPECT_EQ(reader.readFiltered(out.data(), 4 * 2048), 4 * 2048);
  EXPECT_EQ(out, sector(0) + stale.substr(2048));
}

TEST_F(DvdTitleRange, AudioModeZeroDropsEveryMpegAudioStream) {
  // MPEG audio streams 0 to 31 (ids 0xC0 to 0xDF), then one video pack.
  std::vector<std::string> packs;
  for (unsigned id = 0xC0; id <= 0xDF; ++id)
    packs.push_back(makePack({static_cast<std::uint8_t>(id)}));
  packs.push_back(makePack({0xE0}));
  makeVob(packs);
  reader.setSectorRange(0, 33);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  std::string out = readFiltered(2048);
  // The last byte of each pack holds its sector number.
  EXPECT_EQ(static_cast<unsigned char>(out[2047]), 32u);
  EXPECT_TRUE(out == sector(32));
  EXPECT_TRUE(reader.isEnd());
}

namespace {

// A VOB file that gives nothing at one read and reads on normally after it,
// as a file still being written may.
class FileThatPausesOnce : public mpdx::IFileStream {
 public:
  FileThatPausesOnce(const std::string& name, int pauseAt)
      : mpdx::IFileStream(name.c_str()), pauseAt_(pauseAt) {}
  std::int32_t read(void* buffer, std::uint32_t count) override {
    if (reads_++ == pauseAt_) return 0;
    return mpdx::IFileStream::read(buffer, count);
  }

 private:
  int pauseAt_;
  int reads_ = 0;
};

}  // namespace

TEST_F(DvdTitleRange, NothingReadBeforeTheLastSectorLeavesTheSectorBufferAlone) {
  // A request of six sectors meets a read that gives nothing at once: the
  // whole-sector loop stops with six sectors to go, and the held-back
  // sector buffer, which takes less than one, is not used to fill them.
  makeVob(videoPacks(8));
  reader.setSectorRange(0, 8);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  reader.vobStream->entries[0].stream =
      std::make_unique<FileThatPausesOnce>(dir.path("VIDEO_TS/VTS_01_1.VOB"), 0);
  std::string out = readFiltered(6 * 2048);
  EXPECT_EQ(out, std::string(6 * 2048, '\x7E'));
  EXPECT_EQ(reader.carryCount, 0);
  // The next read goes on where the files stand.
  EXPECT_EQ(readFiltered(2 * 2048 + 100), sector(0) + sector(1) + sector(2).substr(0, 100));
  EXPECT_EQ(reader.carryCount, 2048 - 100);
}

TEST_F(DvdTitleRange, ReadSectorsAsksUntilTheFilesGiveOut) {
  makeVob(videoPacks(3));
  reader.setSectorRange(0, 10);
  std::string out(5 * 2048, '\x7E');
  EXPECT_EQ(reader.readSectors(reinterpret_cast<std::uint8_t*>(out.data()), 5 * 2048), 3 * 2048);
  EXPECT_EQ(out.substr(0, 3 * 2048), sector(0) + sector(1) + sector(2));
  EXPECT_EQ(out.substr(3 * 2048), std::string(2 * 2048, '\x7E'));
}

#ifndef _WIN32
namespace {
// A device that answers its first read with 1,000 bytes and its second with
// none, as a pipe or a network file may; later reads are whole again.
int shortReads = 0;
std::ptrdiff_t shortThenEmpty(int descriptor, void* bytes, std::size_t count) {
  ++shortReads;
  if (shortReads == 1) return ::read(descriptor, bytes, std::min<std::size_t>(count, 1000));
  if (shortReads == 2) return 0;
  return ::read(descriptor, bytes, count);
}
}  // namespace

TEST_F(DvdTitleRange, ReadSectorsAsksAgainAfterAShortRead) {
  makeVob(videoPacks(4));
  reader.setSectorRange(0, 4);
  std::string out(2 * 2048, '\0');
  shortReads = 0;
  {
    testing_support::StandIn<platform::posix::ReadCall> standIn(platform::posix::readCall,
                                                                &shortThenEmpty);
    EXPECT_EQ(reader.readSectors(reinterpret_cast<std::uint8_t*>(out.data()), 2 * 2048),
              2 * 2048);
  }
  EXPECT_GE(shortReads, 3);
  EXPECT_EQ(out, sector(0) + sector(1));
}
#endif

TEST_F(DvdTitleRange, FilterSectorsDropsTheRefusedAndMovesTheRestUp) {
  makeVob({makePack({0xE0}), makePack({0xBD, 0x80}), makePack({0xBD, 0x81}), makePack({0xC2}),
           makePack({0xBE})});
  reader.setSectorRange(0, 5);
  reader.audioSelect = 0;
  reader.setAudio(0, 1);
  std::string out(5 * 2048, '\0');
  auto* bytes = reinterpret_cast<std::uint8_t*>(out.data());
  ASSERT_EQ(reader.readSectors(bytes, 5 * 2048), 5 * 2048);
  EXPECT_EQ(reader.filterSectors(bytes, 5, DvdTitleReader::Refused::Dropped), 3);
  EXPECT_EQ(out.substr(0, 3 * 2048), sector(0) + sector(2) + sector(4));
}

TEST_F(DvdTitleRange, FilterSectorsPadsTheRefusedInPlace) {
  makeVob({makePack({0xE0}), makePack({0xBD, 0x80, 3}), makePack({0xBD, 0x81})});
  reader.setSectorRange(0, 3);
  reader.audioSelect = 0;
  reader.setAudio(0, 1);
  std::string out(3 * 2048, '\0');
  auto* bytes = reinterpret_cast<std::uint8_t*>(out.data());
  ASSERT_EQ(reader.readSectors(bytes, 3 * 2048), 3 * 2048);
  EXPECT_EQ(reader.filterSectors(bytes, 3, DvdTitleReader::Refused::Padded), 3);
  EXPECT_EQ(out.substr(0, 2048), sector(0));
  EXPECT_EQ(out.substr(2 * 2048), sector(2));
  // The refused pack keeps its 14-byte header and 3 stuffing bytes; one
  // padding packet of 2048 - 17 - 6 = 2025 bytes of 0xFF fills the rest.
  const std::string padded = out.substr(2048, 2048);
  EXPECT_EQ(padded.substr(0, 17), sector(1).substr(0, 17));
  EXPECT_EQ(padded.substr(17, 6), std::string("\x00\x00\x01\xBE\x07\xE9", 6));
  EXPECT_EQ(padded.substr(23), std::string(2025, '\xFF'));
}

TEST_F(DvdTitleRange, FilterSectorsWithoutAnAudioChoiceKeepsEverySector) {
  makeVob({makePack({0xBD, 0x80}), makePack({0xC3})});
  reader.setSectorRange(0, 2);
  std::string out(2 * 2048, '\0');
  auto* bytes = reinterpret_cast<std::uint8_t*>(out.data());
  ASSERT_EQ(reader.readSectors(bytes, 2 * 2048), 2 * 2048);
  EXPECT_EQ(reader.filterSectors(bytes, 2, DvdTitleReader::Refused::Dropped), 2);
  EXPECT_EQ(out, sector(0) + sector(1));
}
