#include "extract/first_timestamps.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "demux/demux_packs.h"

using demux_test::ac3Payload;
using demux_test::makePack;
using demux_test::Packet;

namespace {

std::optional<std::int64_t> firstOf(const std::string& packs, int key) {
  FirstTimestamps stamps;
  stamps.scan(reinterpret_cast<const std::uint8_t*>(packs.data()), packs.size() / 2048);
  return stamps.first(key);
}

}  // namespace

TEST(FirstTimestamps, TakesTheFirstStampOfEachStream) {
  std::string packs = makePack(Packet(0xE0, {}, {}, "no stamp")) +
                      makePack(Packet(0xE0, 9000, 6000, "video")) +
                      makePack(Packet(0xBD, 8100, {}, ac3Payload(0x81, "audio"))) +
                      makePack(Packet(0xC2, 0x1FFFFFFFFull, {}, "mpeg")) +
                      makePack(Packet(0xE1, 1, {}, "second video stream, later")) +
                      makePack(Packet(0xBD, 1, {}, ac3Payload(0x81, "later")));
  EXPECT_EQ(firstOf(packs, FirstTimestamps::video), 9000);
  EXPECT_EQ(firstOf(packs, FirstTimestamps::ac3(1)), 8100);
  EXPECT_EQ(firstOf(packs, FirstTimestamps::mpegAudio(2)), 0x1FFFFFFFFll);
  EXPECT_EQ(firstOf(packs, FirstTimestamps::ac3(0)), std::nullopt);
}

TEST(FirstTimestamps, StampsCarriedOverManyScansKeepTheFirst) {
  FirstTimestamps stamps;
  std::string a = makePack(Packet(0xE0, 500, {}, "a"));
  std::string b = makePack(Packet(0xE0, 400, {}, "b"));
  stamps.scan(reinterpret_cast<const std::uint8_t*>(a.data()), 1);
  stamps.scan(reinterpret_cast<const std::uint8_t*>(b.data()), 1);
  EXPECT_EQ(stamps.first(FirstTimestamps::video), 500);
}

TEST(FirstTimestamps, PacketRunningPastItsPackIsPassedOver) {
  Packet video(0xE0, 9000, {}, "video");
  video.pesLength = 4000;
  EXPECT_EQ(firstOf(makePack(video), FirstTimestamps::video), std::nullopt);
}

TEST(FirstTimestamps, HeaderTooShortForItsStampIsPassedOver) {
  Packet video(0xE0, 9000, {}, "video");
  video.headerLength = 3;
  EXPECT_EQ(firstOf(makePack(video), FirstTimestamps::video), std::nullopt);
}

TEST(FirstTimestamps, MpegOnePackIsPassedOver) {
  std::string pack = makePack(Packet(0xE0, 9000, {}, "video"));
  pack[4] = 0x21;  // an MPEG-1 pack header starts 0010
  EXPECT_EQ(firstOf(pack, FirstTimestamps::video), std::nullopt);
}

TEST(FirstTimestamps, PrivateStreamWithoutRoomForItsSubstreamIsPassedOver) {
  Packet audio(0xBD, 8100, {}, "");
  audio.pesLength = 3 + 5;  // the header and its stamp, no substream byte
  EXPECT_EQ(firstOf(makePack(audio), FirstTimestamps::ac3(0)), std::nullopt);
}

TEST(FirstTimestamps, DelayRoundsHalvesAwayFromZero) {
  EXPECT_EQ(delayMilliseconds(9045, 9000), 1);   // 0.5 ms
  EXPECT_EQ(delayMilliseconds(9044, 9000), 0);
  EXPECT_EQ(delayMilliseconds(8955, 9000), -1);  // -0.5 ms
  EXPECT_EQ(delayMilliseconds(8956, 9000), 0);
  EXPECT_EQ(delayMilliseconds(0, 90000), -1000);
}

// The last packet of a pack claims a PTS whose five bytes would lie past
// the pack: nothing is taken, and no byte after the pack is read (the pack
// stands alone in a buffer of its own, which the sanitized build watches).
TEST(FirstTimestamps, StampThatWouldPassThePacksEndIsNotRead) {
  std::string bytes = makePack(Packet(0xE0, {}, {}, ""));
  const std::size_t last = 2048 - 9;
  const std::size_t filler = last - 14 - 6;
  bytes.replace(14, 6, std::string("\x00\x00\x01\xBE", 4) + static_cast<char>(filler >> 8) +
                           static_cast<char>(filler & 0xFF));
  bytes.replace(last, 9, std::string("\x00\x00\x01\xE0\x00\x03\x81\x80\x0A", 9));
  auto pack = std::make_unique<std::uint8_t[]>(2048);
  std::memcpy(pack.get(), bytes.data(), 2048);
  FirstTimestamps stamps;
  stamps.scan(pack.get(), 1);
  EXPECT_EQ(stamps.first(FirstTimestamps::video), std::nullopt);
}
