#include <gtest/gtest.h>

#include <sstream>

#include "dvdnav/ifo_parser.h"
#include "dvdnav/ifo_builder.h"

using namespace dvdnav;
using testing_support::Bytes;

namespace {
VideoManagerInfo parseVmg(const Bytes& vmg) {
  VideoManagerInfo info;
  std::ostringstream log;
  parseVideoManager(IfoBytes(vmg.data().data(), vmg.size()), info, log);
  return info;
}
}  // namespace

TEST(AudioAttributes, SamplingFrequencyBitsAreNotDecoded) {
  const std::uint8_t field[8] = {0x00, 0x31, 'e', 'n', 0, 1, 0, 0};  // freq bits 0x30 set
  AudioAttributes audio = decodeAudioAttributes(field);
  EXPECT_EQ(audio.freq, 0);
  EXPECT_EQ(audio.channels, 2);
  EXPECT_EQ(audio.quant, 0);
  EXPECT_EQ(audio.specificcode[0], 'e');
  EXPECT_EQ(audio.specificcode[1], 'n');
  EXPECT_EQ(audio.ext, 1);
}

TEST(AudioAttributes, CodingModeTypeAndQuantisation) {
  const std::uint8_t field[8] = {0xC4, 0x85, 'd', 'e', 0, 3, 0, 0};
  AudioAttributes audio = decodeAudioAttributes(field);
  EXPECT_EQ(audio.codingmode, 6);
  EXPECT_EQ(audio.type, 1);
  EXPECT_EQ(audio.quant, 2);
  EXPECT_EQ(audio.channels, 6);
}

TEST(SubpictureAttributes, ModeTypeCodeAndExtension) {
  const std::uint8_t field[6] = {0x21, 0, 'f', 'r', 0, 9};
  SubpictureAttributes sub = decodeSubpictureAttributes(field);
  EXPECT_EQ(sub.mode, 1);
  EXPECT_EQ(sub.type, 1);
  EXPECT_EQ(sub.specificcode[0], 'f');
  EXPECT_EQ(sub.ext, 9);
}

TEST(VideoAttributes, BitFieldsOfTheFirstByte) {
  VideoAttributes video = decodeVideoAttributes(0x5D);  // 01 01 11 01
  EXPECT_EQ(video.videocompressionmode, 1);
  EXPECT_EQ(video.tvsystem, 1);
  EXPECT_EQ(video.aspectratio, 3);
  EXPECT_EQ(video.displaymode, 1);
}

// The second byte: line-21 and bit-rate flags (bits 7-4), the picture size
// (bits 3-2), letterbox and film mode (bits 1-0).
TEST(VideoAttributes, PictureSizeOfTheSecondByte) {
  EXPECT_EQ(decodeVideoAttributes(0x5D, 0x0C).picturesize, 3);
  EXPECT_EQ(decodeVideoAttributes(0x5D, 0x04).picturesize, 1);
  EXPECT_EQ(decodeVideoAttributes(0x5D, 0xF3).picturesize, 0);
}

// The dump's `freq` stays 0; the tool reads the bits from `samplingcode`.
TEST(AudioAttributes, SamplingFrequencyCodeForTheTool) {
  const std::uint8_t at96[8] = {0x80, 0x11, 'e', 'n', 0, 0, 0, 0};
  const std::uint8_t at48[8] = {0x80, 0xC7, 'e', 'n', 0, 0, 0, 0};
  EXPECT_EQ(decodeAudioAttributes(at96).samplingcode, 1);
  EXPECT_EQ(decodeAudioAttributes(at96).freq, 0);
  EXPECT_EQ(decodeAudioAttributes(at48).samplingcode, 0);
}

TEST(PlaybackTime, RateCodeTenCountsAt25FramesPerSecond) {
  const std::uint8_t time[4] = {0x00, 0x00, 0x02, 0x80};
  EXPECT_EQ(playbackFrameRate(0x80), 25);
  EXPECT_EQ(playbackTimeToFrames(time), 50);
}

TEST(PlaybackTime, OnlyRateCodeElevenIs30) {
  EXPECT_EQ(playbackFrameRate(0x00), 25);
  EXPECT_EQ(playbackFrameRate(0x40), 25);
  EXPECT_EQ(playbackFrameRate(0xC0), 30);
  const std::uint8_t time[4] = {0x01, 0x02, 0x03, 0xD9};  // 1:02:03 + 19 frames at 30
  EXPECT_EQ(playbackTimeToFrames(time), (3600 + 120 + 3) * 30 + 19);
}

