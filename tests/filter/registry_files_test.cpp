// The text formats behind the Linux registry and INI files, and the Linux
// registry itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <fstream>

#include "filter/settings_store.h"
#include "platform/hive_file.h"
#include "platform/ini_text.h"
#include "support/registry_sandbox.h"
#include "support/scratch.h"

#ifndef _WIN32
#include <sys/stat.h>

#include <filesystem>

#include "diag/debug_log.h"
#include "platform/config_files.h"
#include "platform/registry.h"
#include "support/output_capture.h"
#endif

using testing::HasSubstr;
using testing::Not;

namespace hive = platform::hive;

TEST(HiveFile, ReadsEveryKindOfValue) {
  const char* text =
      "; a comment\n"
      "# another\n"
      "\n"
      "[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\n"
      "\"DvdReadMode\"=dword:00000001\n"
      "  \"DvdTitle\" = \"3\"  \n"
      "\"Blob\"=hex:01,02,ff\n"
      "\"Empty\"=hex:\n"
      "\"Quad\"=hex(b):01,00,00,00,00,00,00,00\n"
      "\"Esc \\\"q\\\"\"=\"a\\\\b\\n\\x41\"\n"
      "@=\"unnamed\"\r\n"
      "[Other\\Key]\n";
  hive::Document doc;
  hive::ParseError error;
  ASSERT_TRUE(hive::parse(text, &doc, &error)) << error.line << ": " << error.reason;
  ASSERT_EQ(doc.keys.size(), 2u);
  const hive::Key* key = hive::findKey(doc, "software\\ORMELUND\\trivane\\fennoria");
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(hive::findValue(*key, "dvdreadmode")->type, 4u);
  EXPECT_EQ(hive::findValue(*key, "dvdreadmode")->data, std::string("\x01\x00\x00\x00", 4));
  EXPECT_EQ(hive::findValue(*key, "DvdTitle")->type, 1u);
  EXPECT_EQ(hive::findValue(*key, "DvdTitle")->data, "3");
  EXPECT_EQ(hive::findValue(*key, "Blob")->type, 3u);
  EXPECT_EQ(hive::findValue(*key, "Blob")->data, "\x01\x02\xff");
  EXPECT_EQ(hive::findValue(*key, "Empty")->data, "");
  EXPECT_EQ(hive::findValue(*key, "Quad")->type, 11u);
  EXPECT_EQ(hive::findValue(*key, "Quad")->data.size(), 8u);
  EXPECT_EQ(hive::findValue(*key, "Esc \"q\"")->data, "a\\b\nA");
  EXPECT_EQ(hive::findValue(*key, "")->data, "unnamed");
}

TEST(HiveFile, RejectsMalformedLinesNamingTheLine) {
  const struct {
    const char* text;
    int line;
  } cases[] = {
      {"\"v\"=dword:1\n", 1},
      {"[Key]\nnot a value\n", 2},
      {"[Key]\n\"v\"=dword:123456789\n", 2},
      {"[Key]\n\"v\"=dword:xyz\n", 2},
      {"[Key]\n\"v\"=hex:1,2\n", 2},
      {"[Key]\n\"v\"=\"open\n", 2},
      {"[Key]\n\"v\"=\"bad \\q\"\n", 2},
      {"[Key\n", 1},
      {"[Key]\n\n\"v\"=word:1\n", 3},
      {"[Key]\n\"v\"\n", 2},
      {"\x7f\x45LF\x02\x01", 1},
      {"[Key]\n\"v\"=\"\\x4\"\n", 2},
      {"[Key]\n\"v\"=\"\\x", 2},
      {"[Key]\n\"v\"=hex:0", 2},
  };
  for (const auto& c : cases) {
    hive::Document doc;
    hive::ParseError error;
    EXPECT_FALSE(hive::parse(c.text, &doc, &error)) << c.text;
    EXPECT_EQ(error.line, c.line) << c.text;
    EXPECT_FALSE(error.reason.empty());
    EXPECT_TRUE(doc.keys.empty());
  }
}

