// The extraction engine over hand-built packs: every output is shown the
// same packs, the delays come from the first time stamps, and what cannot go
// on names its output.
#include "extract/extraction.h"

#include <gtest/gtest.h>

#include <string>

#include "demux/demux_packs.h"
#include "support/scratch.h"

using demux_test::ac3Payload;
using demux_test::makePack;
using demux_test::Packet;
using demux_test::plainBytes;
using testing_support::readWholeFile;
using testing_support::ScratchDir;

namespace {

const std::uint8_t* bytesOf(const std::string& s) {
  return reinterpret_cast<const std::uint8_t*>(s.data());
}

// A DTS packet's payload: substream, frame count and first access unit
// pointer, then the frames.
std::string dtsPayload(unsigned substream, const std::string& data) {
  return std::string(1, static_cast<char>(substream)) + std::string("\x01\x00\x01", 3) + data;
}

class ExtractionTest : public testing::Test {
 protected:
  ScratchDir dir;
  Extraction extraction{4096};
};

}  // namespace

TEST_F(ExtractionTest, EveryOutputTakesItsStreamFromTheSamePacks) {
  const std::string ac3a = plainBytes(700, 1), ac3b = plainBytes(500, 2);
  const std::string dtsa = plainBytes(800, 3), dtsb = plainBytes(300, 4);
  const std::string packs = makePack(Packet(0xBD, 9000, {}, ac3Payload(0x81, ac3a))) +
                            makePack(Packet(0xBD, 9000, {}, dtsPayload(0x88, dtsa))) +
                            makePack(Packet(0xE0, 8000, {}, plainBytes(900, 5))) +
                            makePack(Packet(0xBD, 12000, {}, ac3Payload(0x81, ac3b))) +
                            makePack(Packet(0xBD, 12000, {}, dtsPayload(0x88, dtsb)));
  extraction.add({StreamKind::Ac3, 1, "a.ac3"}, dir.path("a.ac3"), false);
  extraction.add({StreamKind::Dts, 0, "d.dts"}, dir.path("d.dts"), false);
  // In two feeds, the second starting with the third pack.
  extraction.feed(bytesOf(packs), 2 * 2048);
  extraction.feed(bytesOf(packs) + 2 * 2048, 3 * 2048);
  extraction.finish();
  EXPECT_FALSE(extraction.writeFailed());
  EXPECT_EQ(extraction.trailingBytes(), 0u);
  EXPECT_EQ(readWholeFile(dir.path("a.ac3")), ac3a + ac3b);
  EXPECT_EQ(readWholeFile(dir.path("d.dts")), dtsa + dtsb);
}

TEST_F(ExtractionTest, DelaysAreEachAudioStreamsFirstStampLessTheVideos) {
  const std::string packs = makePack(Packet(0xE0, 90000, {}, plainBytes(100))) +
                            makePack(Packet(0xBD, 90900, {}, ac3Payload(0x80, plainBytes(100)))) +
                            makePack(Packet(0xC1, 89000, {}, plainBytes(100))) +
                            makePack(Packet(0xE0, 1, {}, plainBytes(100)));
  extraction.add({StreamKind::Ac3, 0, "a.ac3"}, dir.path("a.ac3"), false);
  extraction.add({StreamKind::MpegAudio, 1, "m.mp2"}, dir.path("m.mp2"), false);
  extraction.add({StreamKind::Lpcm, 2, "l.wav"}, dir.path("l.wav"), false);
  extraction.add({StreamKind::Subpicture, 0, "s.sup"}, dir.path("s.sup"), false);
  extraction.feed(bytesOf(packs), packs.size());
  extraction.finish();
  const std::vector<Extraction::Delay> delays = extraction.delays();
  ASSERT_EQ(delays.size(), 3u);
  EXPECT_EQ(delays[0].name, "a.ac3");
  EXPECT_EQ(delays[0].milliseconds, 10);
  EXPECT_EQ(delays[1].name, "m.mp2");
  EXPECT_EQ(delays[1].milliseconds, -11);
  EXPECT_EQ(delays[2].name, "l.wav");
  EXPECT_FALSE(delays[2].milliseconds);
  EXPECT_EQ(delays[2].unknownBecause, "no time stamp of this stream");
}

TEST_F(ExtractionTest, WithoutVideoStampNoDelayIsKnown) {
  const std::string pack = makePack(Packet(0xBD, 900, {}, ac3Payload(0x80, plainBytes(100))));
  extraction.add({StreamKind::Ac3, 0, "a.ac3"}, dir.path("a.ac3"), false);
  extraction.feed(bytesOf(pack), pack.size());
  extraction.finish();
  ASSERT_EQ(extraction.delays().size(), 1u);
  EXPECT_EQ(extraction.delays()[0].unknownBecause, "no video time stamp");
}

TEST_F(ExtractionTest, BytesAfterTheLastWholePackAreTold) {
  const std::string packs = makePack(Packet(0xBD, 900, {}, ac3Payload(0x80, plainBytes(100)))) +
                            makePack(Packet(0xBD, 1800, {}, ac3Payload(0x80, plainBytes(50))));
  extraction.add({StreamKind::Ac3, 0, "a.ac3"}, dir.path("a.ac3"), false);
  extraction.feed(bytesOf(packs), 2048 + 100);
  EXPECT_EQ(extraction.trailingBytes(), 100u);
  extraction.finish();
  EXPECT_EQ(readWholeFile(dir.path("a.ac3")), plainBytes(100));
}

TEST_F(ExtractionTest, LpcmStreamThatChangesFormatNamesItsOutput) {
  // An LPCM header after the substream, frame count and pointer: emphasis,
  // mute and frame number; quantization, frequency and channels; range.
  auto lpcm = [](unsigned quantizationAndRate) {
    return std::string("\xA0\x01\x00\x01\x00", 5) +
           static_cast<char>(quantizationAndRate) + std::string("\x80", 1) + plainBytes(400);
  };
  const std::string packs = makePack(Packet(0xBD, 900, {}, lpcm(0x01))) +
                            makePack(Packet(0xBD, 1800, {}, lpcm(0x11)));
  extraction.add({StreamKind::Lpcm, 0, "pcm.wav"}, dir.path("pcm.wav"), false);
  try {
    extraction.feed(bytesOf(packs), packs.size());
    FAIL() << "the format change went unnoticed";
  } catch (const ExtractionError& error) {
    EXPECT_EQ(error.file, "pcm.wav");
    EXPECT_NE(std::string(error.what()).find("pack 1"), std::string::npos) << error.what();
  }
}

TEST_F(ExtractionTest, VobSubTimesCountFromTheVideosFirstStamp) {
  const std::string packs =
      makePack(Packet(0xE0, 90000, {}, plainBytes(100))) +
      makePack(Packet(0xBD, 90000 + 90 * 1500, {}, demux_test::subpicturePayload(0x21, "sp")));
  VobSubIndex index;
  index.number = 1;
  extraction.addVobSub("v.sub", dir.path("v.idx"), dir.path("v.sub"), index);
  extraction.feed(bytesOf(packs), packs.size());
  extraction.finish();
  const std::string idx = readWholeFile(dir.path("v.idx"));
  EXPECT_NE(idx.find("timestamp: 00:00:01:500, filepos: 000000000"), std::string::npos) << idx;
  EXPECT_EQ(readWholeFile(dir.path("v.sub")), packs.substr(2048));
}
