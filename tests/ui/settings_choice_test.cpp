// The Settings page's choices against the settings store: what the next
// connection uses, what "Save as default" writes, and which stored values
// win over an applied choice. The values are read and written beside the
// store, in a registry of the test's own.
#include "ui/settings_choice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/registry_sandbox.h"

using platform::Hive;
using testing::ElementsAre;
using testing_support::dwordOf;
using testing_support::RegistrySandbox;

namespace {

constexpr const char* kKey = "SOFTWARE\\Ormelund\\Trivane\\Fennoria";

SettingsChoice heldChoice() {
  SettingsChoice held;
  held.readMode = 2;
  held.titleSet = 3;
  held.pgc = 4;
  held.audioNumber = 1;
  held.playbackOrder = 0;
  held.standardReads = 1;
  held.keptAudio = 1;
  held.keptAudioType = 2;
  held.audioTracks = 1;
  return held;
}

class SettingsChoiceTest : public testing::Test {
 protected:
  RegistrySandbox sandbox;
};

}  // namespace

TEST_F(SettingsChoiceTest, StoredSettingsAreTheOnesTheFilterReadsAtConnection) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < kStoredSettingCount; ++i) names.emplace_back(kStoredSettings[i].name);
  EXPECT_THAT(names, ElementsAre("DvdReadMode", "DvdTitle", "DvdPgc", "DvdAudio",
                                 "DvdPlaybackOrder", "StandardReads"));
}

TEST_F(SettingsChoiceTest, WithNothingStoredTheHeldChoiceIsTheEffectiveOne) {
  EXPECT_TRUE(effectiveChoice(heldChoice()) == heldChoice());
}

TEST_F(SettingsChoiceTest, EachStoredValueWinsOverTheHeldOne) {
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdReadMode", 1);
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdPgc", 0);
  sandbox.setString(Hive::CurrentUser, kKey, "DvdPlaybackOrder", "1");
  const SettingsChoice effective = effectiveChoice(heldChoice());
  EXPECT_EQ(effective.readMode, 1);
  EXPECT_EQ(effective.titleSet, 3);
  EXPECT_EQ(effective.pgc, 0);
  EXPECT_EQ(effective.audioNumber, 1);
  EXPECT_EQ(effective.playbackOrder, 1);
  EXPECT_EQ(effective.standardReads, 1);
  // What is not stored anywhere stays as the pin holds it.
  EXPECT_EQ(effective.keptAudio, 1);
  EXPECT_EQ(effective.audioTracks, 1);
}

// As the filter reads: the current user's key, when it exists, hides the
// machine's.
TEST_F(SettingsChoiceTest, MachineValuesCountOnlyWithoutAUserKey) {
  sandbox.setDword(Hive::LocalMachine, kKey, "DvdTitle", 7);
  EXPECT_EQ(effectiveChoice(heldChoice()).titleSet, 7);
  sandbox.createKey(Hive::CurrentUser, kKey);
  EXPECT_EQ(effectiveChoice(heldChoice()).titleSet, 3);
}

TEST_F(SettingsChoiceTest, SaveAsDefaultWritesEveryStoredSettingForTheUser) {
  saveAsDefault(heldChoice());
  const std::pair<const char*, std::uint32_t> expected[] = {
      {"DvdReadMode", 2}, {"DvdTitle", 3},         {"DvdPgc", 4},
      {"DvdAudio", 1},    {"DvdPlaybackOrder", 0}, {"StandardReads", 1}};
  for (const auto& e : expected) {
    auto stored = sandbox.value(Hive::CurrentUser, kKey, e.first);
    ASSERT_TRUE(stored.has_value()) << e.first;
    EXPECT_EQ(stored->type, platform::kRegDword) << e.first;
    EXPECT_EQ(dwordOf(*stored), e.second) << e.first;
  }
  EXPECT_EQ(sandbox.valueNames(Hive::CurrentUser, kKey).size(), 6u);
  EXPECT_FALSE(sandbox.keyExists(Hive::LocalMachine, kKey));
  // And the filter's reading of them gives the choice back.
  SettingsChoice other;
  EXPECT_TRUE(effectiveChoice(other).readMode == 2 && effectiveChoice(other).pgc == 4);
}

TEST_F(SettingsChoiceTest, StoredValuesThatDifferFromTheAppliedOnesAreNamed) {
  EXPECT_TRUE(storedOverrides(heldChoice()).empty());
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdTitle", 3);  // the same: no override
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdPgc", 0);
  sandbox.setDword(Hive::CurrentUser, kKey, "StandardReads", 0);
  EXPECT_THAT(storedOverrides(heldChoice()), ElementsAre("DvdPgc", "StandardReads"));
}

TEST_F(SettingsChoiceTest, ChoicesAreEqualOnlyWhenEveryPartIs) {
  const SettingsChoice base = heldChoice();
  EXPECT_TRUE(base == heldChoice());
  SettingsChoice other = base;
  other.keptAudioType = 0;
  EXPECT_TRUE(base != other);
  other = base;
  other.standardReads = 0;
  EXPECT_TRUE(base != other);
  other = base;
  other.audioTracks = 2;
  EXPECT_FALSE(base == other);
}
