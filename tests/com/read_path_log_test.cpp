// The read path's lines in the debug log, captured through the log itself:
// the process's log is pointed at a file through its registry key, the
// filter is driven into each case, and the file is read back. Each trace
// is checked at its level (present at it, absent one below) and category.
#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <string>

#include "com/com_support.h"
#include "support/in_process_filter.h"
#include "support/test_sample.h"
#include "diag/debug_log.h"
#include "filter/source_filter.h"
#include "filter/source_guids.h"
#include "support/file_bytes.h"

using namespace com_tests;
using testing_support::fileBytes;

namespace {

using Filter = InProcessFilter;

class FailingTimeSample : public RangeSample {
 public:
  using RangeSample::RangeSample;
  HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME*, REFERENCE_TIME*) override {
    return VFW_E_SAMPLE_TIME_NOT_SET;
  }
};

class ReadPathLog : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    { Filter first; }  // the log takes the module's name from the first filter
    key_ = std::string(diag::kRegistryRoot) + "\\" + diag::debugLog().moduleName();
    path_ = temp.path("debug.log");
  }
  void TearDown() override {
    setString("LogToFile", "");
    diag::debugLog().readModuleSettings();
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, key_.c_str());
    clearSettings();
    CoUninitialize();
  }
  // Logging to the file from now on, the trace category at `trace` and the
  // error category at `error`; the file starts empty.
  void logTo(DWORD trace, DWORD error = 0) {
    DeleteFileA(path_.c_str());
    setDword("TRACE", trace);
    setDword("ERROR", error);
    setString("LogToFile", path_);
    diag::debugLog().readModuleSettings();
    diag::debugLog().readGlobalSettings();
    ASSERT_TRUE(diag::debugLog().loggingOn());
  }
  // What was logged, the file closed first.
  std::string logged() {
    setString("LogToFile", "");
    diag::debugLog().readModuleSettings();
    return fileBytes(path_);
  }
  static bool has(const std::string& log, const std::string& message) {
    return log.find(" :" + message + "\r\n") != std::string::npos;
  }
  // The log of `action` with the trace category at `level`.
  std::string tracedAt(DWORD level, const std::function<void()>& action) {
    logTo(level);
    action();
    return logged();
  }
  static constexpr LONGLONG kChain = 190 * 2048;  // the first chain's range
  std::string list() { return writeClipList(temp, {"clip1", "clip2"}); }
  void setDword(const char* name, DWORD value) {
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, key_.c_str(), name, REG_DWORD, &value, sizeof value);
  }
  void setString(const char* name, const std::string& value) {
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, key_.c_str(), name, REG_SZ, value.c_str(),
                    static_cast<DWORD>(value.size() + 1));
  }
  TempFolder temp;
  std::string key_;
  std::string path_;
};

}  // namespace

TEST_F(ReadPathLog, FilterWritesItsBannerWhenMade) {
  logTo(0);
  { Filter f; }
  const std::string log = logged();
  // The product's name, then the build's date and time as the compiler
  // spells them, between line ends of their own.
  const std::regex banner(" :\nFennoria [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}\n\r\n");
  EXPECT_TRUE(std::regex_search(log, banner)) << log;
}

TEST_F(ReadPathLog, EndOfTheRangeLogsBothEndLinesAndTheMissingDemultiplexer) {
  Filter f;
  selectFirstProgramChain(f);
  logTo(0);
  RangeSample tail(kChain - 2048, 4096, 4096);
  EXPECT_EQ(f.pin().SyncReadAligned(&tail), S_OK);
  EXPECT_EQ(tail.actual, 2048);
  std::string log = logged();
  EXPECT_TRUE(has(log, "bytesRead!=bytesToRead ! EOF?")) << log;
  EXPECT_TRUE(has(log, "VobDemux failed!")) << log;
  EXPECT_FALSE(has(log, "bytesRead=0 ! EOF?")) << log;

  Filter g;
  selectFirstProgramChain(g);
  logTo(0);
  RangeSample past(kChain, 2048, 2048);
  EXPECT_EQ(g.pin().SyncReadAligned(&past), S_OK);
  EXPECT_EQ(past.actual, 0);
  log = logged();
  EXPECT_TRUE(has(log, "bytesRead=0 ! EOF?")) << log;
}