TEST(NavCommand, FieldsOfTheEightBytes) {
  const std::uint8_t field[8] = {0x71, 0xA3, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
  NavCommand command = decodeNavCommand(field);
  EXPECT_EQ(command.cmdtype, 3);
  EXPECT_TRUE(command.direct);
  EXPECT_EQ(command.set, 1);
  EXPECT_TRUE(command.dirCmp);
  EXPECT_EQ(command.cmp, 2);
  EXPECT_EQ(command.cmd, 3);
  EXPECT_EQ(command.op1, 0x1234);
  EXPECT_EQ(command.op2, 0x5678);
  EXPECT_EQ(command.op3, 0x9ABC);
}

TEST(CellPlayback, FlagsSectorsAndTime) {
  std::uint8_t field[24] = {0x0B, 0, 5, 2, 0x00, 0x01, 0x00, 0xC5};
  field[11] = 10;
  field[15] = 11;
  field[19] = 12;
  field[23] = 13;
  CellPlayback cell = decodeCellPlayback(field);
  EXPECT_EQ(cell.seamlessplayback, 1);
  EXPECT_EQ(cell.stcdiscontinuity, 1);
  EXPECT_EQ(cell.seamlessanglechange, 1);
  EXPECT_EQ(cell.stilltime, 5);
  EXPECT_EQ(cell.commandnumber, 2);
  EXPECT_EQ(cell.startcfvobu, 10);
  EXPECT_EQ(cell.endcfilvu, 11);
  EXPECT_EQ(cell.startclvobu, 12);
  EXPECT_EQ(cell.endclvobu, 13);
  EXPECT_EQ(cell.framerate, 30);
  EXPECT_EQ(cell.numframes, 60 * 30 + 5);
}

TEST(VideoManagerInfo, NumtitlesKeepsTheLowSixBits) {
  Bytes vmg = testing_support::videoManager(1, 0x41);
  VideoManagerInfo info = parseVmg(vmg);
  EXPECT_EQ(info.numtitles, 1);
}

TEST(VideoManagerInfo, ProviderIdOf32BytesIsWhole) {
  Bytes vmg = testing_support::videoManager(1);
  vmg.text(0x40, std::string(32, 'P'));
  vmg.u8(0x60, 'X');  // the byte after the field
  VideoManagerInfo info = parseVmg(vmg);
  EXPECT_EQ(info.providerid, std::string(32, 'P'));
}

TEST(VideoManagerInfo, ProviderIdEndsAtTheFirstNul) {
  Bytes vmg = testing_support::videoManager(1);
  vmg.text(0x40, std::string("Studio") + '\0' + "junk");
  VideoManagerInfo info = parseVmg(vmg);
  EXPECT_EQ(info.providerid, "Studio");
}

TEST(VideoManagerInfo, SummaryFields) {
  Bytes vmg = testing_support::videoManager(2);
  vmg.u8(0x21, 0x11);
  vmg.u8(0x23, 0xFE);
  vmg.u16(0x26, 2);
  vmg.u16(0x28, 1);
  vmg.u8(0x2A, 0xF1);
  VideoManagerInfo info = parseVmg(vmg);
  EXPECT_EQ(info.version, 0x11);
  EXPECT_EQ(info.region, 0xFE);
  EXPECT_EQ(info.numvolumes, 2);
  EXPECT_EQ(info.volume, 1);
  EXPECT_EQ(info.diskside, 1);
  EXPECT_EQ(info.vobsize, 0);
  ASSERT_EQ(info.titles.size(), 2u);
  EXPECT_EQ(info.titles[1].vtsnumber, 2);
}

TEST(TitleSetInfo, SizesStayZero) {
  Bytes vts = testing_support::titleSet({});
  vts.u32(0xC0, 5);
  vts.u32(0xC4, 9);
  vts.u8(0x25, 0xF3);
  TitleSetInfo info;
  std::ostringstream log;
  parseTitleSet(IfoBytes(vts.data().data(), vts.size()), info, log);
  EXPECT_EQ(info.menuvobsize, 0);
  EXPECT_EQ(info.titlevobsize, 0);
  EXPECT_EQ(info.numvobs, 0);
  EXPECT_EQ(info.startvstsmvobs, 5);
  EXPECT_EQ(info.startvststvobs, 9);
  EXPECT_EQ(info.applicationtype, 3);
}
