// Audio and subtitle tracks against libdvdread's reading of the same title
// sets and stream control tables (dvdread-facts.txt) of every sample disc.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/log_sink.h"
#include "dvdnav/stream_tracks.h"
#include "support/sample_facts.h"

using testing_support::LogSink;

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;
const std::vector<std::string> kDiscs = {"dvd", "dvd-branching", "dvd-streams", "dvd-titles"};

std::string lang(const std::array<char, 2>& code) { return std::string(code.begin(), code.end()); }

struct Loaded {
  LogSink sink;
  DvdTitleReader reader{sink.stream};
  explicit Loaded(const std::string& disc) { reader.openIfo(kSamples + "/" + disc + "/VIDEO_TS"); }
};

}  // namespace

// Track N is libdvdread's audio attribute record N - 1; a chain carries it
// when its control entry is marked available (0x8000), and plays the
// stream the entry's bits 10-8 (0x0700) give.
TEST(StreamTracks, AudioTracksAreLibdvdreadsControlEntries) {
  for (const std::string& disc : kDiscs) {
    Loaded disc_(disc);
    const auto facts = testing_support::loadFactsFile(kSamples + "/" + disc + "/dvdread-facts.txt");
    for (std::size_t s = 0; s < disc_.reader.titleSets.size(); ++s) {
      const auto& set = *disc_.reader.titleSets[s];
      const std::string vts = "vts." + std::to_string(disc_.reader.titleSetNumbers[s]) + ".";
      for (std::size_t p = 0; p < set.programchains.size(); ++p) {
        SCOPED_TRACE(disc + " " + vts + "pgc." + std::to_string(p + 1));
        auto tracks = dvdnav::audioTracks(set.attributes.title, set.programchains[p]);
        ASSERT_EQ(std::to_string(tracks.size()), facts.at(vts + "audio_streams"));
        for (const auto& track : tracks) {
          const std::string i = std::to_string(track.number - 1);
          EXPECT_EQ(lang(track.attributes.specificcode),
                    testing_support::factField(facts.at(vts + "audio." + i), "lang"));
          auto control = facts.find(vts + "pgc." + std::to_string(p + 1) + ".audio_control." + i);
          const unsigned long value =
              control == facts.end() ? 0ul : std::stoul(control->second, nullptr, 16);
          EXPECT_EQ(track.carried, (value & 0x8000) != 0);
          if (track.carried) {
            EXPECT_EQ(track.stream, static_cast<int>((value & 0x0700) >> 8));
          }
        }
      }
    }
  }
}

TEST(StreamTracks, SubtitleTracksAreLibdvdreadsControlEntries) {
  for (const std::string& disc : kDiscs) {
    Loaded disc_(disc);
    const auto facts = testing_support::loadFactsFile(kSamples + "/" + disc + "/dvdread-facts.txt");
    for (std::size_t s = 0; s < disc_.reader.titleSets.size(); ++s) {
      const auto& set = *disc_.reader.titleSets[s];
      const std::string vts = "vts." + std::to_string(disc_.reader.titleSetNumbers[s]) + ".";
      for (std::size_t p = 0; p < set.programchains.size(); ++p) {
        SCOPED_TRACE(disc + " " + vts + "pgc." + std::to_string(p + 1));
        auto tracks = dvdnav::subtitleTracks(set.attributes.title, set.programchains[p]);
        ASSERT_EQ(std::to_string(tracks.size()), facts.at(vts + "subp_streams"));
        for (const auto& track : tracks) {
          const std::string i = std::to_string(track.number - 1);
          EXPECT_EQ(lang(track.attributes.specificcode),
                    testing_support::factField(facts.at(vts + "subp." + i), "lang"));
          auto control = facts.find(vts + "pgc." + std::to_string(p + 1) + ".subp_control." + i);
          const unsigned long value =
              control == facts.end() ? 0ul : std::stoul(control->second, nullptr, 16);
          EXPECT_EQ(track.carried, (value & 0x80000000ul) != 0);
          if (!track.carried) continue;
          // libdvdread's masks: 4:3 0x1f000000, wide 0x001f0000,
          // letterbox 0x00001f00, pan-scan 0x0000001f.
          EXPECT_EQ(track.streams[0], static_cast<int>((value >> 24) & 0x1F));
          EXPECT_EQ(track.streams[1], static_cast<int>((value >> 16) & 0x1F));
          EXPECT_EQ(track.streams[2], static_cast<int>((value >> 8) & 0x1F));
          EXPECT_EQ(track.streams[3], static_cast<int>(value & 0x1F));
        }
      }
    }
  }
}

// The titles disc as its script authored it: track 1 (en) plays 0x81,
// track 2 (fr) 0x80, track 3 (de, MPEG audio) 0xC0 except in chain 4.
TEST(StreamTracks, TrackOrderIsNotTheStreamIdsOrder) {
  Loaded disc("dvd-titles");
  const auto& set = *disc.reader.titleSetInfo(1);
  auto tracks = dvdnav::audioTracks(set.attributes.title, set.programchains[0]);
  ASSERT_EQ(tracks.size(), 3u);
  EXPECT_EQ(tracks[0].streamId, 0x81);
  EXPECT_EQ(tracks[1].streamId, 0x80);
  EXPECT_EQ(tracks[2].streamId, 0xC0);
  EXPECT_STREQ(dvdnav::audioCodingName(tracks[2].attributes.codingmode), "mpeg1");
  auto chain4 = dvdnav::audioTracks(set.attributes.title, set.programchains[3]);
  EXPECT_FALSE(chain4[2].carried);
  EXPECT_EQ(chain4[2].streamId, -1);
}

// A 16:9 title shows the wide stream, a 4:3 title the 4:3 one; the other
// views stay reachable.
TEST(StreamTracks, SubtitleStreamFitsTheTitlesAspect) {
  Loaded titles("dvd-titles");
  const auto& wide = *titles.reader.titleSetInfo(1);
  EXPECT_EQ(dvdnav::defaultSubtitleView(wide.attributes.title.video), dvdnav::SubtitleView::Wide);
  auto tracks = dvdnav::subtitleTracks(wide.attributes.title, wide.programchains[0]);
  ASSERT_EQ(tracks.size(), 2u);
  EXPECT_EQ(dvdnav::subtitleStreamId(tracks[0], dvdnav::SubtitleView::Wide), 0x20);
  EXPECT_EQ(dvdnav::subtitleStreamId(tracks[0], dvdnav::SubtitleView::Letterbox), 0x21);
  EXPECT_EQ(dvdnav::subtitleStreamId(tracks[1], dvdnav::SubtitleView::Wide), 0x22);
  EXPECT_EQ(dvdnav::subtitleStreamId(tracks[1], dvdnav::SubtitleView::Letterbox), 0x23);
  EXPECT_FALSE(dvdnav::subtitleTracks(wide.attributes.title, wide.programchains[2])[0].carried);

  Loaded sample("dvd");
  const auto& standard = *sample.reader.titleSetInfo(1);
  EXPECT_EQ(dvdnav::defaultSubtitleView(standard.attributes.title.video),
            dvdnav::SubtitleView::Standard);
}