TEST(HiveFile, WrittenTextReadsBackTheSame) {
  hive::Document doc;
  hive::Key& key = hive::addKey(doc, "\\A\\\\B\\");
  EXPECT_EQ(key.path, "A\\B");
  key.values.push_back({"Text", 1, "line\none \"two\" \\ \x01"});
  key.values.push_back({"Number", 4, std::string("\x78\x56\x34\x12", 4)});
  key.values.push_back({"Short", 4, std::string("\x01", 1)});
  key.values.push_back({"Bytes", 3, std::string("\x00\xff", 2)});
  key.values.push_back({"", 7, std::string("a\0b\0\0", 5)});
  key.values.push_back({"Zero in text", 1, std::string("a\0b", 3)});
  std::string text = hive::serialize(doc);
  EXPECT_THAT(text, HasSubstr("[A\\B]\n"));
  EXPECT_THAT(text, HasSubstr("\"Number\"=dword:12345678\n"));
  EXPECT_THAT(text, HasSubstr("\"Bytes\"=hex:00,ff\n"));
  EXPECT_THAT(text, HasSubstr("@=hex(7):61,00,62,00,00\n"));
  hive::Document again;
  ASSERT_TRUE(hive::parse(text, &again, nullptr));
  ASSERT_EQ(again.keys.size(), 1u);
  ASSERT_EQ(again.keys[0].values.size(), key.values.size());
  for (std::size_t i = 0; i < key.values.size(); ++i) {
    EXPECT_EQ(again.keys[0].values[i].name, key.values[i].name);
    EXPECT_EQ(again.keys[0].values[i].type, key.values[i].type);
    EXPECT_EQ(again.keys[0].values[i].data, key.values[i].data);
  }
}

TEST(HiveFile, ParentsOfStoredKeysExist) {
  hive::Document doc;
  hive::addKey(doc, "SOFTWARE\\DebugOrmelund\\GLOBAL");
  EXPECT_TRUE(hive::keyExists(doc, ""));
  EXPECT_TRUE(hive::keyExists(doc, "software"));
  EXPECT_TRUE(hive::keyExists(doc, "SOFTWARE\\debugormelund"));
  EXPECT_TRUE(hive::keyExists(doc, "SOFTWARE\\DebugOrmelund\\GLOBAL\\"));
  EXPECT_FALSE(hive::keyExists(doc, "SOFTWARE\\Debug"));
  EXPECT_FALSE(hive::keyExists(doc, "SOFTWARE\\DebugOrmelund\\GLOBAL\\More"));
}

TEST(IniText, LooksUpSectionsAndKeysWithoutRegardToCase) {
  std::string text = "; comment\n[One]\nkey = value \n[Two]\r\nKey=\"quoted\"\r\nother=1\n";
  std::string value;
  EXPECT_TRUE(platform::ini::lookup(text, "one", "KEY", &value));
  EXPECT_EQ(value, "value");
  EXPECT_TRUE(platform::ini::lookup(text, "TWO", "key", &value));
  EXPECT_EQ(value, "quoted");
  EXPECT_FALSE(platform::ini::lookup(text, "One", "other", &value));
  EXPECT_FALSE(platform::ini::lookup(text, "Three", "key", &value));
}

TEST(IniText, UpdateKeepsEveryOtherLine) {
  std::string text = "; keep me\n[One]\na=1\n\n[Two]\nb=2\n";
  std::string changed = platform::ini::update(text, "one", "A", "5");
  EXPECT_EQ(changed, "; keep me\n[One]\nA=5\n\n[Two]\nb=2\n");
  changed = platform::ini::update(changed, "One", "c", "3");
  EXPECT_EQ(changed, "; keep me\n[One]\nA=5\nc=3\n\n[Two]\nb=2\n");
  changed = platform::ini::update(changed, "Three", "d", "4");
  EXPECT_EQ(changed, "; keep me\n[One]\nA=5\nc=3\n\n[Two]\nb=2\n[Three]\nd=4\n");
  changed = platform::ini::update(changed, "One", "A", nullptr);
  EXPECT_EQ(changed, "; keep me\n[One]\nc=3\n\n[Two]\nb=2\n[Three]\nd=4\n");
  changed = platform::ini::update(changed, "Two", nullptr, nullptr);
  EXPECT_EQ(changed, "; keep me\n[One]\nc=3\n\n[Three]\nd=4\n");
}

#ifndef _WIN32

using platform::Hive;
using testing_support::RegistrySandbox;

namespace {
constexpr const char* kKey = "SOFTWARE\\Ormelund\\Trivane\\Fennoria";

void writeFile(const std::string& name, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(name).parent_path());
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  out << text;
}

// Sets an environment variable while it lives.
class EnvironmentValue {
 public:
  EnvironmentValue(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    if (old) old_ = old;
    had_ = old != nullptr;
    if (value)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  ~EnvironmentValue() {
    if (had_)
      setenv(name_, old_.c_str(), 1);
    else
      unsetenv(name_);
  }

 private:
  const char* name_;
  std::string old_;
  bool had_ = false;
};
}  // namespace

