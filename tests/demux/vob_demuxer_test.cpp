#include "demux/vob_demuxer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "demux/demux_packs.h"
#include "demux/timing_file.h"
#include "support/scratch.h"

using demux_test::ac3Payload;
using demux_test::makePack;
using demux_test::Packet;
using demux_test::plainBytes;
using demux_test::subpicturePayload;
using testing_support::readWholeFile;
using testing_support::ScratchDir;

namespace {

// A scratch folder whose timing files are closed before it is removed (the
// demultiplexer leaves them open for the life of the process).
struct DemuxFolder {
  ~DemuxFolder() { timing::closeAllTimingFiles(); }
  std::string path(const std::string& leaf) const { return dir.path(leaf); }
  ScratchDir dir;
};

void feed(VobDemuxer& demuxer, const std::string& bytes) {
  demuxer.Demultiplex(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

std::string timingLine(std::int64_t position, std::int64_t pts, std::int64_t dts) {
  return std::to_string(position) + " " + std::to_string(pts) + " " + std::to_string(dts) + "\r\n";
}

}  // namespace

// ---- Feeding: whole packs only, the rest held across calls ----

TEST(VobDemuxer, BufferOf3000BytesHolds952ThenCompletesWith1096) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  ASSERT_EQ(demuxer.AddAudio(name.c_str(), 0, 0, false), 0);
  std::string first = plainBytes(500, 1), second = plainBytes(700, 2);
  std::string stream = makePack({0xBD, 3600, {}, ac3Payload(0x80, first)}) +
                       makePack({0xBD, 7200, {}, ac3Payload(0x80, second)});

  demuxer.Demultiplex(stream.data(), 3000);
  EXPECT_EQ(demuxer.heldCount(), 952);
  demuxer.FlushAll();
  // Only the first pack so far. (An open output is shared for writing only,
  // so on Windows its size can be seen but its bytes cannot be read yet.)
  EXPECT_EQ(std::filesystem::file_size(name), first.size());

  demuxer.Demultiplex(stream.data() + 3000, 1096);
  EXPECT_EQ(demuxer.heldCount(), 0);
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), first + second);
}

TEST(VobDemuxer, BuffersOf1000And500BytesHold1500AndWriteNothing) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, false);
  std::string pack = makePack({0xBD, 3600, {}, ac3Payload(0x80, plainBytes(900))});
  demuxer.Demultiplex(pack.data(), 1000);
  demuxer.Demultiplex(pack.data() + 1000, 500);
  EXPECT_EQ(demuxer.heldCount(), 1500);
  demuxer.FlushAll();
  EXPECT_EQ(std::filesystem::file_size(name), 0u);
  // The rest of the pack completes it.
  demuxer.Demultiplex(pack.data() + 1500, 548);
  EXPECT_EQ(demuxer.heldCount(), 0);
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), plainBytes(900));
}

TEST(VobDemuxer, NegativeLengthIsIgnored) {
  DemuxFolder dir;
  VobDemuxer demuxer(nullptr);
  std::string pack = makePack({});
  demuxer.Demultiplex(pack.data(), 100);
  demuxer.Demultiplex(pack.data(), -5);
  EXPECT_EQ(demuxer.heldCount(), 100);
  demuxer.Demultiplex(nullptr, 0);
  EXPECT_EQ(demuxer.heldCount(), 100);
}

TEST(VobDemuxer, ManyPacksInOneBufferAndAnyChunkingGiveTheSameFile) {
  DemuxFolder dir;
  std::string stream;
  std::string expected;
  for (unsigned i = 0; i < 9; ++i) {
    std::string data = plainBytes(300 + 150 * i, i);
    expected += data;
    stream += makePack({0xBD, 3600u * i, {}, ac3Payload(0x80, data)});
    stream += makePack({0xE0, {}, {}, plainBytes(1000, i)});  // video, not registered
  }
  for (std::size_t chunk : {stream.size(), std::size_t{1}, std::size_t{1000}, std::size_t{2047},
                            std::size_t{2048}, std::size_t{2049}, std::size_t{4095}}) {
    std::string name = dir.path("c" + std::to_string(chunk) + ".ac3");
    VobDemuxer demuxer(nullptr);
    demuxer.AddAudio(name.c_str(), 0, 0, false);
    for (std::size_t at = 0; at < stream.size(); at += chunk)
      feed(demuxer, stream.substr(at, chunk));
    EXPECT_EQ(demuxer.heldCount(), 0);
    demuxer.CloseAll();
    EXPECT_EQ(readWholeFile(name), expected) << "chunks of " << chunk;
  }
}

