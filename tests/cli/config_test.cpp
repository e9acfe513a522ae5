// fennoria config on hive files of the test's own.
#include <gtest/gtest.h>

#include "cli/tool_runner.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::readWholeFile;
using testing_support::ScratchDir;

namespace {

class ToolConfig : public testing::Test {
 protected:
  Result config(const std::vector<std::string>& args) {
    std::vector<std::string> all = {"config"};
    all.insert(all.end(), args.begin(), args.end());
    return runTool(all, "", "",
                   "FENNORIA_USER_HIVE=" + quote(dir.path("user.reg")) +
                       " FENNORIA_MACHINE_HIVE=" + quote(dir.path("machine.reg")) +
                       " FENNORIA_CONFIG_DIR=" + quote(dir.root()));
  }
  ScratchDir dir;
};

}  // namespace

TEST_F(ToolConfig, SetGetUnsetAFilterSetting) {
  Result run = config({"get", "DvdTitle"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("DvdTitle: not set"), std::string::npos) << run.err;

  ASSERT_EQ(config({"set", "DvdTitle", "2"}).status, 0);
  std::string hive = readWholeFile(dir.path("user.reg"));
  EXPECT_NE(hive.find("[SOFTWARE\\Ormelund\\Trivane\\Fennoria]"), std::string::npos) << hive;
  EXPECT_NE(hive.find("\"DvdTitle\"=dword:00000002"), std::string::npos) << hive;
  run = config({"get", "dvdtitle"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "2\n");
  run = config({"list"});
  EXPECT_EQ(run.out, "DvdTitle=2\n");

  ASSERT_EQ(config({"unset", "DvdTitle"}).status, 0);
  EXPECT_EQ(readWholeFile(dir.path("user.reg")).find("DvdTitle"), std::string::npos);
  EXPECT_EQ(config({"get", "DvdTitle"}).status, 1);
}

TEST_F(ToolConfig, MachineValueShowsOnlyWithoutTheUsersKey) {
  dir.write("machine.reg", "[SOFTWARE\\Ormelund\\Trivane\\Fennoria]\n\"DvdPgc\"=dword:00000003\n");
  EXPECT_EQ(config({"get", "DvdPgc"}).out, "3\n");
  ASSERT_EQ(config({"set", "DvdAudio", "1"}).status, 0);
  // The current user's key now exists and hides the machine's.
  EXPECT_EQ(config({"get", "DvdPgc"}).status, 1);
}

TEST_F(ToolConfig, DebugLogValuesGoToTheMachineHive) {
  ASSERT_EQ(config({"set", "log.fennoria.dll.TRACE", "2"}).status, 0);
  ASSERT_EQ(config({"set", "log.fennoria.dll.LogToFile", "/tmp/fennoria.log"}).status, 0);
  std::string hive = readWholeFile(dir.path("machine.reg"));
  EXPECT_NE(hive.find("[SOFTWARE\\DebugOrmelund\\fennoria.dll]"), std::string::npos) << hive;
  EXPECT_NE(hive.find("\"TRACE\"=dword:00000002"), std::string::npos) << hive;
  EXPECT_NE(hive.find("\"LogToFile\"=\"/tmp/fennoria.log\""), std::string::npos) << hive;
  EXPECT_EQ(config({"get", "log.fennoria.dll.LogToFile"}).out, "/tmp/fennoria.log\n");
  EXPECT_EQ(config({"set", "log.GLOBAL.TRACE", "many"}).status, 2);
}

TEST_F(ToolConfig, CorruptHiveIsNotOverwritten) {
  dir.write("user.reg", "this is not a hive\n");
  Result run = config({"unset", "DvdTitle"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("corrupt"), std::string::npos) << run.err;
  EXPECT_EQ(readWholeFile(dir.path("user.reg")), "this is not a hive\n");
}

TEST_F(ToolConfig, FilterSwitchesAreSettingsToo) {
  ASSERT_EQ(config({"set", "StandardReads", "1"}).status, 0);
  ASSERT_EQ(config({"set", "ShowProgress", "0"}).status, 0);
  std::string hive = readWholeFile(dir.path("user.reg"));
  EXPECT_NE(hive.find("\"StandardReads\"=dword:00000001"), std::string::npos) << hive;
  EXPECT_EQ(config({"get", "ShowProgress"}).out, "0\n");
}

// The switch that adds the Settings page beside About.
TEST_F(ToolConfig, SettingsPageIsAFilterSetting) {
  ASSERT_EQ(config({"set", "SettingsPage", "1"}).status, 0);
  std::string hive = readWholeFile(dir.path("user.reg"));
  EXPECT_NE(hive.find("\"SettingsPage\"=dword:00000001"), std::string::npos) << hive;
  EXPECT_EQ(config({"get", "settingspage"}).out, "1\n");
  EXPECT_EQ(config({"list"}).out, "SettingsPage=1\n");
  ASSERT_EQ(config({"unset", "SettingsPage"}).status, 0);
  EXPECT_EQ(config({"get", "SettingsPage"}).status, 1);
  Result help = config({"--help"});
  EXPECT_NE(help.out.find("SettingsPage"), std::string::npos) << help.out;
}
