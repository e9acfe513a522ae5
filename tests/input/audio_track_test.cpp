// Keeping one audio track of a disc title: the stream the chains' control
// tables give it is kept, every other audio pack dropped, whatever its
// coding; and the pack test that does it for DTS and LPCM tracks.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/log_sink.h"
#include "support/packs.h"

using testing_support::LogSink;
using testing_support::makePack;

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;

// The audio stream of a pack's first packet: 0xBDnn for a private stream 1
// substream, 0xCn for MPEG audio, 0 for anything else.
int audioOf(const std::uint8_t* pack) {
  const std::uint8_t* pes = pack + 14 + (pack[13] & 7);
  const int id = pes[3];
  if ((id & 0xE0) == 0xC0) return id;
  if (id != 0xBD) return 0;
  const int substream = pes[9 + pes[8]];
  const bool audio = (substream >= 0x80 && substream <= 0x8F) || (substream >= 0xA0 && substream <= 0xA7);
  return audio ? 0xBD00 | substream : 0;
}

// How many packs of each audio stream the whole selection holds, after the
// reader's audio choice.
std::map<int, int> audioPacks(DvdTitleReader& reader) {
  std::map<int, int> counts;
  std::vector<std::uint8_t> buffer(64 * 2048);
  for (;;) {
    std::int32_t got = reader.readSectors(buffer.data(), static_cast<std::int32_t>(buffer.size()));
    if (got <= 0) break;
    std::int32_t kept = reader.filterSectors(buffer.data(), got / 2048, DvdTitleReader::Refused::Dropped);
    for (std::int32_t i = 0; i < kept; ++i)
      if (int audio = audioOf(buffer.data() + 2048 * i)) ++counts[audio];
  }
  return counts;
}

struct Disc {
  LogSink sink;
  DvdTitleReader reader{sink.stream};
  explicit Disc(const std::string& name) { reader.openIfo(kSamples + "/" + name + "/VIDEO_TS"); }
};

}  // namespace

// The titles disc: track 1 (en) plays 0x81, track 2 (fr) 0x80, track 3
// (de) MPEG audio 0xC0, across both chains of title 1.
TEST(DvdTitleReaderAudioTrack, KeepsTheStreamTheControlTableNames) {
  Disc all("dvd-titles");
  ASSERT_EQ(all.reader.selectTitle(1, 0, 0), 0);
  const std::map<int, int> unfiltered = audioPacks(all.reader);
  ASSERT_GT(unfiltered.at(0xBD81), 0);
  ASSERT_GT(unfiltered.at(0xBD80), 0);
  ASSERT_GT(unfiltered.at(0xC0), 0);
  const std::vector<std::pair<int, int>> cases = {{1, 0xBD81}, {2, 0xBD80}, {3, 0xC0}};
  for (const auto& [track, stream] : cases) {
    SCOPED_TRACE(track);
    Disc disc("dvd-titles");
    ASSERT_EQ(disc.reader.selectTitle(1, 0, 0), 0);
    ASSERT_EQ(disc.reader.selectAudioTrack(track), 0);
    EXPECT_EQ(audioPacks(disc.reader), (std::map<int, int>{{stream, unfiltered.at(stream)}}));
  }
}

// DTS and LPCM tracks of the streams disc: one substream kept, the others
// (DTS, both LPCM) dropped.
TEST(DvdTitleReaderAudioTrack, KeepsOneDtsOrLpcmSubstream) {
  Disc all("dvd-streams");
  ASSERT_EQ(all.reader.selectTitle(1, 0, 0), 0);
  const std::map<int, int> unfiltered = audioPacks(all.reader);
  ASSERT_EQ(unfiltered.size(), 3u);
  for (const auto& [track, stream] : std::vector<std::pair<int, int>>{{1, 0xBD88}, {2, 0xBDA1}, {3, 0xBDA2}}) {
    SCOPED_TRACE(track);
    Disc disc("dvd-streams");
    ASSERT_EQ(disc.reader.selectTitle(1, 0, 0), 0);
    ASSERT_EQ(disc.reader.selectAudioTrack(track), 0);
    EXPECT_EQ(audioPacks(disc.reader), (std::map<int, int>{{stream, unfiltered.at(stream)}}));
  }
}

// A program chain selected by number resolves the track through its own
// control table.
TEST(DvdTitleReaderAudioTrack, ResolvesThroughASelectedProgramChain) {
  Disc disc("dvd-titles");
  disc.reader.selectTitleSet(1, 1);
  ASSERT_EQ(disc.reader.selectProgramChain(2), 0);
  ASSERT_EQ(disc.reader.selectAudioTrack(1), 0);
  const std::map<int, int> kept = audioPacks(disc.reader);
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(kept.begin()->first, 0xBD81);
}

TEST(DvdTitleReaderAudioTrack, TrackTheChainLeavesOutIsRefused) {
  Disc disc("dvd-titles");
  ASSERT_EQ(disc.reader.selectTitle(3, 0, 0), 0);
  EXPECT_EQ(disc.reader.selectAudioTrack(3), 1);
  EXPECT_TRUE(disc.sink.has(1, "audio track 3 is not played here (the tracks: 1 en, 2 fr)"));
  EXPECT_EQ(disc.reader.selectAudioTrack(4), 1);
  EXPECT_LT(disc.reader.audioSelect, 0);
  // Nothing filtered: every stream is still there.
  EXPECT_EQ(audioPacks(disc.reader).size(), 2u);
}

TEST(DvdTitleReaderAudioTrack, OneSubstreamModeDropsEveryOtherAudioPack) {
  Disc disc("dvd");
  disc.reader.audioSelect = 0;
  disc.reader.setAudio(DvdTitleReader::kAudioOneSubstream, 0xA1);
  auto passes = [&](testing_support::PackLayout layout) {
    std::string pack = makePack(layout);
    return disc.reader.checkPacks(reinterpret_cast<std::uint8_t*>(pack.data()), 1);
  };
  EXPECT_TRUE(passes({0xBD, 0xA1}));
  EXPECT_FALSE(passes({0xBD, 0xA0}));
  EXPECT_FALSE(passes({0xBD, 0x88}));
  EXPECT_FALSE(passes({0xBD, 0x80}));
  EXPECT_FALSE(passes({0xC0}));
  EXPECT_TRUE(passes({0xBD, 0x20}));  // subpictures stay
  EXPECT_TRUE(passes({0xE0}));
  disc.reader.setAudio(DvdTitleReader::kAudioOneSubstream, 0x89);
  EXPECT_TRUE(passes({0xBD, 0x89}));
  EXPECT_FALSE(passes({0xBD, 0x88}));
  EXPECT_FALSE(passes({0xBD, 0xA1}));
}