// ---- Classification ----

TEST(VobDemuxer, DtsSubstreamWritesNothing) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);  // 0x88 & 7 would be 0
  feed(demuxer, makePack({0xBD, 3600, {}, ac3Payload(0x88, "\x0B\x77" + plainBytes(800))}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), "");
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), "");
}

TEST(VobDemuxer, LpcmSubstreamWritesNothing) {
  DemuxFolder dir;
  std::string ac3 = dir.path("a.ac3"), sub = dir.path("s.sup");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(ac3.c_str(), 0, 0, true);
  demuxer.AddSubtitle(sub.c_str(), 0, true);
  std::string lpcm = std::string(1, '\xA0') + std::string("\x01\x00\x04\x00\x81\x80", 6);
  feed(demuxer, makePack({0xBD, 3600, {}, lpcm + plainBytes(800)}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(ac3), "");
  EXPECT_EQ(readWholeFile(sub), "");
  EXPECT_EQ(readWholeFile(timing::timingFileName(ac3)), "");
}

TEST(VobDemuxer, RefusedSubstreamIdsWriteNothing) {
  DemuxFolder dir;
  VobDemuxer demuxer(nullptr);
  std::vector<std::string> names;
  for (int n = 0; n < 8; ++n) {
    names.push_back(dir.path("a" + std::to_string(n)));
    demuxer.AddAudio(names.back().c_str(), 0, n, false);
  }
  for (int n = 0; n < 32; ++n) {
    names.push_back(dir.path("s" + std::to_string(n)));
    demuxer.AddSubtitle(names.back().c_str(), n, false);
  }
  for (unsigned sub : {0x00u, 0x01u, 0x50u, 0xFFu, 0x40u, 0x88u, 0x8Fu, 0xA0u, 0xA7u})
    feed(demuxer, makePack({0xBD, 3600, {}, ac3Payload(sub, "\x0B\x77" + plainBytes(600))}));
  demuxer.CloseAll();
  for (const auto& name : names) EXPECT_EQ(readWholeFile(name), "") << name;
}

TEST(VobDemuxer, SkippedStreamIdsWriteNothing) {
  DemuxFolder dir;
  std::string video = dir.path("v.m2v");
  VobDemuxer demuxer(nullptr);
  demuxer.AddVideo(video.c_str(), true);
  std::vector<std::string> names;
  for (int n = 0; n < 32; ++n) {
    names.push_back(dir.path("m" + std::to_string(n)));
    demuxer.AddAudio(names.back().c_str(), 2, n, false);
  }
  for (unsigned id : {0xBBu, 0xBCu, 0xBEu, 0xBFu, 0xF0u, 0xF1u, 0xF2u, 0xF8u, 0xFFu, 0xBAu,
                      0x00u, 0xB9u, 0xF3u})
    feed(demuxer, makePack({static_cast<std::uint8_t>(id), 90000, {}, plainBytes(700)}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(video), "");
  EXPECT_EQ(readWholeFile(timing::timingFileName(video)), "");
  for (const auto& name : names) EXPECT_EQ(readWholeFile(name), "") << name;
}

TEST(VobDemuxer, StreamNumbersComeFromTheLowBits) {
  DemuxFolder dir;
  std::string ac3 = dir.path("a3.ac3"), mpeg1 = dir.path("m1.mp2"), mpeg19 = dir.path("m19.mp2"),
              sub1 = dir.path("s1.sup"), sub31 = dir.path("s31.sup");
  VobDemuxer demuxer(nullptr);
  EXPECT_EQ(demuxer.AddAudio(ac3.c_str(), 0, 3, false), 0);
  EXPECT_EQ(demuxer.AddAudio(mpeg1.c_str(), 2, 1, false), 0);
  EXPECT_EQ(demuxer.AddAudio(mpeg19.c_str(), 2, 19, false), 0);
  EXPECT_EQ(demuxer.AddSubtitle(sub1.c_str(), 1, false), 0);
  EXPECT_EQ(demuxer.AddSubtitle(sub31.c_str(), 31, false), 0);
  feed(demuxer, makePack({0xBD, {}, {}, ac3Payload(0x83, "three")}));
  feed(demuxer, makePack({0xBD, {}, {}, ac3Payload(0x80, "zero")}));  // unregistered
  feed(demuxer, makePack({0xC1, {}, {}, "one"}));
  feed(demuxer, makePack({0xD3, {}, {}, "nineteen"}));
  feed(demuxer, makePack({0xC0, {}, {}, "none"}));
  feed(demuxer, makePack({0xBD, {}, {}, subpicturePayload(0x21, "sub one")}));
  feed(demuxer, makePack({0xBD, {}, {}, subpicturePayload(0x3F, "sub 31")}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(ac3), "three");
  EXPECT_EQ(readWholeFile(mpeg1), "one");
  EXPECT_EQ(readWholeFile(mpeg19), "nineteen");
  EXPECT_EQ(readWholeFile(sub1), "sub one");
  EXPECT_EQ(readWholeFile(sub31), "sub 31");
}

TEST(VobDemuxer, EveryVideoStreamIdGoesToTheVideoFile) {
  DemuxFolder dir;
  std::string video = dir.path("v.m2v");
  VobDemuxer demuxer(nullptr);
  EXPECT_TRUE(demuxer.AddVideo(video.c_str(), false));
  feed(demuxer, makePack({0xE0, {}, {}, "first "}));
  feed(demuxer, makePack({0xE5, {}, {}, "second "}));
  feed(demuxer, makePack({0xEF, {}, {}, "third"}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(video), "first second third");
}

TEST(VobDemuxer, UnregisteredStreamsAreDropped) {
  DemuxFolder dir;
  VobDemuxer demuxer(nullptr);
  // Nothing registered: every kind of packet passes without a file.
  feed(demuxer, makePack({0xBD, 1, {}, ac3Payload(0x80, "x")}));
  feed(demuxer, makePack({0xBD, 1, {}, subpicturePayload(0x20, "x")}));
  feed(demuxer, makePack({0xC0, 1, {}, "x"}));
  feed(demuxer, makePack({0xE0, 1, {}, "x"}));
  EXPECT_EQ(demuxer.heldCount(), 0);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.dir.root()),
                          std::filesystem::directory_iterator()),
            0);
}

TEST(VobDemuxer, PackHeaderStuffingMovesThePacket) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  std::string expected;
  for (unsigned stuffing = 0; stuffing < 8; ++stuffing) {
    Packet p{0xBD, 1000u * stuffing, {}, ac3Payload(0x80, plainBytes(100 + stuffing, stuffing))};
    p.stuffing = stuffing;
    feed(demuxer, makePack(p));
    expected += plainBytes(100 + stuffing, stuffing);
  }
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), expected);
  std::string lines;
  std::int64_t position = 0;
  for (unsigned stuffing = 0; stuffing < 8; ++stuffing) {
    lines += timingLine(position, 1000 * stuffing, 1000 * stuffing);
    position += 100 + stuffing;
  }
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), lines);
}

