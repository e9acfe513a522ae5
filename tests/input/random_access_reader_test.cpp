// Reads at any position, in any order, of joined files and of a DVD title's
// sector range, checked against the bytes of the files themselves.
#include "input/random_access_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <utility>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "input/inputer_fixture.h"
#include "input/multiple_file_inputer.h"
#include "support/packs.h"
#include "support/scratch.h"

using testing::IsEmpty;
using testing_support::makePack;
using testing_support::MessageRecorder;
using testing_support::ScratchDir;
using Outcome = RandomAccessReader::Outcome;

void PrintTo(Outcome outcome, std::ostream* out) {
  static const char* const names[] = {"Outside", "NothingAsked", "SeekMissed", "Read"};
  *out << names[static_cast<int>(outcome)];
}

namespace {

constexpr std::int64_t GiB = std::int64_t{1} << 30;

// The bytes [at, at + length) that a read placed, as a string.
struct Piece {
  RandomAccessReader::Result result;
  std::string bytes;
};

Piece readAt(RandomAccessReader& reader, std::int64_t at, std::int32_t length) {
  std::string buffer(static_cast<std::size_t>(length > 0 ? length : 0), '\x7E');
  Piece piece;
  piece.result = reader.read(at, length, reinterpret_cast<std::uint8_t*>(buffer.data()));
  buffer.resize(static_cast<std::size_t>(piece.result.count));
  piece.bytes = buffer;
  return piece;
}

// The reads the list tests make: in no order, across file ends, repeated,
// following on from each other and at the very end.
std::vector<std::pair<std::int64_t, std::int32_t>> scatteredReads(std::int64_t total) {
  std::vector<std::pair<std::int64_t, std::int32_t>> reads = {
      {0, 100},         {total - 1, 1},   {5000, 30000},  {35000, 1},     {1, 9998},
      {9999, 2},        {9990, 20},       {35000, 40000}, {75000, 16384}, {0, 1},
      {total - 7, 7},   {12345, 16385},   {28729, 100},   {40000, 2},     {10000, 30000}};
  for (std::int64_t at = 7; at < total; at += 9973)
    reads.emplace_back(at, static_cast<std::int32_t>(at % 40000 + 1));
  return reads;
}

class RandomAccessList : public testing_support::InputerTest {
 protected:
  void open(const std::vector<std::int64_t>& lengths) {
    makeList(lengths);
    ASSERT_EQ(inputer.open(&list), S_OK);
  }
  MultipleFileInputer inputer;
  RandomAccessReader reader{&inputer, nullptr};
};

}  // namespace

TEST_F(RandomAccessList, LengthIsTheJoinedLength) {
  open({10000, 30000, 50000});
  EXPECT_EQ(reader.length(), 90000);
  RandomAccessReader none(nullptr, nullptr);
  EXPECT_EQ(none.length(), -1);
}

