#include "demux/program_stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "demux/demux_packs.h"
#include "demux/sample_refs.h"

using demux_test::makePack;
using demux_test::Packet;
using demux_test::stampBytes;

namespace {

const std::uint8_t* bytesOf(const std::string& s) {
  return reinterpret_cast<const std::uint8_t*>(s.data());
}

std::vector<ps::Packet> packetsOf(const std::string& pack) {
  std::vector<ps::Packet> found;
  std::size_t at = 0;
  ps::Packet packet;
  while (ps::nextPacket(bytesOf(pack), &at, &packet)) found.push_back(packet);
  return found;
}

}  // namespace

TEST(ProgramStream, TimestampReadsEveryBitOfThe33) {
  for (std::uint64_t value : {0ull, 1ull, 0x7Full, 0x80ull, 0x7FFFull, 0x8000ull, 0x3FFFFFFFull,
                              0x40000000ull, 0xFFFFFFFFull, 0x100000000ull, 0x123456789ull,
                              0x1FFFFFFFFull}) {
    for (unsigned prefix : {1u, 2u, 3u}) {
      const std::string bytes = stampBytes(value, prefix);
      EXPECT_EQ(ps::readTimestamp(bytesOf(bytes)), static_cast<std::int64_t>(value))
          << std::hex << value;
    }
  }
}

TEST(ProgramStream, LowTimestampDropsBit32AndTurnsNegativeFrom2To31) {
  EXPECT_EQ(ps::readTimestampLow32(bytesOf(stampBytes(0x7FFFFFFF, 2))), 0x7FFFFFFF);
  EXPECT_EQ(ps::readTimestampLow32(bytesOf(stampBytes(0x80000000, 2))), INT32_MIN);
  EXPECT_EQ(ps::readTimestampLow32(bytesOf(stampBytes(0x100000005ull, 2))), 5);
  EXPECT_EQ(ps::readTimestampLow32(bytesOf(stampBytes(0x1FFFFFFFFull, 2))), -1);
}

TEST(ProgramStream, StreamsWithoutHeaderExtensionAreTheEightOfTheSystemsStandard) {
  std::set<int> listed;
  for (int id = 0; id < 256; ++id)
    if (ps::hasNoPesExtension(static_cast<std::uint8_t>(id))) listed.insert(id);
  EXPECT_EQ(listed, (std::set<int>{0xBC, 0xBE, 0xBF, 0xF0, 0xF1, 0xF2, 0xF8, 0xFF}));
}

TEST(ProgramStream, StreamAndSubstreamRangesHaveTheirEnds) {
  EXPECT_TRUE(ps::isAudioStream(0xC0) && ps::isAudioStream(0xDF));
  EXPECT_FALSE(ps::isAudioStream(0xBF) || ps::isAudioStream(0xE0));
  EXPECT_TRUE(ps::isVideoStream(0xE0) && ps::isVideoStream(0xEF));
  EXPECT_FALSE(ps::isVideoStream(0xDF) || ps::isVideoStream(0xF0));
  EXPECT_TRUE(ps::isAc3Substream(0x80) && ps::isAc3Substream(0x87));
  EXPECT_FALSE(ps::isAc3Substream(0x7F) || ps::isAc3Substream(0x88));
  EXPECT_TRUE(ps::isSubpictureSubstream(0x20) && ps::isSubpictureSubstream(0x3F));
  EXPECT_FALSE(ps::isSubpictureSubstream(0x1F) || ps::isSubpictureSubstream(0x40));
}

TEST(ProgramStream, FirstPacketFollowsThePackHeadersStuffing) {
  for (unsigned stuffing = 0; stuffing < 8; ++stuffing) {
    Packet video(0xE0, 9000, {}, "video");
    video.stuffing = stuffing;
    const std::string pack = makePack(video);
    EXPECT_EQ(ps::packHeaderSize(bytesOf(pack)), 14 + stuffing);
    EXPECT_EQ(ps::firstPacket(bytesOf(pack)), bytesOf(pack) + 14 + stuffing);
    EXPECT_EQ(ps::streamId(ps::firstPacket(bytesOf(pack))), 0xE0);
  }
}

TEST(ProgramStream, WalkGivesEachPacketWithItsStamp) {
  // Two packets: a video packet with a PTS and a DTS, then padding.
  std::string pack = makePack(Packet(0xE0, 0x123456789ull, 0x12345ull, "picture"));
  const std::size_t videoEnd = 14 + 6 + 3 + 10 + 7;
  const std::size_t paddingLength = 2048 - videoEnd - 6;
  pack.replace(videoEnd, 6,
               std::string("\x00\x00\x01\xBE", 4) + static_cast<char>(paddingLength >> 8) +
                   static_cast<char>(paddingLength & 0xFF));
  const std::vector<ps::Packet> found = packetsOf(pack);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].streamId, 0xE0);
  EXPECT_EQ(found[0].start, 14u);
  EXPECT_EQ(found[0].end, videoEnd);
  EXPECT_TRUE(found[0].mpeg2);
  EXPECT_EQ(found[0].payload, videoEnd - 7);
  EXPECT_EQ(found[0].pts, 0x123456789ll);
  EXPECT_EQ(found[1].streamId, 0xBE);
  EXPECT_EQ(found[1].end, 2048u);
}