TEST(VobDemuxer, OnlyTheFirstPacketOfAPackIsExamined) {
  DemuxFolder dir;
  std::string name = dir.path("a.mp2");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 2, 0, false);
  // A short padding packet first: the audio packet after it is not looked at.
  std::string audio = std::string("\x00\x00\x01\xC0\x00\x08\x81\x00\x00", 9) + "hidden";
  feed(demuxer, makePack({0xBE, {}, {}, audio}));
  // A short audio packet: what follows it in the pack is not written.
  Packet p{0xC0, {}, {}, "shown"};
  p.filler = 'z';
  feed(demuxer, makePack(p));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), "shown");
}

// ---- Time stamps and timing lines ----

TEST(VobDemuxer, PesWithOnlyDtsWritesPtsAsMinusOne) {
  DemuxFolder dir;
  std::string name = dir.path("v.m2v");
  VobDemuxer demuxer(nullptr);
  demuxer.AddVideo(name.c_str(), true);
  feed(demuxer, makePack({0xE0, {}, 86400, plainBytes(200)}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), plainBytes(200));
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), timingLine(0, -1, 86400));
}

TEST(VobDemuxer, PtsOf2To32PrintsAsZero) {
  DemuxFolder dir;
  std::string name = dir.path("a.mp2");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 2, 0, true);
  feed(demuxer, makePack({0xC0, std::uint64_t{1} << 32, {}, plainBytes(10)}));
  feed(demuxer, makePack({0xC0, (std::uint64_t{1} << 32) + 5, {}, plainBytes(10)}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), timingLine(0, 0, 0) + timingLine(10, 5, 5));
}

