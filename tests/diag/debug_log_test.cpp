#include "diag/debug_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "diag/diag_fixture.h"
#include "support/scratch.h"

#ifdef _WIN32
#include <windows.h>
#endif

using platform::Hive;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAreArray;
using testing_support::DebuggerCapture;
using testing_support::DebugLogTest;
using testing_support::isLogLine;
using testing_support::LogLine;
using testing_support::parseLogLine;
using testing_support::dwordOf;
using testing_support::kGlobalKeyPath;
using testing_support::readWholeFile;
using testing_support::splitCrLf;
using testing_support::StdoutCapture;
using testing_support::textOf;

namespace {

const char* const kNames[] = {"TIMING",  "TRACE",   "MEMORY",  "LOCKING", "ERROR",
                              "CUSTOM1", "CUSTOM2", "CUSTOM3", "CUSTOM4", "CUSTOM5"};

std::string hex(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%x", value);
  return text;
}

bool fileExists(const std::string& name) { return std::ifstream(name).good(); }

}  // namespace

TEST(DebugLog, ModuleNameIsTheProgramFileName) {
  testing_support::RegistrySandbox sandbox;
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(log.moduleName(), testing_support::programFileName());
  EXPECT_EQ(log.moduleName().rfind("fennoria_tests", 0), 0u) << log.moduleName();
  EXPECT_EQ(log.moduleName().find_first_of("\\/"), std::string::npos);
}

TEST_F(DebugLogTest, FirstRunCreatesBothKeysFilledWithDefaults) {
  ASSERT_FALSE(sandbox.keyExists(Hive::LocalMachine, "SOFTWARE\\DebugOrmelund"));
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.log(diag::LOG_ERROR, 0, "not written");

  for (const std::string& key : {std::string(kGlobalKeyPath), moduleKey()}) {
    SCOPED_TRACE(key);
    ASSERT_TRUE(sandbox.keyExists(Hive::LocalMachine, key));
    for (const char* name : kNames) {
      auto value = sandbox.value(Hive::LocalMachine, key, name);
      ASSERT_TRUE(value) << name;
      EXPECT_EQ(value->type, platform::kRegDword) << name;
      EXPECT_EQ(value->data.size(), 4u) << name;
      EXPECT_EQ(dwordOf(*value), 0u) << name;
    }
    auto timeout = sandbox.value(Hive::LocalMachine, key, "TIMEOUT");
    ASSERT_TRUE(timeout);
    EXPECT_EQ(timeout->type, platform::kRegDword);
    EXPECT_EQ(dwordOf(*timeout), 0u);
  }
  auto logTo = sandbox.value(Hive::LocalMachine, moduleKey(), "LogToFile");
  ASSERT_TRUE(logTo);
  EXPECT_EQ(logTo->type, platform::kRegSz);
  EXPECT_EQ(textOf(*logTo), "");
  EXPECT_FALSE(sandbox.value(Hive::LocalMachine, kGlobalKeyPath, "LogToFile"));
  // Nothing lands under the current user.
  EXPECT_FALSE(sandbox.keyExists(Hive::CurrentUser, "SOFTWARE\\DebugOrmelund"));

  EXPECT_EQ(debugger.text(), module + " - no logging\r\n\r\n");
  EXPECT_EQ(log.destination(), diag::Destination::None);
  EXPECT_FALSE(log.loggingOn());
}

