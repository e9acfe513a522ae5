#include "filter/settings_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <fstream>
#include <thread>

#include "support/open_handles.h"
#include "support/registry_sandbox.h"
#include "support/scratch.h"

#ifdef _WIN32
#include <windows.h>
#endif

using platform::Hive;
using testing::HasSubstr;
using testing_support::dwordOf;
using testing_support::RegistrySandbox;
using testing_support::textOf;

namespace {

constexpr const char* kKey = "SOFTWARE\\Ormelund\\Trivane\\Fennoria";

class SettingsStoreTest : public ::testing::Test {
 protected:
  RegistrySandbox sandbox;
};

// Switches the store to its INI back end on a file of the test's own.
class IniSettingsTest : public ::testing::Test {
 protected:
  IniSettingsTest() {
    settingsSource = 0;
#ifdef _WIN32
    iniName = sandbox.scratch().path("Trivane.ini");
    settingsIniFile = iniName.c_str();
#else
    iniName = sandbox.configFolder() + "/Trivane.ini";
#endif
  }
  ~IniSettingsTest() override {
    settingsSource = 1;
    settingsIniFile = kSettingsIniName;
  }
  void writeIni(const std::string& text) {
    std::ofstream out(iniName, std::ios::binary | std::ios::trunc);
    out << text;
  }

  RegistrySandbox sandbox;
  std::string iniName;
};

}  // namespace

TEST(SettingsStore, RegistryIsTheBackEndInUse) {
  EXPECT_EQ(settingsSource, 1);
  EXPECT_STREQ(settingsIniFile, "Trivane.ini");
  EXPECT_STREQ(kSettingsKeyPath, kKey);
}

TEST_F(SettingsStoreTest, RegSzThreeReadsThree) {
  sandbox.setString(Hive::CurrentUser, kKey, "DvdTitle", "3");
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 3);
}

TEST_F(SettingsStoreTest, RegSzWithoutLeadingDigitsReadsZero) {
  sandbox.setString(Hive::CurrentUser, kKey, "DvdTitle", "abc");
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 0);
  sandbox.setString(Hive::CurrentUser, kKey, "DvdTitle", "");
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 0);
}

TEST_F(SettingsStoreTest, BinaryValueReadsTheDefault) {
  sandbox.setRaw(Hive::CurrentUser, kKey, "DvdTitle", platform::kRegBinary,
                 std::string("\x03\x00\x00\x00", 4));
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", -5), -5);
}

TEST_F(SettingsStoreTest, OtherTypesReadTheDefault) {
  sandbox.setRaw(Hive::CurrentUser, kKey, "DvdPgc", 11 /* REG_QWORD */, std::string(8, '\x02'));
  sandbox.setRaw(Hive::CurrentUser, kKey, "DvdAudio", 7 /* REG_MULTI_SZ */, std::string("4\0\0", 3));
  EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 9), 9);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdAudio", 9), 9);
}

TEST_F(SettingsStoreTest, RegSzFollowsTheDecimalRules) {
  const struct {
    const char* text;
    std::int32_t expected;
  } cases[] = {
      {"  42", 42},         {"-17", -17},       {"+8", 8},         {"12abc", 12},
      {"7 8", 7},           {"- 5", 0},         {"0x10", 0},       {"\t\n 9", 9},
      {"2147483647", INT_MAX}, {"-2147483648", INT_MIN},
      {"99999999999999999999", INT_MAX}, {"-99999999999999999999", INT_MIN},
  };
  for (const auto& c : cases) {
    sandbox.setString(Hive::CurrentUser, kKey, "DvdTitle", c.text);
    EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), c.expected) << '"' << c.text << '"';
  }
}

TEST_F(SettingsStoreTest, DwordIsReturnedAsItIs) {
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdReadMode", 2);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 0), 2);
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdReadMode", 0xFFFFFFFFu);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 0), -1);
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdReadMode", 0);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 5), 0);
}