TEST(VobDemuxer, PtsOf2To31PrintsAsTheMostNegativeNumber) {
  DemuxFolder dir;
  std::string name = dir.path("a.mp2");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 2, 0, true);
  feed(demuxer, makePack({0xC0, std::uint64_t{1} << 31, (std::uint64_t{1} << 31) - 1,
                          plainBytes(10)}));
  feed(demuxer, makePack({0xC0, (std::uint64_t{1} << 33) - 1, {}, plainBytes(10)}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)),
            "0 -2147483648 2147483647\r\n10 -1 -1\r\n");
}

TEST(VobDemuxer, PacketWithoutStampsWritesNoLine) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  feed(demuxer, makePack({0xBD, {}, {}, ac3Payload(0x80, plainBytes(30))}));
  feed(demuxer, makePack({0xBD, 450, {}, ac3Payload(0x80, plainBytes(30))}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), timingLine(30, 450, 450));
}

TEST(VobDemuxer, Ac3PayloadBeginningWithSyncRecordsThePositionBeforeTheWrite) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  feed(demuxer, makePack({0xBD, 100, {}, ac3Payload(0x80, plainBytes(77))}));
  feed(demuxer, makePack({0xBD, 200, {}, ac3Payload(0x80, "\x0B\x77" + plainBytes(60))}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)),
            timingLine(0, 100, 100) + timingLine(77, 200, 200));
}

TEST(VobDemuxer, Ac3SyncInsideTheDataAdvancesThePosition) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 5, true);
  std::string data = plainBytes(40) + "\x0B\x77" + plainBytes(40) + "\x0B\x77";
  feed(demuxer, makePack({0xBD, 300, {}, ac3Payload(0x85, data)}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), data);
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), timingLine(40, 300, 300));
}

TEST(VobDemuxer, Ac3SyncAtTheLastOffsetIsNotExamined) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  feed(demuxer, makePack({0xBD, 1, {}, ac3Payload(0x80, plainBytes(20) + "\x0B\x77")}));
  feed(demuxer, makePack({0xBD, 2, {}, ac3Payload(0x80, plainBytes(20) + "\x0B\x77" + "x")}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)),
            timingLine(0, 1, 1) + timingLine(22 + 20, 2, 2));
}

TEST(VobDemuxer, MpegAudioIsSearchedForThePictureStartCode) {
  DemuxFolder dir;
  std::string name = dir.path("a.mp2");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 2, 0, true);
  // An audio frame header (0xFF 0xFD) is not what is looked for.
  std::string first = "\xFF\xFD" + plainBytes(30) + std::string("\x00\x00\x01\x00", 4) + "tail";
  std::string second = "\xFF\xFD" + plainBytes(30);
  feed(demuxer, makePack({0xC0, 3000, {}, first}));
  feed(demuxer, makePack({0xC0, 6000, {}, second}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), first + second);
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)),
            timingLine(32, 3000, 3000) + timingLine(static_cast<long>(first.size()), 6000, 6000));
}

