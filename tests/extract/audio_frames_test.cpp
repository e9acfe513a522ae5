// Frame lengths read from real streams: the references that ffmpeg wrote
// for the sample discs are whole frames from their first byte on, so the
// walk must land exactly on each file's end; a cut frame at either end is
// left out.
#include "extract/audio_frames.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/scratch.h"

using testing_support::readWholeFile;
namespace fs = std::filesystem;

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;

FrameSpan framesOf(AudioCoding coding, const std::string& bytes) {
  return wholeFrames(coding, reinterpret_cast<const std::uint8_t*>(bytes.data()),
                     static_cast<std::int64_t>(bytes.size()));
}

// The references of one kind: ffmpeg's copies of the sample discs' streams.
std::vector<std::string> references(const std::string& disc, const std::string& extension) {
  std::vector<std::string> found;
  for (const auto& e : fs::directory_iterator(kSamples + "/" + disc + "/refs"))
    if (e.path().extension() == extension) found.push_back(e.path().string());
  return found;
}

struct Kind {
  AudioCoding coding;
  const char* disc;
  const char* extension;
};
const Kind kKinds[] = {{AudioCoding::Ac3, "dvd", ".ac3"},
                       {AudioCoding::MpegAudio, "dvd", ".mp2"},
                       {AudioCoding::Dts, "dvd-streams", ".dts"}};

}  // namespace

TEST(AudioFrames, FfmpegsCopiesAreWholeFramesEndToEnd) {
  for (const Kind& kind : kKinds) {
    const std::vector<std::string> files = references(kind.disc, kind.extension);
    ASSERT_FALSE(files.empty()) << kind.extension;
    for (const std::string& file : files) {
      SCOPED_TRACE(file);
      const std::string bytes = readWholeFile(file);
      const FrameSpan span = framesOf(kind.coding, bytes);
      EXPECT_EQ(span.start, 0);
      EXPECT_EQ(span.end, static_cast<std::int64_t>(bytes.size()));
    }
  }
}

TEST(AudioFrames, CutFramesAtBothEndsAreLeftOut) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.extension);
    const std::string bytes = readWholeFile(references(kind.disc, kind.extension).front());
    const std::int64_t first = *audioFrameLength(
        kind.coding, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    // The last 5 bytes of the first frame before, the first 7 of a frame after.
    const std::string cut = bytes.substr(static_cast<std::size_t>(first) - 5) + bytes.substr(0, 7);
    const FrameSpan span = framesOf(kind.coding, cut);
    EXPECT_EQ(span.start, 5);
    EXPECT_EQ(span.end, static_cast<std::int64_t>(cut.size()) - 7);
  }
}

TEST(AudioFrames, BytesWithoutAFrameHoldNone) {
  const std::string noise(5000, '\x55');
  for (AudioCoding coding : {AudioCoding::Ac3, AudioCoding::Dts, AudioCoding::MpegAudio}) {
    const FrameSpan span = framesOf(coding, noise);
    EXPECT_EQ(span.end - span.start, 0);
  }
  EXPECT_EQ(framesOf(AudioCoding::Ac3, "").end, 0);
}

// A sync word inside the data of a cut frame is not taken for a frame
// unless another frame follows it, one frame length on.
TEST(AudioFrames, SyncWordInsideACutFrameIsNotAStart) {
  const std::string ac3 = readWholeFile(references("dvd", ".ac3").front());
  // 0x0B 0x77 with a valid header byte (48 kHz, 384-byte frames), then data.
  const std::string fake = std::string("\x0B\x77\x00\x00\x0C", 5) + std::string(20, '\x11');
  const std::string cut = fake + ac3;
  const FrameSpan span = framesOf(AudioCoding::Ac3, cut);
  EXPECT_EQ(span.start, static_cast<std::int64_t>(fake.size()));
  EXPECT_EQ(span.end, static_cast<std::int64_t>(cut.size()));
}

TEST(AudioFrames, CuttingAFileMovesItsWholeFramesToTheFrontAndRebasesItsTiming) {
  testing_support::ScratchDir dir;
  const std::string ac3 = readWholeFile(references("dvd", ".ac3").front());
  const std::int64_t frame =
      *audioFrameLength(AudioCoding::Ac3, reinterpret_cast<const std::uint8_t*>(ac3.data()), 8);
  const std::string file = dir.write("a.ac3", std::string(100, '\x22') + ac3 + ac3.substr(0, 10));
  const std::string timing = dir.write(
      "a.ac3.timing", "50 1 1\r\n100 3600 3600\r\n" + std::to_string(100 + frame) +
                          " 7200 7200\r\n" + std::to_string(100 + ac3.size()) + " 9 9\r\n");
  ASSERT_TRUE(cutToWholeFrames(AudioCoding::Ac3, file, timing));
  EXPECT_TRUE(readWholeFile(file) == ac3);
  EXPECT_EQ(readWholeFile(timing),
            "0 3600 3600\r\n" + std::to_string(frame) + " 7200 7200\r\n");
}