TEST_F(RandomAccessList, ReadsInAnyOrderGiveTheBytesOfTheFiles) {
  open({10000, 30000, 50000, 3});
  std::int64_t total = reader.length();
  ASSERT_EQ(total, 90003);
  for (auto [at, length] : scatteredReads(total)) {
    SCOPED_TRACE(testing::Message() << "read of " << length << " at " << at);
    Piece piece = readAt(reader, at, length);
    std::int64_t wanted = std::min<std::int64_t>(length, total - at);
    EXPECT_EQ(piece.result.outcome, Outcome::Read);
    EXPECT_EQ(piece.result.wanted, wanted);
    EXPECT_EQ(piece.bytes, expected.substr(static_cast<std::size_t>(at),
                                           static_cast<std::size_t>(wanted)));
    EXPECT_EQ(inputer.position, at + wanted);
  }
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(RandomAccessList, PositionsOutsideTheStreamAndEmptyRequests) {
  open({100, 50});
  EXPECT_EQ(readAt(reader, -1, 10).result.outcome, Outcome::Outside);
  EXPECT_EQ(readAt(reader, 150, 10).result.outcome, Outcome::Outside);
  EXPECT_EQ(readAt(reader, 1000, 10).result.outcome, Outcome::Outside);
  Piece none = readAt(reader, 20, 0);
  EXPECT_EQ(none.result.outcome, Outcome::NothingAsked);
  EXPECT_EQ(none.result.count, 0);
  EXPECT_EQ(inputer.position, 0);  // nothing was moved
  EXPECT_EQ(readAt(reader, 20, -5).result.outcome, Outcome::NothingAsked);
  Piece tail = readAt(reader, 140, 1000);
  EXPECT_EQ(tail.result.outcome, Outcome::Read);
  EXPECT_EQ(tail.result.wanted, 10);
  EXPECT_EQ(tail.bytes, expected.substr(140));
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

TEST_F(RandomAccessList, ClosedInputerHasNoStream) {
  makeList({100});
  EXPECT_EQ(reader.length(), 0);
  EXPECT_EQ(readAt(reader, 0, 10).result.outcome, Outcome::Outside);
}

TEST_F(RandomAccessList, SeekThatFailedIsNotTakenForArrivalWhenAskedAgain) {
  // A list that counts more bytes than its files hold: the seek past them
  // fails after it has already taken the new joined position, with the file
  // fields left at the old place. Asked again, the seek finds itself "there"
  // and answers 0, but nothing may be read from the old place.
  open({100, 50});
  inputer.totalLength = 400;
  EXPECT_EQ(readAt(reader, 120, 10).bytes, expected.substr(120, 10));
  for (int attempt = 0; attempt < 2; ++attempt) {
    SCOPED_TRACE(attempt);
    Piece piece = readAt(reader, 300, 10);
    EXPECT_EQ(piece.result.outcome, Outcome::SeekMissed);
    EXPECT_EQ(piece.result.reached, 300);
    EXPECT_EQ(piece.result.count, 0);
  }
  // Elsewhere the next seek puts everything right again.
  Piece after = readAt(reader, 10, 100);
  EXPECT_EQ(after.result.outcome, Outcome::Read);
  EXPECT_EQ(after.bytes, expected.substr(10, 100));
}

TEST_F(RandomAccessList, ReadThatFollowsOnNeedsNoMove) {
  open({1000, 1000});
  EXPECT_EQ(readAt(reader, 500, 500).bytes, expected.substr(500, 500));
  EXPECT_EQ(inputer.fileIndex, 1);  // moved on to the next file's start
  EXPECT_EQ(readAt(reader, 1000, 600).bytes, expected.substr(1000, 600));
  EXPECT_EQ(readAt(reader, 1600, 400).bytes, expected.substr(1600));
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

// A file of more than 4 GiB after a short one: the inputer's seek answers
// the offset inside the file cut to 32 bits, negative from 2 GiB to 4 GiB.
class RandomAccessLargeFile : public testing::Test {
 protected:
  void SetUp() override {
    head = dir.write("head.vob", "0123456789");
    big = dir.writeSparse("big.vob", 5 * GiB + 16,
                          {{0, "BIG-START"},
                           {2 * GiB - 4, "edge!"},
                           {2 * GiB + 1, "2GiB+1"},
                           {3 * GiB, "three-GiB"},
                           {4 * GiB - 3, "around-4"},
                           {4 * GiB + 5, "4GiB+5"},
                           {5 * GiB + 10, "ending"}});
    list.load(dir.write("big.lst", head + "\n" + big + "\n").c_str());
    ASSERT_EQ(inputer.open(&list), S_OK);
  }
  std::string at(std::int64_t inBig, std::int32_t length) {
    Piece piece = readAt(reader, 10 + inBig, length);
    EXPECT_EQ(piece.result.outcome, Outcome::Read) << "at " << inBig;
    return piece.bytes;
  }

  ScratchDir dir;
  std::string head, big;
  FileList list;
  MessageRecorder recorder;
  MultipleFileInputer inputer;
  RandomAccessReader reader{&inputer, nullptr};
};

TEST_F(RandomAccessLargeFile, PositionsTwoGiBAndMoreIntoOneFileAreRead) {
  EXPECT_EQ(reader.length(), 10 + 5 * GiB + 16);
  EXPECT_EQ(at(2 * GiB + 1, 6), "2GiB+1");
  EXPECT_EQ(at(3 * GiB, 9), "three-GiB");
  EXPECT_EQ(at(4 * GiB + 5, 6), "4GiB+5");
  EXPECT_EQ(at(0, 9), "BIG-START");
  EXPECT_EQ(at(2 * GiB - 4, 11), "edge!2GiB+1");
  EXPECT_EQ(at(4 * GiB - 3, 8), "around-4");
  EXPECT_EQ(at(5 * GiB + 10, 100), "ending");
  EXPECT_EQ(at(3 * GiB, 4), "thre");
  EXPECT_EQ(at(3 * GiB + 4, 5), "e-GiB");  // follows on, no move
  EXPECT_EQ(readAt(reader, 2, 17).bytes, std::string("23456789BIG-START"));
  EXPECT_THAT(recorder.messages(), IsEmpty());
}

// DVD mode.

namespace {

// The pack a dropped one becomes: its pack header, then one padding packet
// of 0xFF bytes to the end of the sector.
std::string paddingFor(const std::string& pack) {
  std::size_t header = 14 + (static_cast<unsigned char>(pack[13]) & 7);
  std::size_t payload = 2048 - header - 6;
  std::string out = pack.substr(0, header);
  out += std::string("\x00\x00\x01\xBE", 4);
  out += static_cast<char>(payload >> 8);
  out += static_cast<char>(payload & 0xFF);
  out += std::string(payload, '\xFF');
  return out;
}

class RandomAccessDvd : public testing::Test {
 protected:
  // VTS_01_1.VOB and VTS_01_2.VOB made of `packs`, each pack marked with its
  // sector number in its last two bytes; the first `split` go to the first
  // file.
  void makeVobs(std::vector<std::string> packs, std::size_t split) {
    std::string first, second;
    for (std::size_t i = 0; i < packs.size(); ++i) {
      packs[i][2046] = static_cast<char>(i >> 8);
      packs[i][2047] = static_cast<char>(i & 0xFF);
      (i < split ? first : second) += packs[i];
    }
    joined = first + second;
    std::filesystem::create_directories(dir.path("VIDEO_TS"));
    dir.write("VIDEO_TS/VTS_01_1.VOB", first);
    dir.write("VIDEO_TS/VTS_01_2.VOB", second);
    title.folder = dir.path("VIDEO_TS");
    title.selectTitleSet(1, 1);
  }
  std::string range(std::int64_t first, std::int64_t end) const {
    return joined.substr(static_cast<std::size_t>(first * 2048),
                         static_cast<std::size_t>((end - first) * 2048));
  }

  ScratchDir dir;
  std::ostringstream log;
  DvdTitleReader title{log};
  RandomAccessReader reader{nullptr, &title};
  std::string joined;
};

}  // namespace

TEST_F(RandomAccessDvd, LengthIsTheRangeLength) {
  EXPECT_EQ(reader.length(), -1);  // no files joined yet
  makeVobs(std::vector<std::string>(6, makePack({})), 3);
  title.setSectorRange(2, 5);
  EXPECT_EQ(reader.length(), 3 * 2048);
  title.setSectorRange(2, 0);  // no end: no length
  EXPECT_EQ(reader.length(), -1);
  EXPECT_EQ(readAt(reader, 0, 10).result.outcome, Outcome::Outside);
}

TEST_F(RandomAccessDvd, UnfilteredReadsAreTheRangeBytes) {
  makeVobs(std::vector<std::string>(12, makePack({})), 5);
  title.setSectorRange(3, 11);
  std::string expected = range(3, 11);
  std::int64_t total = reader.length();
  ASSERT_EQ(total, 8 * 2048);
  std::vector<std::pair<std::int64_t, std::int32_t>> reads = {
      {0, 2048}, {5000, 7000}, {100, 1}, {2047, 2}, {total - 3, 100}, {4096, 4096}, {1, 16383}};
  for (auto [at, length] : reads) {
    SCOPED_TRACE(testing::Message() << "read of " << length << " at " << at);
    Piece piece = readAt(reader, at, length);
    std::int64_t wanted = std::min<std::int64_t>(length, total - at);
    EXPECT_EQ(piece.result.outcome, Outcome::Read);
    EXPECT_EQ(piece.result.wanted, wanted);
    EXPECT_EQ(piece.bytes, expected.substr(static_cast<std::size_t>(at),
                                           static_cast<std::size_t>(wanted)));
  }
  EXPECT_EQ(readAt(reader, total, 1).result.outcome, Outcome::Outside);
  EXPECT_EQ(readAt(reader, 0, 0).result.outcome, Outcome::NothingAsked);
  EXPECT_EQ(title.carryCount, 0);  // the filtered read's held-back bytes are not used
}

TEST_F(RandomAccessDvd, DroppedPacksBecomePaddingInPlace) {
  std::vector<std::string> packs = {
      makePack({0xE0}),       makePack({0xBD, 0x82}), makePack({0xBD, 0x80}),
      makePack({0xC0}),       makePack({0xBD, 0x21}), makePack({0xE0, -1, 3}),
      makePack({0xC1, -1, 5}), makePack({0xBE})};
  makeVobs(packs, 4);
  title.setSectorRange(0, 8);
  title.audioSelect = 0;
  title.setAudio(0, 2);
  std::string expected;
  for (std::size_t i = 0; i < packs.size(); ++i) {
    std::string pack = joined.substr(i * 2048, 2048);
    bool dropped = i == 2 || i == 3 || i == 6;
    expected += dropped ? paddingFor(pack) : pack;
  }
  Piece whole = readAt(reader, 0, 8 * 2048);
  EXPECT_EQ(whole.bytes, expected);
  Piece part = readAt(reader, 3 * 2048 + 10, 3000);
  EXPECT_EQ(part.bytes, expected.substr(3 * 2048 + 10, 3000));
  Piece late = readAt(reader, 6 * 2048 + 2040, 20);
  EXPECT_EQ(late.bytes, expected.substr(6 * 2048 + 2040, 20));
}

TEST_F(RandomAccessDvd, ChosenMpegStreamLeavesAsStreamZero) {
  makeVobs({makePack({0xC1}), makePack({0xC0}), makePack({0xE0})}, 3);
  title.audioSelect = 3;
  title.setAudio(2, 1);
  title.setSectorRange(0, 3);
  std::string expected = joined;
  expected[14 + 3] = static_cast<char>(0xC0);
  expected.replace(2048, 2048, paddingFor(joined.substr(2048, 2048)));
  EXPECT_EQ(readAt(reader, 0, 3 * 2048).bytes, expected);
}

TEST_F(RandomAccessDvd, FilesShorterThanTheRangeGiveAShortCount) {
  makeVobs(std::vector<std::string>(4, makePack({})), 2);
  title.setSectorRange(1, 8);
  EXPECT_EQ(reader.length(), 7 * 2048);
  Piece piece = readAt(reader, 1000, 6 * 2048);
  EXPECT_EQ(piece.result.outcome, Outcome::Read);
  EXPECT_EQ(piece.result.wanted, 6 * 2048);
  EXPECT_EQ(piece.bytes, range(1, 4).substr(1000));
  EXPECT_EQ(readAt(reader, 5 * 2048, 10).result.count, 0);
}

TEST(RandomAccessSampleDisc, ProgramChainsReadAsTheirSectorsOfTheVobFiles) {
  const std::string folder = std::string(FENNORIA_SAMPLES_DIR) + "/dvd/VIDEO_TS";
  std::ostringstream log;
  DvdTitleReader title(log);
  ASSERT_EQ(title.openIfo(folder), 0);
  std::string vobs;
  for (int i = 1; i <= 9; ++i) {
    std::string name = folder + "/VTS_01_" + std::to_string(i) + ".VOB";
    if (std::filesystem::exists(name)) vobs += testing_support::readWholeFile(name);
  }
  title.selectTitleSet(1, 1);
  ASSERT_FALSE(title.titleSets.empty());
  std::size_t chains = title.titleSets[0]->programchains.size();
  ASSERT_GT(chains, 0u);
  RandomAccessReader reader(nullptr, &title);
  for (std::size_t p = 0; p < chains; ++p) {
    if (title.selectProgramChainQuiet(static_cast<std::int32_t>(p)) != 0) continue;
    SCOPED_TRACE(testing::Message() << "program chain " << p);
    std::int64_t total = reader.length();
    ASSERT_GT(total, 0);
    std::string expected = vobs.substr(static_cast<std::size_t>(title.startBlock) * 2048,
                                       static_cast<std::size_t>(total));
    ASSERT_EQ(static_cast<std::int64_t>(expected.size()), total);
    // Backwards through the range, in pieces that straddle sectors.
    for (std::int64_t at = total - 5000; at > -5000; at -= 7777) {
      std::int64_t from = at < 0 ? 0 : at;
      Piece piece = readAt(reader, from, 5000);
      std::int64_t wanted = std::min<std::int64_t>(5000, total - from);
      EXPECT_EQ(piece.bytes, expected.substr(static_cast<std::size_t>(from),
                                             static_cast<std::size_t>(wanted)))
          << "at " << from;
    }
    // With an audio choice, whatever the filter refuses is padding.
    title.audioSelect = 0;
    title.setAudio(0, 0);
    std::string filtered;
    for (std::int64_t s = 0; s < total; s += 2048) {
      std::string pack = expected.substr(static_cast<std::size_t>(s), 2048);
      std::string judged = pack;
      bool passes = title.checkPacks(reinterpret_cast<std::uint8_t*>(judged.data()), 1);
      filtered += passes ? judged : paddingFor(pack);
    }
    Piece all = readAt(reader, 0, static_cast<std::int32_t>(total));
    EXPECT_EQ(all.bytes, filtered);
    title.audioSelect = -1;
  }
}

TEST(RandomAccessSampleList, ClipsReadAsTheirBytesInAnyOrder) {
  const std::string folder = std::string(FENNORIA_SAMPLES_DIR) + "/list";
  std::string names, expected;
  for (const char* clip : {"clip1.mpg", "clip2.mpg", "clip3.mpg"}) {
    names += folder + "/" + clip + "\n";
    expected += testing_support::readWholeFile(folder + "/" + clip);
  }
  ScratchDir dir;
  MessageRecorder recorder;
  FileList list;
  list.load(dir.write("clips.lst", names).c_str());
  ASSERT_EQ(list.count, 3);
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  RandomAccessReader reader(&inputer, nullptr);
  std::int64_t total = reader.length();
  ASSERT_EQ(total, static_cast<std::int64_t>(expected.size()));
  for (auto [at, length] : scatteredReads(total)) {
    SCOPED_TRACE(testing::Message() << "read of " << length << " at " << at);
    Piece piece = readAt(reader, at, length);
    std::int64_t wanted = std::min<std::int64_t>(length, total - at);
    EXPECT_EQ(piece.bytes, expected.substr(static_cast<std::size_t>(at),
                                           static_cast<std::size_t>(wanted)));
  }
  EXPECT_THAT(recorder.messages(), IsEmpty());
}