TEST(VobDemuxer, PictureStartAtTheLastOffsetIsNotExamined) {
  DemuxFolder dir;
  std::string name = dir.path("v.m2v");
  VobDemuxer demuxer(nullptr);
  demuxer.AddVideo(name.c_str(), true);
  std::string start("\x00\x00\x01\x00", 4);
  feed(demuxer, makePack({0xE0, 10, 5, plainBytes(9) + start}));
  feed(demuxer, makePack({0xE0, 20, 15, plainBytes(9) + start + "y"}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)),
            timingLine(0, 10, 5) + timingLine(13 + 9, 20, 15));
}

TEST(VobDemuxer, SubpicturePositionIsTheStartOfTheData) {
  DemuxFolder dir;
  std::string name = dir.path("s.sup");
  VobDemuxer demuxer(nullptr);
  demuxer.AddSubtitle(name.c_str(), 0, true);
  std::string data = plainBytes(12) + "\x0B\x77" + std::string("\x00\x00\x01\x00", 4) + "end";
  feed(demuxer, makePack({0xBD, 45000, {}, subpicturePayload(0x20, data)}));
  feed(demuxer, makePack({0xBD, 90000, {}, subpicturePayload(0x20, data)}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), data + data);
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)),
            timingLine(0, 45000, 45000) +
                timingLine(static_cast<long>(data.size()), 90000, 90000));
}

TEST(VobDemuxer, HeaderLengthPlacesThePayload) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  Packet p{0xBD, 777, {}, ac3Payload(0x80, "payload")};
  p.headerLength = 12;  // stamps, then 7 bytes of header stuffing
  feed(demuxer, makePack(p));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), "payload");
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), timingLine(0, 777, 777));
}

TEST(VobDemuxer, OutputThatCannotBeCreatedStaysRegisteredWithPositionOne) {
  DemuxFolder dir;
  // A folder cannot be opened as a file; its timing file beside it can.
  std::string name = dir.path("folder.ac3");
  std::filesystem::create_directory(name);
  VobDemuxer demuxer(nullptr);
  EXPECT_EQ(demuxer.AddAudio(name.c_str(), 0, 0, true), 0);
  feed(demuxer, makePack({0xBD, 90, {}, ac3Payload(0x80, plainBytes(50))}));
  feed(demuxer, makePack({0xBD, 180, {}, ac3Payload(0x80, "\x0B\x77" + plainBytes(50))}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), timingLine(1, 90, 90) + timingLine(1, 180, 180));
}

TEST(VobDemuxer, NullNameStandsForTheEmptyName) {
  VobDemuxer demuxer(nullptr);
  EXPECT_EQ(demuxer.AddAudio(nullptr, 0, 0, false), 0);
  EXPECT_EQ(demuxer.AddSubtitle(nullptr, 0, false), 0);
  EXPECT_TRUE(demuxer.AddVideo(nullptr, false));
  feed(demuxer, makePack({0xBD, 1, {}, ac3Payload(0x80, "x")}));
  feed(demuxer, makePack({0xE0, 1, {}, "x"}));
  EXPECT_EQ(demuxer.CloseAll(), 0);
}

// ---- Registration ----

TEST(VobDemuxer, AddAudioTakesOnlyTypes0And2) {
  DemuxFolder dir;
  VobDemuxer demuxer(nullptr);
  for (int type : {1, 3, 4, -1, 0x80}) {
    std::string name = dir.path("t" + std::to_string(type + 1000));
    EXPECT_EQ(demuxer.AddAudio(name.c_str(), type, 0, true), 1) << type;
    EXPECT_FALSE(std::filesystem::exists(name)) << type;
    EXPECT_FALSE(std::filesystem::exists(timing::timingFileName(name))) << type;
  }
  std::string ac3 = dir.path("a.ac3"), mpeg = dir.path("m.mp2");
  EXPECT_EQ(demuxer.AddAudio(ac3.c_str(), 0, 0, false), 0);
  EXPECT_EQ(demuxer.AddAudio(mpeg.c_str(), 2, 0, false), 0);
  EXPECT_TRUE(std::filesystem::exists(ac3));
  EXPECT_TRUE(std::filesystem::exists(mpeg));
  EXPECT_FALSE(std::filesystem::exists(timing::timingFileName(ac3)));
}