TEST_F(SettingsStoreTest, ShortDwordReadsZeroExtended) {
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdTitle", 0x7F7F7F7F);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 0), 0x7F7F7F7F);
  sandbox.setRaw(Hive::CurrentUser, kKey, "DvdPgc", platform::kRegDword, std::string("\x05\x01", 2));
  EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 0), 0x0105);
}

TEST_F(SettingsStoreTest, MissingKeyOrValueGivesTheDefault) {
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);
  sandbox.createKey(Hive::CurrentUser, kKey);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 4), 4);
  EXPECT_FALSE(sandbox.value(Hive::CurrentUser, kKey, "DvdTitle"));  // reads write nothing
}

TEST_F(SettingsStoreTest, CurrentUserKeyWithoutTheValueHidesTheMachineValue) {
  sandbox.setDword(Hive::LocalMachine, kKey, "DvdReadMode", 1);
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdTitle", 2);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 0), 0);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 2);
}

TEST_F(SettingsStoreTest, MachineValueIsReadWhenTheCurrentUserHasNoKey) {
  sandbox.setDword(Hive::LocalMachine, kKey, "DvdReadMode", 1);
  sandbox.setString(Hive::LocalMachine, kKey, "DvdTitle", "6");
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 0), 1);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 6);
  // A current user's key elsewhere does not matter.
  sandbox.setDword(Hive::CurrentUser, "SOFTWARE\\Ormelund\\Trivane\\Other", "DvdReadMode", 0);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 0), 1);
}

TEST_F(SettingsStoreTest, KeyPathsAndValueNamesIgnoreCase) {
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdTitle", 8);
  EXPECT_EQ(ReadSettingInt("software\\ormelund\\TRIVANE\\fennoria", "DVDTITLE", 1), 8);
}

TEST_F(SettingsStoreTest, WriteSettingIntOnAMissingKeyCreatesItUnderTheCurrentUser) {
  ASSERT_FALSE(sandbox.keyExists(Hive::CurrentUser, kKey));
  EXPECT_EQ(WriteSettingInt(kKey, "DvdPgc", 4), 4);
  auto stored = sandbox.value(Hive::CurrentUser, kKey, "DvdPgc");
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->type, platform::kRegDword);
  EXPECT_EQ(dwordOf(*stored), 4u);
  EXPECT_FALSE(sandbox.keyExists(Hive::LocalMachine, kKey));
  EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 0), 4);
}

TEST_F(SettingsStoreTest, WriteSettingIntGoesToTheCurrentUserEvenWhenOnlyTheMachineHasTheKey) {
  sandbox.setDword(Hive::LocalMachine, kKey, "DvdAudio", 3);
  EXPECT_EQ(WriteSettingInt(kKey, "DvdAudio", -2), -2);
  EXPECT_EQ(dwordOf(*sandbox.value(Hive::LocalMachine, kKey, "DvdAudio")), 3u);
  EXPECT_EQ(dwordOf(*sandbox.value(Hive::CurrentUser, kKey, "DvdAudio")), 0xFFFFFFFEu);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdAudio", 0), -2);
}

TEST_F(SettingsStoreTest, WriteSettingIntReplacesAValueOfAnotherType) {
  sandbox.setString(Hive::CurrentUser, kKey, "DvdTitle", "12");
  EXPECT_EQ(WriteSettingInt(kKey, "DvdTitle", 5), 5);
  auto stored = sandbox.value(Hive::CurrentUser, kKey, "DvdTitle");
  EXPECT_EQ(stored->type, platform::kRegDword);
  EXPECT_EQ(dwordOf(*stored), 5u);
}