// Every category, "TIMEOUT" and (in the module's key) "LogToFile", and nothing
// else. The hive files keep the order of writing, which is the category order;
// the Windows registry enumerates in an order of its own.
TEST_F(DebugLogTest, DefaultsAreWrittenForEveryValueAndNothingElse) {
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  std::vector<std::string> expected(std::begin(kNames), std::end(kNames));
  expected.push_back("TIMEOUT");
#ifdef _WIN32
  EXPECT_THAT(sandbox.valueNames(Hive::LocalMachine, kGlobalKeyPath),
              UnorderedElementsAreArray(expected));
  expected.push_back("LogToFile");
  EXPECT_THAT(sandbox.valueNames(Hive::LocalMachine, moduleKey()), UnorderedElementsAreArray(expected));
#else
  EXPECT_THAT(sandbox.valueNames(Hive::LocalMachine, kGlobalKeyPath), ElementsAreArray(expected));
  expected.push_back("LogToFile");
  EXPECT_THAT(sandbox.valueNames(Hive::LocalMachine, moduleKey()), ElementsAreArray(expected));
#endif
}

TEST_F(DebugLogTest, StoredValuesAreKeptAndUsed) {
  setGlobalLevel("TRACE", 3);
  setModuleLevel("MEMORY", 7);
  setModuleLevel("CUSTOM5", 9);
  setGlobalLevel("TIMEOUT", 500);
  setModuleLevel("TIMEOUT", 100);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(log.level(1), 3u);
  EXPECT_EQ(log.level(2), 7u);
  EXPECT_EQ(log.level(9), 9u);
  EXPECT_EQ(log.level(0), 0u);
  EXPECT_EQ(log.timeout(), 500u);
  EXPECT_EQ(dwordOf(*sandbox.value(Hive::LocalMachine, kGlobalKeyPath, "TRACE")), 3u);
  EXPECT_EQ(dwordOf(*sandbox.value(Hive::LocalMachine, moduleKey(), "MEMORY")), 7u);
  EXPECT_EQ(dwordOf(*sandbox.value(Hive::LocalMachine, moduleKey(), "TIMEOUT")), 100u);
  // The missing ones were added beside them.
  EXPECT_EQ(dwordOf(*sandbox.value(Hive::LocalMachine, moduleKey(), "TRACE")), 0u);
}

TEST_F(DebugLogTest, ValueOfTheWrongTypeIsWrittenBackWithItsDefault) {
  sandbox.setString(Hive::LocalMachine, moduleKey(), "TRACE", "5");
  sandbox.setRaw(Hive::LocalMachine, kGlobalKeyPath, "ERROR", platform::kRegBinary,
                 std::string("\x05\x00\x00\x00", 4));
  sandbox.setDword(Hive::LocalMachine, moduleKey(), "LogToFile", 1);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(log.level(1), 0u);
  EXPECT_EQ(log.level(4), 0u);
  auto trace = sandbox.value(Hive::LocalMachine, moduleKey(), "TRACE");
  EXPECT_EQ(trace->type, platform::kRegDword);
  EXPECT_EQ(dwordOf(*trace), 0u);
  auto error = sandbox.value(Hive::LocalMachine, kGlobalKeyPath, "ERROR");
  EXPECT_EQ(error->type, platform::kRegDword);
  EXPECT_EQ(dwordOf(*error), 0u);
  auto logTo = sandbox.value(Hive::LocalMachine, moduleKey(), "LogToFile");
  EXPECT_EQ(logTo->type, platform::kRegSz);
  EXPECT_EQ(textOf(*logTo), "");
  EXPECT_EQ(debugger.text(), module + " - no logging\r\n\r\n");
}

TEST_F(DebugLogTest, ShortDwordLevelReadsZeroExtended) {
  sandbox.setRaw(Hive::LocalMachine, moduleKey(), "TRACE", platform::kRegDword, std::string("\x03", 1));
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(log.level(1), 3u);
}