TEST(VobDemuxer, RegistrationReplacesAnExistingFile) {
  DemuxFolder dir;
  std::string name = dir.dir.write("a.ac3", std::string(5000, 'o'));
  std::string timingName = dir.dir.write("a.ac3.timing", "old line\r\n");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  feed(demuxer, makePack({0xBD, {}, {}, ac3Payload(0x80, "new")}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), "new");
  EXPECT_EQ(readWholeFile(timingName), "");
}

TEST(VobDemuxer, CloseAllClosesTheFilesButNotTheTimingFiles) {
  DemuxFolder dir;
  std::string ac3 = dir.path("a.ac3"), mpeg = dir.path("m.mp2"), sub = dir.path("s.sup"),
              video = dir.path("v.m2v");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(ac3.c_str(), 0, 0, true);
  demuxer.AddAudio(mpeg.c_str(), 2, 0, false);
  demuxer.AddSubtitle(sub.c_str(), 0, false);
  demuxer.AddVideo(video.c_str(), false);
  for (const auto& name : {ac3, mpeg, sub, video}) EXPECT_TRUE(testing_support::isHeldOpen(name));
  EXPECT_EQ(demuxer.CloseAll(), 0);
  for (const auto& name : {ac3, mpeg, sub, video}) EXPECT_FALSE(testing_support::isHeldOpen(name));
  EXPECT_TRUE(testing_support::isHeldOpen(timing::timingFileName(ac3)));

  // The outputs are forgotten: packets for them now go nowhere.
  feed(demuxer, makePack({0xBD, 1, {}, ac3Payload(0x80, "late")}));
  EXPECT_EQ(readWholeFile(ac3), "");
  EXPECT_EQ(readWholeFile(timing::timingFileName(ac3)), "");
}

TEST(VobDemuxer, DestructionLeavesTheTimingFilesOpen) {
  DemuxFolder dir;
  std::string name = dir.path("a.ac3");
  {
    VobDemuxer demuxer(nullptr);
    demuxer.AddAudio(name.c_str(), 0, 0, true);
    feed(demuxer, makePack({0xBD, 3600, {}, ac3Payload(0x80, "\x0B\x77z")}));
  }
  EXPECT_FALSE(testing_support::isHeldOpen(name));
  EXPECT_TRUE(testing_support::isHeldOpen(timing::timingFileName(name)));
  // Every line was flushed when it was written.
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), timingLine(0, 3600, 3600));
  timing::closeAllTimingFiles();
  EXPECT_FALSE(testing_support::isHeldOpen(timing::timingFileName(name)));
}

TEST(VobDemuxer, FlushAllKeepsTheFilesOpen) {
  DemuxFolder dir;
  std::string name = dir.path("v.m2v");
  VobDemuxer demuxer(nullptr);
  demuxer.AddVideo(name.c_str(), false);
  feed(demuxer, makePack({0xE0, {}, {}, "one"}));
  EXPECT_EQ(demuxer.FlushAll(), 0);
  EXPECT_TRUE(testing_support::isHeldOpen(name));
  EXPECT_EQ(std::filesystem::file_size(name), 3u);  // the bytes are read once it is closed
  feed(demuxer, makePack({0xE0, {}, {}, "two"}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), "onetwo");
}

namespace {
int logCalls = 0;
void countLog(int, const char*) { ++logCalls; }
}  // namespace

TEST(VobDemuxer, EmitsNoMessages) {
  DemuxFolder dir;
  logCalls = 0;
  VobDemuxer demuxer(countLog);
  std::string name = dir.path("a.ac3");
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  demuxer.AddAudio(name.c_str(), 9, 0, true);
  feed(demuxer, makePack({0xBD, 1, {}, ac3Payload(0x80, "x")}));
  feed(demuxer, std::string(5000, '\0'));
  demuxer.CloseAll();
  EXPECT_EQ(logCalls, 0);
}

