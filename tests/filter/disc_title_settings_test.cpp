// The filter's opt-in disc title settings: read from the store, absent or
// 0 leaving the specified selection alone, and applied to a title reader as
// the filter's configuration applies them.
#include <gtest/gtest.h>

#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/log_sink.h"
#include "filter/disc_title_settings.h"
#include "support/registry_sandbox.h"
#include "support/sample_facts.h"
#include "support/sha256.h"

using testing_support::LogSink;
using testing_support::RegistrySandbox;

namespace {

constexpr const char* kKey = "SOFTWARE\\Ormelund\\Trivane\\Fennoria";
const std::string kSamples = FENNORIA_SAMPLES_DIR;

std::string readAll(DvdTitleReader& reader) {
  std::string bytes;
  std::vector<std::uint8_t> buffer(32 * 2048);
  for (;;) {
    std::int32_t got = reader.readSectors(buffer.data(), static_cast<std::int32_t>(buffer.size()));
    if (got <= 0) break;
    std::int32_t kept = reader.filterSectors(buffer.data(), got / 2048, DvdTitleReader::Refused::Dropped);
    bytes.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(kept) * 2048);
  }
  return bytes;
}

class DiscTitleSettingsTest : public ::testing::Test {
 protected:
  void set(const char* name, std::uint32_t value) {
    sandbox.setDword(platform::Hive::CurrentUser, kKey, name, value);
  }
  RegistrySandbox sandbox;
  LogSink sink;
  DvdTitleReader reader{sink.stream};
};

}  // namespace

TEST_F(DiscTitleSettingsTest, AbsentSettingsChooseNothing) {
  DiscTitleSettings s = DiscTitleSettings::read();
  EXPECT_FALSE(s.choosesTitle());
  EXPECT_EQ(s.firstChapter, 0);
  EXPECT_EQ(s.lastChapter, 0);
  EXPECT_EQ(s.audioTrack, 0);
  // Nothing is selected and the reader's audio choice stays unfiltered.
  ASSERT_EQ(reader.openIfo(kSamples + "/dvd-titles/VIDEO_TS"), 0);
  EXPECT_FALSE(selectDiscTitle(s, reader));
  selectDiscAudioTrack(s, reader);
  EXPECT_EQ(reader.vobStream, nullptr);
  EXPECT_LT(reader.audioSelect, 0);
}

TEST_F(DiscTitleSettingsTest, ReadsTheFourValues) {
  set("DvdTitleNumber", 2);
  set("DvdChapterFirst", 1);
  set("DvdChapterLast", 2);
  set("DvdAudioTrack", 3);
  DiscTitleSettings s = DiscTitleSettings::read();
  EXPECT_EQ(s.title, 2);
  EXPECT_EQ(s.firstChapter, 1);
  EXPECT_EQ(s.lastChapter, 2);
  EXPECT_EQ(s.audioTrack, 3);
  // A title outside 1-99 names none; negative numbers count as 0.
  set("DvdTitleNumber", 100);
  set("DvdChapterFirst", 0xFFFFFFFF);
  EXPECT_FALSE(DiscTitleSettings::read().choosesTitle());
  EXPECT_EQ(DiscTitleSettings::read().firstChapter, 0);
}

// Chapters 2-5 of the titles disc's title 1 with its first audio track
// (0x81): libdvdnav's blocks of those chapters, less the other audio packs.
TEST_F(DiscTitleSettingsTest, TitleChaptersAndTrackSelectTheReader) {
  set("DvdTitleNumber", 1);
  set("DvdChapterFirst", 2);
  set("DvdChapterLast", 5);
  ASSERT_EQ(reader.openIfo(kSamples + "/dvd-titles/VIDEO_TS"), 0);
  DiscTitleSettings s = DiscTitleSettings::read();
  ASSERT_TRUE(selectDiscTitle(s, reader));
  const auto facts = testing_support::loadFactsFile(kSamples + "/dvd-titles/dvdnav-blocks.txt");
  const std::string whole = readAll(reader);
  EXPECT_EQ(testing_support::sha256Hex(whole),
            testing_support::factField(facts.at("title.1.chapters.2-5"), "sha256"));

  set("DvdAudioTrack", 1);
  s = DiscTitleSettings::read();
  ASSERT_TRUE(selectDiscTitle(s, reader));
  selectDiscAudioTrack(s, reader);
  EXPECT_GE(reader.audioSelect, 0);
  const std::string kept = readAll(reader);
  EXPECT_LT(kept.size(), whole.size());
  EXPECT_GT(kept.size(), 0u);
}