TEST_F(DebugLogTest, LogToFileDebuggerInAnyCaseSendsLinesToTheDebugger) {
  for (const char* name : {"debugger", "DEBUGGER", "Debugger", "debug", "DeBuG", "deb", "DEB"}) {
    SCOPED_TRACE(name);
    setLogToFile(name);
    DebuggerCapture debugger;
    diag::DebugLog log;
    log.initialise(nullptr);
    EXPECT_EQ(log.destination(), diag::Destination::Debugger);
    log.log(diag::LOG_TRACE, 0, "to the debugger %d", 7);
    std::vector<std::string> lines = splitCrLf(debugger.text());
    ASSERT_EQ(lines.size(), 1u) << debugger.text();
    EXPECT_TRUE(isLogLine(lines[0], module, "to the debugger 7")) << lines[0];
    EXPECT_THAT(debugger.text(), Not(HasSubstr("no logging")));
  }
}

TEST_F(DebugLogTest, OtherTextsNamingTheDebuggerAreFileNames) {
  // Only the three spellings select the debugger; anything else is a path.
  std::string name = sandbox.scratch().path("Debuggers");
  setLogToFile(name);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(log.destination(), diag::Destination::File);
  log.log(diag::LOG_TRACE, 0, "into the file");
  EXPECT_EQ(debugger.text(), "");
  EXPECT_THAT(readWholeFile(name), HasSubstr("into the file"));
}

TEST_F(DebugLogTest, ConsoleSendsLinesToTheStandardOutput) {
  for (const char* name : {"Console", "CONSOLE", "console"}) {
    SCOPED_TRACE(name);
    setLogToFile(name);
    DebuggerCapture debugger;
    StdoutCapture out;
    diag::DebugLog log;
    log.initialise(nullptr);
    EXPECT_EQ(log.destination(), diag::Destination::Console);
    log.log(diag::LOG_ERROR, 0, "on the console");
    std::vector<std::string> lines = splitCrLf(out.text());
    ASSERT_EQ(lines.size(), 1u) << out.text();
    EXPECT_TRUE(isLogLine(lines[0], module, "on the console")) << lines[0];
    EXPECT_EQ(debugger.text(), "");
  }
}