// ---- Lengths that do not fit their pack ----

TEST(VobDemuxer, PesLengthPastThePackEndWritesOnlyThePack) {
  DemuxFolder dir;
  std::string ac3 = dir.path("a.ac3"), video = dir.path("v.m2v");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(ac3.c_str(), 0, 0, true);
  demuxer.AddVideo(video.c_str(), true);
  // The stated length runs 63 KiB past the pack; the pack ends with a sync
  // word in its last two bytes, which is found.
  Packet p{0xBD, 3600, {}, ac3Payload(0x80, plainBytes(100))};
  p.pesLength = 0xFFFF;
  p.filler = 'f';
  std::string pack = makePack(p);
  pack[2046] = '\x0B';
  pack[2047] = '\x77';
  Packet v{0xE0, 9000, {}, plainBytes(10)};
  v.pesLength = 0xFFFF;
  std::string videoPack = makePack(v);
  std::string bytes = pack + videoPack;
  // Fed as one buffer and then pack by pack through the held buffer, the
  // caller's bytes after each pack are never read either.
  feed(demuxer, bytes);
  for (std::size_t at = 0; at < bytes.size(); at += 1000) feed(demuxer, bytes.substr(at, 1000));
  demuxer.CloseAll();

  std::size_t dataStart = 14 + 9 + 5 + 4;
  std::string inPack = pack.substr(dataStart);
  EXPECT_EQ(readWholeFile(ac3), inPack + inPack);
  std::string videoData = videoPack.substr(14 + 9 + 5);
  EXPECT_EQ(readWholeFile(video), videoData + videoData);
  long syncAt = static_cast<long>(inPack.size()) - 2;
  EXPECT_EQ(readWholeFile(timing::timingFileName(ac3)),
            timingLine(syncAt, 3600, 3600) +
                timingLine(static_cast<long>(inPack.size()) + syncAt, 3600, 3600));
  EXPECT_EQ(readWholeFile(timing::timingFileName(video)),
            timingLine(0, 9000, 9000) + timingLine(static_cast<long>(videoData.size()), 9000, 9000));
}

TEST(VobDemuxer, NegativeCountWritesNothing) {
  DemuxFolder dir;
  std::string ac3 = dir.path("a.ac3"), mpeg = dir.path("m.mp2"), sub = dir.path("s.sup");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(ac3.c_str(), 0, 0, true);
  demuxer.AddAudio(mpeg.c_str(), 2, 0, true);
  demuxer.AddSubtitle(sub.c_str(), 0, true);
  // Header lengths and packet lengths that leave less than nothing.
  Packet a{0xBD, 100, {}, ac3Payload(0x80, "\x0B\x77" + plainBytes(20))};
  a.pesLength = 3 + 5 + 2;  // stops inside the frame count: count -2
  Packet m{0xC0, 200, {}, "\x00\x00\x01\x00" + plainBytes(20)};
  m.headerLength = 255;
  m.pesLength = 3;  // count -255
  Packet s{0xBD, 300, {}, subpicturePayload(0x20, plainBytes(20))};
  s.pesLength = 0;  // count -9
  feed(demuxer, makePack(a) + makePack(m) + makePack(s));
  // And a zero count: nothing written either, the line still comes.
  Packet z{0xC0, 400, {}, plainBytes(20)};
  z.pesLength = 3 + 5;
  feed(demuxer, makePack(z));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(ac3), "");
  EXPECT_EQ(readWholeFile(mpeg), "");
  EXPECT_EQ(readWholeFile(sub), "");
  // The packets still carry their stamps: the lines are written at the
  // unchanged position.
  EXPECT_EQ(readWholeFile(timing::timingFileName(ac3)), timingLine(0, 100, 100));
  EXPECT_EQ(readWholeFile(timing::timingFileName(mpeg)),
            timingLine(0, 200, 200) + timingLine(0, 400, 400));
  EXPECT_EQ(readWholeFile(timing::timingFileName(sub)), timingLine(0, 300, 300));
}