TEST(LinuxRegistry, DefaultLocationsFollowTheXdgConfigFolder) {
  EnvironmentValue config("FENNORIA_CONFIG_DIR", nullptr);
  EnvironmentValue user("FENNORIA_USER_HIVE", nullptr);
  EnvironmentValue machine("FENNORIA_MACHINE_HIVE", nullptr);
  {
    EnvironmentValue xdg("XDG_CONFIG_HOME", "/xdg/conf");
    EXPECT_EQ(platform::configFolder(), "/xdg/conf/fennoria");
    EXPECT_EQ(platform::userHivePath(), "/xdg/conf/fennoria/user.reg");
    EXPECT_EQ(platform::profileFilePath("Trivane.ini"), "/xdg/conf/fennoria/Trivane.ini");
  }
  {
    EnvironmentValue xdg("XDG_CONFIG_HOME", nullptr);
    EnvironmentValue home("HOME", "/home/someone");
    EXPECT_EQ(platform::userHivePath(), "/home/someone/.config/fennoria/user.reg");
  }
  EXPECT_EQ(platform::machineHivePath(), "/etc/fennoria/machine.reg");
  EnvironmentValue userSet("FENNORIA_USER_HIVE", "/tmp/u.reg");
  EnvironmentValue machineSet("FENNORIA_MACHINE_HIVE", "/tmp/m.reg");
  EnvironmentValue configSet("FENNORIA_CONFIG_DIR", "/tmp/conf");
  EXPECT_EQ(platform::userHivePath(), "/tmp/u.reg");
  EXPECT_EQ(platform::machineHivePath(), "/tmp/m.reg");
  EXPECT_EQ(platform::profileFilePath("Trivane.ini"), "/tmp/conf/Trivane.ini");
  EXPECT_EQ(platform::profileFilePath("/abs/x.ini"), "/abs/x.ini");
}

TEST(LinuxRegistry, HandWrittenHiveIsRead) {
  RegistrySandbox sandbox;
  writeFile(sandbox.userHive(),
            "[software\\ormelund\\trivane\\FENNORIA]\n"
            "\"dvdtitle\"=\"3\"\n"
            "\"DvdReadMode\"=dword:00000002\n");
  writeFile(sandbox.machineHive(), "[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\n\"DvdPgc\"=dword:5\n");
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 3);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdReadMode", 0), 2);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 0), 0);  // hidden by the user's key
}

TEST(LinuxRegistry, WrittenHiveIsReadableText) {
  RegistrySandbox sandbox;
  EXPECT_EQ(WriteSettingInt(kKey, "DvdTitle", 3), 3);
  EXPECT_EQ(WriteSettingString(kKey, "AudioFile", "c:/_audio.ac3"), 0);
  std::string text = testing_support::readWholeFile(sandbox.userHive());
  EXPECT_THAT(text, HasSubstr("[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\n"
                              "\"DvdTitle\"=dword:00000003\n"
                              "\"AudioFile\"=\"c:/_audio.ac3\"\n"));
  EXPECT_FALSE(std::ifstream(sandbox.machineHive()).good());
}

TEST(LinuxRegistry, WritesReplaceTheFileWholeAndLeaveNoTemporaryFile) {
  RegistrySandbox sandbox;
  writeFile(sandbox.userHive(), "; mine\n[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\n\"DvdPgc\"=dword:1\n");
  struct stat before;
  ASSERT_EQ(stat(sandbox.userHive().c_str(), &before), 0);
  EXPECT_EQ(WriteSettingInt(kKey, "DvdTitle", 4), 4);
  struct stat after;
  ASSERT_EQ(stat(sandbox.userHive().c_str(), &after), 0);
  EXPECT_NE(before.st_ino, after.st_ino);  // a new file renamed over the old
  for (const auto& entry : std::filesystem::directory_iterator(sandbox.configFolder())) {
    std::string leaf = entry.path().filename().string();
    EXPECT_TRUE(leaf == "user.reg" || leaf == "user.reg.lock") << leaf;
  }
  EXPECT_EQ(ReadSettingInt(kKey, "DvdPgc", 0), 1);
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 0), 4);
}

TEST(LinuxRegistry, CorruptUserHiveGivesTheDefaultsAndAClearLogLine) {
  RegistrySandbox sandbox;
  std::string garbage = "[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\n\"DvdTitle\"=dword:3\nthis is not a hive\n";
  writeFile(sandbox.userHive(), garbage);
  testing_support::DebuggerCapture stderrCapture;  // stderr on Linux
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);
  char buffer[16] = {};
  std::uint32_t size = sizeof buffer;
  EXPECT_EQ(ReadSettingString(kKey, "DvdTitle", buffer, &size), -1);
  EXPECT_EQ(WriteSettingInt(kKey, "DvdTitle", 9), 9);
  EXPECT_NE(WriteSettingString(kKey, "AudioFile", "x"), 0);
  std::string log = stderrCapture.text();
  EXPECT_THAT(log, HasSubstr("fennoria: registry file " + sandbox.userHive() +
                             " is corrupt at line 3"));
  EXPECT_THAT(log, HasSubstr("the defaults apply"));
  // Reported once, and the user's file is left as it was.
  EXPECT_EQ(log.find("is corrupt"), log.rfind("is corrupt"));
  EXPECT_EQ(testing_support::readWholeFile(sandbox.userHive()), garbage);
}