TEST_F(SettingsStoreTest, RegSzFillingTheWholeBufferIsReadWithoutOverrun) {
  // 512 characters with no terminating zero: exactly the size of the buffer.
  // The Linux registry hands them over as they are, and the number must be
  // read from them without looking further. Wine's registry refuses a string
  // that leaves no room for its end, so the default applies there.
  sandbox.setRaw(Hive::CurrentUser, kKey, "DvdTitle", platform::kRegSz, std::string(512, '7'));
  sandbox.setRaw(Hive::CurrentUser, kKey, "DvdPgc", platform::kRegSz,
                 std::string(510, ' ') + std::string("42"));
#ifdef _WIN32
  EXPECT_THAT(ReadSettingInt(kKey, "DvdTitle", 1), testing::AnyOf(1, INT_MAX));
  EXPECT_THAT(ReadSettingInt(kKey, "DvdPgc", 1), testing::AnyOf(1, 42));
#else
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), INT_MAX);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 1), 42);
#endif
  // One byte less: room for the end everywhere.
  sandbox.setRaw(Hive::CurrentUser, kKey, "DvdTitle", platform::kRegSz, std::string(511, '7'));
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), INT_MAX);
  // Too long for the buffer: the read fails and the default applies.
  sandbox.setString(Hive::CurrentUser, kKey, "DvdAudio", std::string(600, '1'));
  EXPECT_EQ(ReadSettingInt(kKey, "DvdAudio", 3), 3);
}

TEST_F(SettingsStoreTest, ReadSettingStringReadsTheCurrentUserElseTheMachine) {
  sandbox.setString(Hive::LocalMachine, kKey, "AudioFile", "c:/machine.ac3");
  char buffer[64] = {};
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), 0);
  EXPECT_STREQ(buffer, "c:/machine.ac3");
  EXPECT_EQ(size, std::strlen("c:/machine.ac3") + 1);

  sandbox.setString(Hive::CurrentUser, kKey, "AudioFile", "c:/user.ac3");
  size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), 0);
  EXPECT_STREQ(buffer, "c:/user.ac3");
}

TEST_F(SettingsStoreTest, ReadSettingStringFailsWithoutKeyOrValue) {
  char buffer[16] = "untouched";
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), -1);
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdTitle", 1);
  sandbox.setString(Hive::LocalMachine, kKey, "AudioFile", "hidden");
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), -1);
  EXPECT_STREQ(buffer, "untouched");
}

TEST_F(SettingsStoreTest, ReadSettingStringFailsWhenTheBufferIsTooSmall) {
  sandbox.setString(Hive::CurrentUser, kKey, "AudioFile", "c:/_audio.ac3");
  char buffer[8] = {};
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), -1);
}

TEST_F(SettingsStoreTest, ReadSettingStringEndsUnterminatedDataInsideTheBuffer) {
  sandbox.setRaw(Hive::CurrentUser, kKey, "AudioFile", platform::kRegSz, "abc");
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), 0);
  EXPECT_STREQ(buffer, "abc");
  // Exactly as long as the buffer: no room for the end, so it did not fit.
  // (The Linux registry hands the three bytes over; the store then ends the
  // buffer inside itself. Wine's registry refuses the read.)
  char tight[3];
  std::memset(tight, 'x', sizeof tight);
  size = sizeof tight;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", tight, &size), -1);
#ifndef _WIN32
  EXPECT_EQ(tight[2], '\0');
#endif
}

TEST_F(SettingsStoreTest, ReadSettingStringWithoutBufferOrSizeFails) {
  sandbox.setString(Hive::CurrentUser, kKey, "AudioFile", "x");
  char buffer[4];
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", nullptr, &size), -1);
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, nullptr), -1);
}

TEST_F(SettingsStoreTest, WriteSettingStringStoresTextUnderTheCurrentUser) {
  EXPECT_EQ(WriteSettingString(kKey, "AudioFile", "c:/_audio.ac3"), 0);
  auto stored = sandbox.value(Hive::CurrentUser, kKey, "AudioFile");
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->type, platform::kRegSz);
  EXPECT_EQ(textOf(*stored), "c:/_audio.ac3");
  EXPECT_FALSE(sandbox.keyExists(Hive::LocalMachine, kKey));
  char buffer[32] = {};
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), 0);
  EXPECT_STREQ(buffer, "c:/_audio.ac3");
}

TEST_F(SettingsStoreTest, WriteSettingStringWithoutTextFailsAndWritesNothing) {
  EXPECT_NE(WriteSettingString(kKey, "AudioFile", nullptr), 0);
  EXPECT_FALSE(sandbox.keyExists(Hive::CurrentUser, kKey));
}