#ifdef _WIN32
namespace {
// The probe's report: one "name=value" per line.
std::map<std::string, std::string> readProbeReport(const std::string& name) {
  std::map<std::string, std::string> facts;
  std::ifstream in(name);
  for (std::string line; std::getline(in, line);) {
    std::size_t equals = line.find('=');
    if (equals != std::string::npos) facts[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return facts;
}
}  // namespace

// A process without a console gets one from the log: its title, the size of
// its screen buffer and the line on its first row, as the probe reads them
// back through the console API. Wine's console windows need a display, so
// this runs on a virtual one (tests/ui/run-on-xvfb).
TEST(DebugLogConsole, WindowIsTitledEnlargedAndShowsTheLine) {
  testing_support::ScratchDir scratch;
  std::string report = scratch.path("console.txt");
  testing_support::ProbeRun run;
  ASSERT_TRUE(testing_support::runProbe(testing_support::logProbePath(),
                                        {report, "Console", "on a console of its own"}, &run));
  EXPECT_EQ(run.exitCode, 0u);
  std::map<std::string, std::string> facts = readProbeReport(report);
  EXPECT_EQ(facts["title"], "Ormelund Debug Output");
  EXPECT_EQ(facts["buffer"], "160 5000");
  LogLine parts;
  ASSERT_TRUE(parseLogLine(facts["row0"], "fennoria_log_probe.exe", &parts)) << facts["row0"];
  EXPECT_EQ(parts.threadId, hex(run.threadId));
  EXPECT_EQ(parts.message, "on a console of its own");
}

// Without winmm.dll there is no clock: nothing stands between the thread id
// and the colon. A copy of the probe under a name of its own goes without
// it, so that no other program does.
TEST(DebugLog, LineWithoutTimingCarriesOnlyTheThreadId) {
  testing_support::ScratchDir scratch;
  const std::string probe = "fennoria_untimed_probe.exe";
  const std::string program = scratch.path(probe);
  ASSERT_TRUE(CopyFileA(testing_support::logProbePath().c_str(), program.c_str(), FALSE));
  testing_support::WinmmDisabled noWinmm(probe);
  ASSERT_TRUE(noWinmm.set());
  std::string logFile = scratch.path("untimed.log");
  testing_support::ProbeRun run;
  ASSERT_TRUE(testing_support::runProbe(
      program, {scratch.path("report.txt"), logFile, "no clock here"}, &run));
  EXPECT_EQ(run.exitCode, 0u);
  std::string text = readWholeFile(logFile);
  std::string rest;
  ASSERT_TRUE(testing_support::startsWithHeader(text, probe, &rest)) << text;
  EXPECT_EQ(rest, probe + "(tid " + hex(run.threadId) + ") :no clock here\r\n");
}
#endif

TEST_F(DebugLogTest, LogFileInAMissingFolderGivesTheCouldNotOpenNoteAndNoFile) {
  std::string name = sandbox.scratch().path("no-such-folder/log.txt");
  setLogToFile(name);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.log(diag::LOG_ERROR, 0, "lost");
  EXPECT_EQ(debugger.text(), module + " - Could not open Logfile\r\n\r\n");
  EXPECT_FALSE(fileExists(name));
  EXPECT_FALSE(log.loggingOn());
}

// "Could not open Logfile" leaves logging off, so no destination is in
// force: a path in a missing folder, and a path that names a folder.
TEST_F(DebugLogTest, LogFileThatCannotBeOpenedLeavesNoDestination) {
  const std::string unopenable[] = {sandbox.scratch().path("no-such-folder/log.txt"),
                                    sandbox.scratch().root()};
  for (const std::string& name : unopenable) {
    SCOPED_TRACE(name);
    setLogToFile(name);
    DebuggerCapture debugger;
    diag::DebugLog log;
    std::string console;
    {
      StdoutCapture out;
      log.initialise(nullptr);
      log.log(diag::LOG_ERROR, 0, "lost");
      console = out.text();
    }
    // Read before any failure report can add to it.
    const std::string noted = debugger.text();
    EXPECT_EQ(log.destination(), diag::Destination::None);
    EXPECT_FALSE(log.loggingOn());
    // The note alone: the line went nowhere.
    EXPECT_EQ(noted, module + " - Could not open Logfile\r\n\r\n");
    EXPECT_EQ(console, "");
  }
}

TEST_F(DebugLogTest, LogFileStartsWithTheHeaderLine) {
  std::string name = sandbox.scratch().path("log.txt");
  setLogToFile(name);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.log(diag::LOG_TRACE, 0, "first %s", "line");
  std::string text = readWholeFile(name);
  std::string rest;
  ASSERT_TRUE(testing_support::startsWithHeader(text, module, &rest)) << text;
  std::vector<std::string> lines = splitCrLf(rest);
  ASSERT_EQ(lines.size(), 1u) << rest;
  EXPECT_TRUE(isLogLine(lines[0], module, "first line")) << lines[0];
  EXPECT_EQ(debugger.text(), "");
}

TEST_F(DebugLogTest, LogFileIsAppendedAcrossTwoInitialisations) {
  std::string name = sandbox.scratch().write("log.txt", "earlier session\r\n");
  setLogToFile(name);
  DebuggerCapture debugger;
  {
    diag::DebugLog log;
    log.initialise(nullptr);
    log.log(diag::LOG_TRACE, 0, "one");
  }
  {
    diag::DebugLog log;
    log.initialise(nullptr);
    log.log(diag::LOG_TRACE, 0, "two");
  }
  std::string text = readWholeFile(name);
  EXPECT_EQ(text.rfind("earlier session\r\n", 0), 0u) << text;
  std::vector<std::string> kept;
  for (const std::string& line : splitCrLf(text))
    if (!line.empty()) kept.push_back(line);
  ASSERT_EQ(kept.size(), 5u) << text;
  EXPECT_EQ(kept[0], "earlier session");
  EXPECT_THAT(kept[1], HasSubstr(" =====DbgInitialize()===== "));
  EXPECT_TRUE(isLogLine(kept[2], module, "one")) << kept[2];
  EXPECT_THAT(kept[3], HasSubstr(" =====DbgInitialize()===== "));
  EXPECT_TRUE(isLogLine(kept[4], module, "two")) << kept[4];
}

TEST_F(DebugLogTest, LineCarriesTheThreadIdInHexAndTheMillisecondsInEightPlaces) {
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.log(diag::LOG_TRACE, 0, "main %d", 1);
  std::uint32_t otherId = 0;
  std::thread other([&] {
    otherId = testing_support::testThreadId();
    log.log(diag::LOG_TRACE, 0, "other %d", 2);
  });
  other.join();
  std::vector<std::string> lines = splitCrLf(debugger.text());
  ASSERT_EQ(lines.size(), 2u) << debugger.text();
  LogLine parts;
  ASSERT_TRUE(parseLogLine(lines[0], module, &parts)) << lines[0];
  EXPECT_EQ(parts.message, "main 1");
  EXPECT_EQ(parts.threadId, hex(testing_support::testThreadId()));
  int elapsed = std::stoi(parts.milliseconds);
  EXPECT_GE(elapsed, 0);
  EXPECT_LT(elapsed, 60000);
  ASSERT_TRUE(parseLogLine(lines[1], module, &parts)) << lines[1];
  EXPECT_EQ(parts.message, "other 2");
  EXPECT_EQ(parts.threadId, hex(otherId));
  EXPECT_NE(otherId, testing_support::testThreadId());
}

TEST_F(DebugLogTest, MillisecondsCountFromTheStartOfTheLog) {
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  log.log(diag::LOG_TRACE, 0, "later");
  LogLine parts;
  std::string line = splitCrLf(debugger.text()).at(0);
  ASSERT_TRUE(parseLogLine(line, module, &parts)) << line;
  EXPECT_EQ(parts.message, "later");
  EXPECT_GE(std::stoi(parts.milliseconds), 250);
  EXPECT_LT(std::stoi(parts.milliseconds), 60000);
}

TEST_F(DebugLogTest, LongLineIsWrittenWhole) {
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  std::string message(5000, 'x');
  message += "end";
  log.log(diag::LOG_TRACE, 0, "%s", message.c_str());
  std::vector<std::string> lines = splitCrLf(debugger.text());
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(isLogLine(lines[0], module, message));
}

TEST_F(DebugLogTest, GlobalTraceThreeAndModuleTraceOneLetTraceLevelsZeroToThreeThrough) {
  setGlobalLevel("TRACE", 3);
  setModuleLevel("TRACE", 1);
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  for (std::uint32_t level = 0; level <= 6; ++level) log.log(diag::LOG_TRACE, level, "level %u", level);
  std::vector<std::string> lines = splitCrLf(debugger.text());
  ASSERT_EQ(lines.size(), 4u) << debugger.text();
  for (std::uint32_t level = 0; level <= 3; ++level)
    EXPECT_TRUE(isLogLine(lines[level], module, "level " + std::to_string(level)))
        << lines[level];
}

TEST_F(DebugLogTest, ModuleLevelAboveTheGlobalOneWinsToo) {
  setGlobalLevel("TRACE", 1);
  setModuleLevel("TRACE", 3);
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_TRUE(log.wants(diag::LOG_TRACE, 3));
  EXPECT_FALSE(log.wants(diag::LOG_TRACE, 4));
  EXPECT_EQ(log.level(1), 3u);
  EXPECT_EQ(log.moduleLevel(1), 3u);
  EXPECT_EQ(log.globalLevel(1), 1u);
}

TEST_F(DebugLogTest, Custom4NeverLetsALineThrough) {
  for (const char* name : kNames) {
    setGlobalLevel(name, 0xFFFFFFFFu);
    setModuleLevel(name, 0xFFFFFFFFu);
  }
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  for (std::uint32_t level : {0u, 1u, 2u, 100u, 0xFFFFFFFFu}) {
    log.log(diag::LOG_CUSTOM4, level, "custom4 %u", level);
    log.log(diag::LOG_CUSTOM5, level, "custom5 %u", level);
    log.log(diag::LOG_CUSTOM4 | diag::LOG_CUSTOM5, level, "both %u", level);
    log.log(0x400 | 0x8000, level, "higher bits %u", level);
  }
  EXPECT_EQ(debugger.text(), "");
  // The same levels let a first-eight category through.
  log.log(diag::LOG_CUSTOM3, 0xFFFFFFFFu, "custom3");
  EXPECT_EQ(splitCrLf(debugger.text()).size(), 1u);
}

TEST_F(DebugLogTest, LevelZeroLineIsWrittenWhateverTheLevels) {
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);  // every level 0
  for (int bit = 0; bit < 8; ++bit) log.log(1u << bit, 0, "bit %d", bit);
  log.log(0xFF, 0, "all eight");
  log.log(diag::LOG_TRACE | diag::LOG_CUSTOM4, 0, "trace and custom4");
  std::vector<std::string> lines = splitCrLf(debugger.text());
  ASSERT_EQ(lines.size(), 10u) << debugger.text();
  for (int bit = 0; bit < 8; ++bit)
    EXPECT_TRUE(isLogLine(lines[static_cast<std::size_t>(bit)], module, "bit " + std::to_string(bit)));
  // Level 1 needs a configured level.
  log.log(diag::LOG_TRACE, 1, "level one");
  EXPECT_EQ(splitCrLf(debugger.text()).size(), 10u);
}

TEST_F(DebugLogTest, ZeroCategoryMaskIsNeverWritten) {
  setLogToFile("Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.log(0, 0, "no category");
  EXPECT_EQ(debugger.text(), "");
}

// Every configured category (set in the module key or in the global key) at
// level 2 against every line category at levels 0 to 3.
TEST_F(DebugLogTest, LevelAndCategoryMatrix) {
  for (int source = 0; source < 2; ++source) {
    for (int configured = 0; configured < 10; ++configured) {
      SCOPED_TRACE(std::string(source ? "global " : "module ") + kNames[configured]);
      std::string name = "matrix-" + std::to_string(source) + "-" + std::to_string(configured) + ".ax";
      std::string file = sandbox.scratch().path(name + ".log");
      for (const char* category : kNames) setGlobalLevel(category, 0);
      if (source)
        setGlobalLevel(kNames[configured], 2);
      else
        sandbox.setDword(Hive::LocalMachine, testing_support::moduleKeyOf(name), kNames[configured], 2);
      sandbox.setString(Hive::LocalMachine, testing_support::moduleKeyOf(name), "LogToFile", file);
      {
        diag::DebugLog log(name);
        log.initialise(nullptr);
        for (int bit = 0; bit < 10; ++bit)
          for (std::uint32_t level = 0; level <= 3; ++level)
            log.log(1u << bit, level, "bit %d level %u", bit, level);
      }
      std::string text = readWholeFile(file);
      for (int bit = 0; bit < 10; ++bit) {
        for (std::uint32_t level = 0; level <= 3; ++level) {
          bool expected = bit < 8 && (level == 0 || (bit == configured && level <= 2));
          std::string message = "bit " + std::to_string(bit) + " level " + std::to_string(level);
          EXPECT_EQ(text.find(" :" + message + "\r\n") != std::string::npos, expected) << message;
        }
      }
    }
  }
}

TEST_F(DebugLogTest, FilteredLineIsNeitherFormattedNorEvaluated) {
  setLogToFile("Debugger");
  setModuleLevel("TRACE", 1);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  int evaluated = 0;
  FENNORIA_LOG_TO(log, diag::LOG_TRACE, 2, "%d", ++evaluated);
  FENNORIA_LOG_TO(log, diag::LOG_CUSTOM4, 0, "%d", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  FENNORIA_LOG_TO(log, diag::LOG_TRACE, 1, "%d", ++evaluated);
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(splitCrLf(debugger.text()).size(), 1u);
  // A direct call tests the level before formatting: this argument would
  // crash the formatter.
  const char* unreadable = reinterpret_cast<const char*>(std::uintptr_t{16});
  log.log(diag::LOG_TRACE, 2, "%s", unreadable);
  log.log(diag::LOG_CUSTOM5, 0, "%s", unreadable);
  EXPECT_EQ(splitCrLf(debugger.text()).size(), 1u);
}

namespace {
// Sets "BreakOnLoad" in the section of `module` in WIN.INI (removed again
// when it goes away).
class WinIniBreakOnLoad {
 public:
  WinIniBreakOnLoad(const testing_support::RegistrySandbox& sandbox, const std::string& module)
      : module_(module) {
#ifndef _WIN32
    file_ = sandbox.configFolder() + "/win.ini";
#else
    (void)sandbox;
#endif
  }
  ~WinIniBreakOnLoad() {
#ifdef _WIN32
    WriteProfileStringA(module_.c_str(), nullptr, nullptr);
#endif
  }
  void set(const char* value) {
#ifdef _WIN32
    ASSERT_TRUE(WriteProfileStringA(module_.c_str(), "BreakOnLoad", value));
#else
    std::ofstream out(file_, std::ios::trunc);
    out << "[other.ax]\nBreakOnLoad=1\n\n[" << module_ << "]\nBreakOnLoad=" << value << "\n";
#endif
  }

 private:
  std::string module_;
  std::string file_;
};
}  // namespace

TEST_F(DebugLogTest, BreakOnLoadBreaksIntoTheDebuggerBeforeReadingTheSettings) {
  // A WIN.INI section of its own, so no other test program sees it.
  std::string root = sandbox.scratch().root();
  std::string name = "breakonload-" + root.substr(root.find_last_of("\\/") + 1) + ".ax";
  std::string key = testing_support::moduleKeyOf(name);
  WinIniBreakOnLoad winIni(sandbox, name);
  int breakCount = 0;
  bool keyExistedAtBreak = true;
  platform::BreakHook previous = platform::setBreakHook([&] {
    ++breakCount;
    keyExistedAtBreak = sandbox.keyExists(Hive::LocalMachine, key);
  });
  DebuggerCapture debugger;

  winIni.set("1");
  diag::DebugLog log(name);
  log.initialise(nullptr);
  EXPECT_EQ(breakCount, 1);
  EXPECT_FALSE(keyExistedAtBreak);
  EXPECT_TRUE(sandbox.keyExists(Hive::LocalMachine, key));

  winIni.set("0");
  diag::DebugLog quiet(name);
  quiet.initialise(nullptr);
  EXPECT_EQ(breakCount, 1);
  platform::setBreakHook(previous);
}

TEST_F(DebugLogTest, WithoutBreakOnLoadThereIsNoBreak) {
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(breaks.count(), 0);
}

TEST_F(DebugLogTest, InitialiseReadsTheSettingsOnce) {
  std::string name = sandbox.scratch().path("log.txt");
  setLogToFile(name);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  setModuleLevel("TRACE", 5);
  log.initialise(nullptr);
  EXPECT_TRUE(log.initialised());
  EXPECT_EQ(log.level(1), 0u);
  std::string text = readWholeFile(name);
  EXPECT_EQ(text.find("=====DbgInitialize()====="), text.rfind("=====DbgInitialize()====="));
}

TEST_F(DebugLogTest, ProcessLogIsInitialisedOncePerProcess) {
  setLogToFile("Debugger");
  setModuleLevel("LOCKING", 2);
  DebuggerCapture debugger;
  diag::initialise(nullptr);
  EXPECT_TRUE(diag::debugLog().initialised());
  setModuleLevel("LOCKING", 6);
  diag::initialise(nullptr);
  EXPECT_EQ(diag::debugLog().level(3), 2u);
  FENNORIA_LOG(diag::LOG_LOCKING, 2, "through the %s", "process log");
  FENNORIA_LOG(diag::LOG_LOCKING, 3, "filtered");
  std::vector<std::string> lines = splitCrLf(debugger.text());
  ASSERT_EQ(lines.size(), 1u) << debugger.text();
  EXPECT_TRUE(isLogLine(lines[0], module, "through the process log"));
}

TEST_F(DebugLogTest, RereadingTheSettingsClosesTheEarlierFile) {
  std::string first = sandbox.scratch().path("first.log");
  std::string second = sandbox.scratch().path("second.log");
  setLogToFile(first);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  log.log(diag::LOG_TRACE, 0, "in the first");
  EXPECT_TRUE(testing_support::isHeldOpen(first));
  setLogToFile(second);
  log.readModuleSettings();
  log.log(diag::LOG_TRACE, 0, "in the second");
  EXPECT_FALSE(testing_support::isHeldOpen(first));
  EXPECT_THAT(readWholeFile(first), HasSubstr("in the first"));
  EXPECT_THAT(readWholeFile(first), Not(HasSubstr("in the second")));
  EXPECT_THAT(readWholeFile(second), HasSubstr("=====DbgInitialize()====="));
  EXPECT_THAT(readWholeFile(second), HasSubstr("in the second"));
}

TEST_F(DebugLogTest, TooLongLogToFileLeavesLoggingOffAndTheValueAsItIs) {
  std::string tooLong = sandbox.scratch().path(std::string(300, 'a') + ".log");
  setLogToFile(tooLong);
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(log.destination(), diag::Destination::None);
  EXPECT_EQ(debugger.text(), module + " - no logging\r\n\r\n");
  EXPECT_EQ(textOf(*sandbox.value(Hive::LocalMachine, moduleKey(), "LogToFile")), tooLong);
}

TEST_F(DebugLogTest, LogToFileStoredWithoutItsTerminatingZeroIsRead) {
  sandbox.setRaw(Hive::LocalMachine, moduleKey(), "LogToFile", platform::kRegSz, "Debugger");
  DebuggerCapture debugger;
  diag::DebugLog log;
  log.initialise(nullptr);
  EXPECT_EQ(log.destination(), diag::Destination::Debugger);
}

TEST_F(DebugLogTest, LinesFromTwoThreadsDoNotInterleave) {
  std::string name = sandbox.scratch().path("threads.log");
  setLogToFile(name);
  DebuggerCapture debugger;
  std::string payload(300, 'p');
  {
    diag::DebugLog log;
    log.initialise(nullptr);
    auto work = [&](char which) {
      for (int i = 0; i < 200; ++i) log.log(diag::LOG_TRACE, 0, "%c%d %s", which, i, payload.c_str());
    };
    std::thread a(work, 'a');
    std::thread b(work, 'b');
    a.join();
    b.join();
  }
  int seen = 0;
  for (const std::string& piece : splitCrLf(readWholeFile(name))) {
    if (piece.empty() || piece.find("=====DbgInitialize()=====") != std::string::npos) continue;
    LogLine parts;
    ASSERT_TRUE(parseLogLine(piece, module, &parts)) << piece.substr(0, 80);
    std::string tail = " " + payload;
    EXPECT_TRUE(parts.message.size() > tail.size() &&
                (parts.message[0] == 'a' || parts.message[0] == 'b') &&
                parts.message.compare(parts.message.size() - tail.size(), tail.size(), tail) == 0)
        << piece.substr(0, 80);
    ++seen;
  }
  EXPECT_EQ(seen, 400);
}