TEST_F(ReadPathLog, ShortSeekAndEmptySampleAreLoggedAsErrors) {
  Filter f;
  selectFirstProgramChain(f);
  logTo(0);
  RangeSample none(0, 100, 0);
  EXPECT_EQ(f.pin().SyncReadAligned(&none), E_FAIL);
  RangeSample nothing(0, 0, 100);
  EXPECT_EQ(f.pin().SyncReadAligned(&nothing), S_OK);
  // Last: the read after the seek finds nothing and ends the stream.
  RangeSample distant(10737418240LL, 2048, 2048);
  f.pin().SyncReadAligned(&distant);
  const std::string log = logged();
  EXPECT_NE(log.find(" :VobSeek error: 10737418240 "), std::string::npos) << log;
  EXPECT_TRUE(has(log, "SyncReadAligned: sampleSize=0 !")) << log;
  EXPECT_TRUE(has(log, "SyncReadAligned: BytesToRead=0 !")) << log;
}

TEST_F(ReadPathLog, SampleWithoutTimesIsTracedAtLevelSixteen) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  auto action = [&] {
    FailingTimeSample sample(0, 100, 100);
    f.pin().SyncReadAligned(&sample);
    f.pin().Request(&sample, 0);
  };
  EXPECT_FALSE(has(tracedAt(15, action), "CHECK_FAILED: GetTime"));
  const std::string log = tracedAt(16, action);
  const std::string line = " :CHECK_FAILED: GetTime\r\n";
  const std::size_t first = log.find(line);
  ASSERT_NE(first, std::string::npos) << log;
  EXPECT_NE(log.find(line, first + 1), std::string::npos) << "one line per call: " << log;
  // The trace category: an error level as high lets nothing through.
  logTo(0, 16);
  action();
  EXPECT_FALSE(has(logged(), "CHECK_FAILED: GetTime"));
}

TEST_F(ReadPathLog, LengthAndQueueCallsAreTracedAtLevelOne) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  const LONGLONG total = f.filter->fileList.totalLength;
  auto action = [&] {
    LONGLONG all = 0, available = 0;
    f.pin().Length(&all, &available);
    RangeSample sample(4096, 100, 100);
    f.pin().Request(&sample, 0);
    IMediaSample* done = nullptr;
    DWORD_PTR user = 0;
    f.pin().WaitForNext(5, &done, &user);
  };
  const std::string lengthLine = "OutputPin::Length/dvd mode 0: " + std::to_string(total);
  const std::string availableLine = "OutputPin::Length available " + std::to_string(total);
  const std::string requestLine = "Request pos=4096 length=100  E_NOTIMPL";
  const std::string waitLine = "WaitForNext timeout=5";
  std::string log = tracedAt(0, action);
  for (const std::string& line : {lengthLine, availableLine, requestLine, waitLine})
    EXPECT_FALSE(has(log, line)) << line;
  log = tracedAt(1, action);
  for (const std::string& line : {lengthLine, availableLine, requestLine, waitLine})
    EXPECT_TRUE(has(log, line)) << line << " in\n" << log;
}

// Loading a disc writes each IFO file's text dump at trace level 3, and not
// below it.
TEST_F(ReadPathLog, IfoDumpIsTracedAtLevelThreeWhenTheDiscIsLoaded) {
  auto load = [&] {
    Filter f;
    selectFirstProgramChain(f);
  };
  const std::string quiet = tracedAt(2, load);
  EXPECT_FALSE(has(quiet, "Videomanager")) << quiet;
  const std::string dumped = tracedAt(3, load);
  EXPECT_TRUE(has(dumped, "Videomanager")) << dumped;
  EXPECT_TRUE(has(dumped, "VideoTitleSet 1")) << dumped;
  EXPECT_TRUE(has(dumped, "VideoTitleSet 2")) << dumped;
}

TEST_F(ReadPathLog, LengthInDvdModeIsTracedWithTheRange) {
  Filter f;
  selectFirstProgramChain(f);
  const std::string log = tracedAt(1, [&] {
    LONGLONG all = 0;
    f.pin().Length(&all, nullptr);
  });
  EXPECT_TRUE(has(log, "OutputPin::Length/dvd mode 1: " + std::to_string(kChain))) << log;
}

TEST_F(ReadPathLog, SynchronousReadsAreTracedAtLevelTwo) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  auto action = [&] {
    BYTE buffer[100];
    f.pin().SyncRead(0, 100, buffer);
    RangeSample sample(100, 100, 100);
    f.pin().SyncReadAligned(&sample);
  };
  std::string log = tracedAt(1, action);
  EXPECT_FALSE(has(log, "SyncRead pos=0 length=100")) << log;
  EXPECT_EQ(log.find(" :SyncReadAligned pos=100/"), std::string::npos) << log;
  log = tracedAt(2, action);
  EXPECT_TRUE(has(log, "SyncRead pos=0 length=100")) << log;
  const std::regex aligned(" :SyncReadAligned pos=100/-?[0-9]+ diff:-?[0-9]+ length=100 read=100\r\n");
  EXPECT_TRUE(std::regex_search(log, aligned)) << log;
}