TEST_F(SettingsStoreTest, ReadsNeverWrite) {
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);
  char buffer[8] = {};
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), -1);
  EXPECT_FALSE(sandbox.keyExists(Hive::CurrentUser, kKey));
  EXPECT_FALSE(sandbox.keyExists(Hive::LocalMachine, kKey));
}

#ifndef _WIN32
// On Linux a user hive that cannot be written (its folder is a file here, so
// this holds even for root) makes the writes fail quietly.
TEST_F(SettingsStoreTest, WriteFailureIsSwallowedOrReported) {
  std::string blocker = sandbox.scratch().write("blocker", "a file, not a folder");
  setenv("FENNORIA_USER_HIVE", (blocker + "/user.reg").c_str(), 1);
  EXPECT_EQ(WriteSettingInt(kKey, "DvdTitle", 7), 7);
  EXPECT_NE(WriteSettingString(kKey, "AudioFile", "x"), 0);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);
}
#else
// On Windows the current user's root is mapped onto a key that has been
// deleted, so no key can be opened or created under it.
TEST_F(SettingsStoreTest, WriteFailureIsSwallowedOrReported) {
  sandbox.createKey(Hive::CurrentUser, "Doomed");
  HKEY doomed = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Doomed", 0, KEY_ALL_ACCESS, &doomed), ERROR_SUCCESS);
  ASSERT_EQ(RegDeleteKeyA(HKEY_CURRENT_USER, "Doomed"), ERROR_SUCCESS);
  ASSERT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, doomed), ERROR_SUCCESS);
  int written = WriteSettingString(kKey, "AudioFile", "x");
  std::int32_t returned = WriteSettingInt(kKey, "DvdTitle", 7);
  std::int32_t read = ReadSettingInt(kKey, "DvdTitle", 1);
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegCloseKey(doomed);
  EXPECT_NE(written, 0);
  EXPECT_EQ(returned, 7);
  EXPECT_EQ(read, 1);
}
#endif

TEST_F(IniSettingsTest, ReadsIntegersFromTheKeyPathSection) {
  writeIni("[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\nDvdTitle=3\nDvdPgc= -2 \nDvdAudio=abc\n"
           "[Other]\nDvdReadMode=1\n");
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 3);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 1), -2);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdAudio", 1), 0);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 9), 9);
  EXPECT_EQ(ReadSettingInt("Other", "DvdReadMode", 9), 1);
}

TEST_F(IniSettingsTest, MissingFileGivesTheDefaults) {
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);
  char buffer[200] = "fallback";
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, nullptr), 8);
  EXPECT_STREQ(buffer, "fallback");
}

TEST_F(IniSettingsTest, ReadStringUsesTheBufferAsTheDefaultAndReturnsTheCount) {
  writeIni("[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\nAudioFile=d:/out.ac3\n");
  char buffer[200] = "c:/_audio.ac3";
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, nullptr), 10);
  EXPECT_STREQ(buffer, "d:/out.ac3");
  char other[200] = "c:/_audio.ac3";
  EXPECT_EQ(ReadSettingString(kKey, "SubFile", other, nullptr), 13);
  EXPECT_STREQ(other, "c:/_audio.ac3");
}

TEST_F(IniSettingsTest, ReadStringStopsAtTwoHundredBytes) {
  std::string longText(300, 'z');
  writeIni("[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\nAudioFile=" + longText + "\n");
  char buffer[400];
  std::memset(buffer, 'q', sizeof buffer);
  buffer[0] = '\0';
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, nullptr), 199);
  EXPECT_EQ(std::string(buffer), std::string(199, 'z'));
  EXPECT_EQ(buffer[200], 'q');
}

TEST_F(IniSettingsTest, ReadStringStaysWithinAGivenSmallerSize) {
  writeIni("[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\nAudioFile=c:/a/long/name.ac3\n");
  char buffer[12];
  std::memset(buffer, 'q', sizeof buffer);
  buffer[0] = '\0';
  std::uint32_t size = 8;
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, &size), 7);
  EXPECT_STREQ(buffer, "c:/a/lo");
  EXPECT_EQ(buffer[8], 'q');
}