TEST(LinuxRegistry, CorruptUserHiveLetsTheMachineHiveBeRead) {
  RegistrySandbox sandbox;
  writeFile(sandbox.userHive(), std::string("\0\1\2binary", 9));
  writeFile(sandbox.machineHive(), "[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\n\"DvdTitle\"=dword:2\n");
  testing_support::DebuggerCapture stderrCapture;
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 2);
  EXPECT_THAT(stderrCapture.text(), HasSubstr("is corrupt at line 1"));
}

TEST(LinuxRegistry, UnreadableHiveGivesTheDefaults) {
  RegistrySandbox sandbox;
  std::filesystem::create_directories(sandbox.userHive());  // a folder where the file should be
  testing_support::DebuggerCapture stderrCapture;
  EXPECT_EQ(ReadSettingInt(kKey, "DvdTitle", 1), 1);
  EXPECT_THAT(stderrCapture.text(), HasSubstr(sandbox.userHive() + " cannot be read"));
}

TEST(LinuxRegistry, CorruptMachineHiveLeavesTheDebugLogAtItsDefaults) {
  RegistrySandbox sandbox;
  writeFile(sandbox.machineHive(), "[SOFTWARE\\DebugOrmelund\\GLOBAL]\n\"TRACE\"=dword:\n");
  testing_support::DebuggerCapture stderrCapture;
  diag::DebugLog log("corrupt.ax");
  log.initialise(nullptr);
  EXPECT_FALSE(log.loggingOn());
  EXPECT_EQ(log.level(1), 0u);
  std::string text = stderrCapture.text();
  EXPECT_THAT(text, HasSubstr("is corrupt at line 2"));
  EXPECT_THAT(text, HasSubstr("corrupt.ax - no logging\r\n\r\n"));
  EXPECT_EQ(testing_support::readWholeFile(sandbox.machineHive()),
            "[SOFTWARE\\DebugOrmelund\\GLOBAL]\n\"TRACE\"=dword:\n");
}

TEST(LinuxRegistry, DebugLogTreeLivesInTheMachineHive) {
  RegistrySandbox sandbox;
  testing_support::DebuggerCapture stderrCapture;
  diag::DebugLog log("tree.ax");
  log.initialise(nullptr);
  std::string text = testing_support::readWholeFile(sandbox.machineHive());
  EXPECT_THAT(text, HasSubstr("[SOFTWARE\\DebugOrmelund\\tree.ax]\n\"TIMING\"=dword:00000000\n"));
  EXPECT_THAT(text, HasSubstr("\"LogToFile\"=\"\"\n"));
  EXPECT_THAT(text, HasSubstr("[SOFTWARE\\DebugOrmelund\\GLOBAL]\n"));
  EXPECT_FALSE(std::ifstream(sandbox.userHive()).good());
}

TEST(LinuxRegistry, KeysOpenAndCloseLikeRegistryHandles) {
  RegistrySandbox sandbox;
  platform::RegKey key = platform::kNoKey;
  EXPECT_EQ(platform::regOpenKey(Hive::CurrentUser, "A\\B", platform::RegAccess::Read, &key),
            platform::kRegNotFound);
  ASSERT_EQ(platform::regCreateKey(Hive::CurrentUser, "A\\B", &key), platform::kRegOk);
  std::uint32_t type = 0;
  char data[8];
  std::uint32_t size = sizeof data;
  EXPECT_EQ(platform::regQueryValue(key, "v", &type, data, &size), platform::kRegNotFound);
  EXPECT_EQ(platform::regSetValue(key, "v", platform::kRegSz, "hello", 6), platform::kRegOk);
  size = 3;
  EXPECT_EQ(platform::regQueryValue(key, "v", &type, data, &size), platform::kRegMoreData);
  EXPECT_EQ(size, 6u);
  size = 5;  // room for the text but not for its end
  EXPECT_EQ(platform::regQueryValue(key, "v", &type, data, &size), platform::kRegOk);
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(std::string(data, 5), "hello");
  size = 0;
  EXPECT_EQ(platform::regQueryValue(key, "v", &type, nullptr, &size), platform::kRegOk);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(type, platform::kRegSz);
  EXPECT_EQ(platform::regCloseKey(key), platform::kRegOk);
  EXPECT_EQ(platform::regCloseKey(key), platform::kRegInvalidHandle);
  EXPECT_EQ(platform::regOpenKey(Hive::CurrentUser, "a", platform::RegAccess::Read, &key),
            platform::kRegOk);
  EXPECT_EQ(platform::regCloseKey(key), platform::kRegOk);
}

#endif  // !_WIN32
