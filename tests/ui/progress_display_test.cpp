#include "ui/progress_display.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

// Records the calls the filter's steps make, in order.
class RecordingDisplay : public ProgressDisplay {
 public:
  void show() override { calls.push_back("show"); }
  void hide() override { calls.push_back("hide"); }
  void setBatchFile(const char* name) override { calls.push_back(std::string("batch ") + name); }
  void setCurrentFile(const char* name) override { calls.push_back(std::string("current ") + name); }
  void setTotalLength(std::int64_t length) override { calls.push_back("total " + std::to_string(length)); }
  void setPosition(std::int64_t position) override { calls.push_back("position " + std::to_string(position)); }
  void startTimer() override { calls.push_back("start"); }
  void stopTimer() override { calls.push_back("stop"); }
  std::vector<std::string> calls;
};

}  // namespace

TEST(ProgressDisplay, WindowIsWantedUnlessTheSettingIsZero) {
  EXPECT_TRUE(progressWindowWanted(std::nullopt));
  EXPECT_TRUE(progressWindowWanted(1u));
  EXPECT_TRUE(progressWindowWanted(0xFFFFFFFFu));
  EXPECT_FALSE(progressWindowWanted(0u));
}

TEST(ProgressDisplay, StreamingStartFillsInShowsAndStartsTheTimer) {
  RecordingDisplay display;
  startProgress(display, true, "C:\\v\\list.txt", 4096);
  EXPECT_THAT(display.calls, ElementsAre("batch C:\\v\\list.txt", "total 4096", "show", "start"));
}

TEST(ProgressDisplay, StreamingStartWithTheWindowOffOnlyStores) {
  RecordingDisplay display;
  startProgress(display, progressWindowWanted(0u), "list.txt", 10);
  EXPECT_THAT(display.calls, ElementsAre("batch list.txt", "total 10", "start"));
}

TEST(ProgressDisplay, StreamingStopStopsTheTimerThenHides) {
  RecordingDisplay display;
  stopProgress(display);
  EXPECT_THAT(display.calls, ElementsAre("stop", "hide"));
}