TEST_F(IniSettingsTest, WriteStringWritesTheSectionAndReturnsTheProfileResult) {
  EXPECT_NE(WriteSettingString(kKey, "AudioFile", "e:/a.ac3"), 0);
  std::string text = testing_support::readWholeFile(iniName);
  EXPECT_THAT(text, HasSubstr("[SOFTWARE\\Ormelund\\Trivane\\Fennoria]"));
  EXPECT_THAT(text, HasSubstr("AudioFile=e:/a.ac3"));
  char buffer[200] = {};
  EXPECT_EQ(ReadSettingString(kKey, "AudioFile", buffer, nullptr), 8);
  EXPECT_STREQ(buffer, "e:/a.ac3");
  EXPECT_NE(WriteSettingString(kKey, "DvdTitle", "4"), 0);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 4);
}

TEST_F(IniSettingsTest, WriteSettingIntNeverWritesTheIniFile) {
  EXPECT_EQ(WriteSettingInt(kKey, "DvdTitle", 6), 6);
  EXPECT_FALSE(std::ifstream(iniName).good());
  EXPECT_EQ(dwordOf(*sandbox.value(Hive::CurrentUser, kKey, "DvdTitle")), 6u);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);  // the INI file has none
}

// The real file name, in the platform's place for profile files.
TEST_F(IniSettingsTest, TrivaneIniLivesInThePlatformsProfileFolder) {
  settingsIniFile = kSettingsIniName;
#ifdef _WIN32
  char folder[MAX_PATH] = {};
  GetWindowsDirectoryA(folder, MAX_PATH);
  std::string expected = std::string(folder) + "\\Trivane.ini";
#else
  std::string expected = sandbox.configFolder() + "/Trivane.ini";
#endif
  const char* section = "SOFTWARE\\Ormelund\\Trivane\\Fennoria\\LocationCheck";
  EXPECT_NE(WriteSettingString(section, "DvdTitle", "11"), 0);
  std::string text = testing_support::readWholeFile(expected);
#ifdef _WIN32
  WritePrivateProfileStringA(section, nullptr, nullptr, "Trivane.ini");
#endif
  EXPECT_THAT(text, HasSubstr("[SOFTWARE\\Ormelund\\Trivane\\Fennoria\\LocationCheck]"));
  EXPECT_THAT(text, HasSubstr("DvdTitle=11"));
}

// Filters of different graphs read their settings at the same time: each
// read gets its own value, whatever the other thread reads.
TEST_F(SettingsStoreTest, ConcurrentReadersEachGetTheirOwnValue) {
  sandbox.setDword(Hive::CurrentUser, kKey, "DvdTitle", 0x11111111);
  sandbox.setString(Hive::CurrentUser, kKey, "DvdPgc", "2222");
  int wrongTitles = 0, wrongPgcs = 0;
  std::thread titles([&] {
    for (int i = 0; i < 3000; ++i)
      if (ReadSettingInt(kKey, "DvdTitle", -1) != 0x11111111) ++wrongTitles;
  });
  std::thread pgcs([&] {
    for (int i = 0; i < 3000; ++i)
      if (ReadSettingInt(kKey, "DvdPgc", -1) != 2222) ++wrongPgcs;
  });
  titles.join();
  pgcs.join();
  EXPECT_EQ(wrongTitles, 0);
  EXPECT_EQ(wrongPgcs, 0);
}

#ifdef _WIN32
// Settings are read at every connection and every start: a read that finds
// the key but not the value must not leave the key open in the host.
TEST_F(SettingsStoreTest, ReadsOfMissingValuesLeaveNoKeyOpen) {
  WriteSettingInt(kKey, "DvdTitle", 3);
  const unsigned before = testing_support::openHandleCount();
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 7), 7);
    char text[16] = "";
    std::uint32_t size = sizeof text;
    EXPECT_EQ(ReadSettingString(kKey, "DvdAudioFile", text, &size), -1);
  }
  EXPECT_EQ(testing_support::openHandleCount(), before);
}
#endif