TEST(ProgramStream, WalkStopsAtAPacketRunningPastThePack) {
  Packet video(0xE0, 9000, {}, "video");
  video.pesLength = 2048 - 14 - 6 + 1;
  EXPECT_TRUE(packetsOf(makePack(video)).empty());
}

TEST(ProgramStream, WalkStopsWhereNoStartCodeStands) {
  std::string pack = makePack(Packet(0xE0, 9000, {}, "video"));
  // The filler after the packet is no start code.
  const std::vector<ps::Packet> found = packetsOf(pack);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].streamId, 0xE0);
}

TEST(ProgramStream, MpegOnePackIsNotWalked) {
  std::string pack = makePack(Packet(0xE0, 9000, {}, "video"));
  pack[4] = 0x21;  // an MPEG-1 pack header starts 0010
  EXPECT_TRUE(packetsOf(pack).empty());
}

TEST(ProgramStream, PtsShorterThanItsHeaderSaysIsNotTaken) {
  Packet video(0xE0, 9000, {}, "video");
  video.headerLength = 3;
  const std::vector<ps::Packet> found = packetsOf(makePack(video));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_FALSE(found[0].pts);
}

// A packet at the very end of the pack whose header says five stamp bytes
// follow, where the pack ends first: the stamp is not read, and no byte
// after the pack is looked at (the pack stands alone in a buffer of its
// own, which the sanitized build watches).
TEST(ProgramStream, PtsPastThePacketsEndIsNotRead) {
  std::string bytes = makePack(Packet(0xE0, {}, {}, ""));
  const std::size_t last = 2048 - 9;  // three bytes after the length field
  const std::size_t filler = last - 14 - 6;
  bytes.replace(14, 6, std::string("\x00\x00\x01\xBE", 4) + static_cast<char>(filler >> 8) +
                           static_cast<char>(filler & 0xFF));
  bytes.replace(last, 9, std::string("\x00\x00\x01\xE0\x00\x03\x81\x80\x0A", 9));
  auto pack = std::make_unique<std::uint8_t[]>(2048);
  std::memcpy(pack.get(), bytes.data(), 2048);
  std::size_t at = 0;
  ps::Packet packet;
  ASSERT_TRUE(ps::nextPacket(pack.get(), &at, &packet));
  ASSERT_TRUE(ps::nextPacket(pack.get(), &at, &packet));
  EXPECT_EQ(packet.streamId, 0xE0);
  EXPECT_EQ(packet.end, 2048u);
  EXPECT_TRUE(packet.mpeg2);
  EXPECT_FALSE(packet.pts);
  EXPECT_FALSE(ps::nextPacket(pack.get(), &at, &packet));
}

// Every pack of the sample disc's first title, made by dvdauthor, is filled
// by its packets to the last byte, and the AC-3 packets the walk finds are
// those ffprobe lists: the same payload sizes and time stamps, in order.
TEST(ProgramStream, WalkOfTheSampleDiscMatchesFfprobesPackets) {
  for (const demux_test::Range& range : demux_test::loadIndex()) {
    if (range.key != "vts.1.pgc.1") continue;
    const std::string bytes = demux_test::rangeBytes(range);
    std::vector<demux_test::PesPacket> ours;
    for (std::size_t pack = 0; pack + 2048 <= bytes.size(); pack += 2048) {
      const std::string one = bytes.substr(pack, 2048);
      const std::vector<ps::Packet> found = packetsOf(one);
      ASSERT_FALSE(found.empty()) << "pack " << pack / 2048;
      EXPECT_EQ(found.back().end, 2048u) << "pack " << pack / 2048;
      for (const ps::Packet& p : found) {
        if (p.streamId != ps::kPrivateStream1 || p.payload >= p.end) continue;
        if (static_cast<std::uint8_t>(one[p.payload]) != 0x80) continue;
        demux_test::PesPacket packet;
        packet.size = static_cast<std::int64_t>(p.end - p.payload - 4);
        packet.pts = p.pts ? std::to_string(*p.pts) : "N/A";
        ours.push_back(packet);
      }
    }
    const std::vector<demux_test::PesPacket> theirs =
        demux_test::loadPackets(demux_test::refName(range, {"0x80", "ac3"}, "pes"));
    ASSERT_EQ(ours.size(), theirs.size());
    ASSERT_FALSE(ours.empty());
    for (std::size_t i = 0; i < ours.size(); ++i) {
      EXPECT_EQ(ours[i].size, theirs[i].size) << "packet " << i;
      EXPECT_EQ(ours[i].pts, theirs[i].pts) << "packet " << i;
    }
    return;
  }
  FAIL() << "the sample's references name no range vts.1.pgc.1";
}
