#include "ui/progress_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "ui/dialog_ids.h"
#include "ui/build_date_shape.h"
#include "ui/recording_view.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing_support::looksLikeBuildDate;
using testing_support::RecordingView;

namespace {

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

// A model that has shown `position` of `total` after `seconds` ticks.
ProgressModel after(std::int32_t seconds, std::int64_t position, std::int64_t total) {
  ProgressModel model;
  model.totalLength = total;
  model.position = position;
  model.shownPosition = position;
  model.secondsPassed = seconds;
  return model;
}

}  // namespace

// Duration format.

TEST(ProgressModel, Duration3725SecondsShowsAsOneHourTwoMinutesFiveSeconds) {
  EXPECT_EQ(formatDuration(3725), "1:02:05");
}

TEST(ProgressModel, Duration359999SecondsShowsAs99Hours59Minutes59Seconds) {
  EXPECT_EQ(formatDuration(359999), "99:59:59");
}

TEST(ProgressModel, DurationAbove99HoursIsInfinite) {
  EXPECT_EQ(formatDuration(359999 + 1), "infinite");
  EXPECT_EQ(formatDuration(kInt64Max), "infinite");
}

TEST(ProgressModel, DurationOfZeroIsAllZeros) {
  EXPECT_EQ(formatDuration(0), "0:00:00");
}

TEST(ProgressModel, NegativeDurationIsAllZeros) {
  EXPECT_EQ(formatDuration(-1), "0:00:00");
  EXPECT_EQ(formatDuration(std::numeric_limits<std::int64_t>::min()), "0:00:00");
}

TEST(ProgressModel, DurationPadsMinutesAndSecondsButNotHours) {
  EXPECT_EQ(formatDuration(1), "0:00:01");
  EXPECT_EQ(formatDuration(59), "0:00:59");
  EXPECT_EQ(formatDuration(60), "0:01:00");
  EXPECT_EQ(formatDuration(610), "0:10:10");
  EXPECT_EQ(formatDuration(36009), "10:00:09");
}

// Time remaining.

TEST(ProgressModel, PositionZeroShowsInfiniteTimeRemaining) {
  ProgressModel model = after(100, 0, 1000);
  RecordingView view;
  model.refreshTimes(view);
  EXPECT_EQ(view.text(IDC_TIME_REMAINING), "infinite");
  EXPECT_EQ(view.text(IDC_TIME_PASSED), "0:01:40");
  EXPECT_EQ(view.timerStops, 0);
}

TEST(ProgressModel, PositionAtTheTotalShowsFinishedAndStopsTheTimer) {
  ProgressModel model = after(10, 1000, 1000);
  RecordingView view;
  model.refreshTimes(view);
  EXPECT_EQ(view.text(IDC_TIME_REMAINING), "finished");
  EXPECT_EQ(view.timerStops, 1);
  // The text is there before the timer is stopped.
  EXPECT_THAT(view.events, ElementsAre("text 1004 0:00:10", "text 1005 finished", "stop"));
}

TEST(ProgressModel, After100SecondsAtPosition25Of100FiveMinutesRemain) {
  ProgressModel model;
  RecordingView view;
  model.totalLength = 100;
  model.refreshLocation(view);
  model.position = 25;
  for (int i = 0; i < 100; ++i) model.timerTick(view);
  EXPECT_EQ(model.secondsPassed, 100);
  EXPECT_EQ(view.text(IDC_TIME_PASSED), "0:01:40");
  EXPECT_EQ(view.text(IDC_TIME_REMAINING), "0:05:00");
  EXPECT_EQ(view.timerStops, 0);
}

TEST(ProgressModel, EstimateTruncatesToWholeSeconds) {
  // 7 s for 3 bytes, 2 bytes to go: 14 / 3 = 4.67 s, shown as 4.
  EXPECT_EQ(after(7, 3, 5).remainingSeconds(), 4);
  RecordingView view;
  ProgressModel model = after(7, 3, 5);
  model.refreshTimes(view);
  EXPECT_EQ(view.text(IDC_TIME_REMAINING), "0:00:04");
}

TEST(ProgressModel, EstimateUsesLargeLengthsWithoutRounding) {
  // Lengths beyond 32 bits: 3600 s for 2^40 bytes, 3 * 2^40 bytes to go.
  const std::int64_t tib = std::int64_t{1} << 40;
  EXPECT_EQ(after(3600, tib, 4 * tib).remainingSeconds(), 10800);
  EXPECT_EQ(after(1, 3, 3 + kInt64Max / 2).remainingSeconds(), kInt64Max / 6);
}

TEST(ProgressModel, EstimateAboveTheLimitShowsInfinite) {
  ProgressModel model = after(3600, 1, 1000);
  RecordingView view;
  model.refreshTimes(view);
  EXPECT_EQ(view.text(IDC_TIME_REMAINING), "infinite");
}

TEST(ProgressModel, HugeLengthsDoNotOverflowTheEstimate) {
  // seconds x rest needs more than 64 bits here; the quotient is exact.
  const std::int64_t half = std::int64_t{1} << 62;
  EXPECT_EQ(after(1000, half, kInt64Max).remainingSeconds(),
            static_cast<std::int64_t>(static_cast<__int128>(1000) * (kInt64Max - half) / half));
  // The true estimate can be small even when the product overflows.
  EXPECT_EQ(after(8, half, half + half / 2 + half / 4).remainingSeconds(), 6);
  // Beyond the 64-bit range it is held there, and shows as "infinite".
  const std::int64_t beyond = after(std::numeric_limits<std::int32_t>::max(), 1, kInt64Max).remainingSeconds();
  EXPECT_EQ(beyond, kInt64Max);
  ProgressModel model = after(std::numeric_limits<std::int32_t>::max(), 1, kInt64Max);
  RecordingView view;
  model.refreshTimes(view);
  EXPECT_EQ(view.text(IDC_TIME_REMAINING), "infinite");
  // A position past the total in the negative direction does not overflow
  // the difference either.
  EXPECT_EQ(after(1, -1, kInt64Max).remainingSeconds(), std::numeric_limits<std::int64_t>::min());
}

// Location and percentage.

TEST(ProgressModel, LocationShowsPositionAndTotalInPlainDecimal) {
  ProgressModel model = after(0, 10203148, 265729831);
  RecordingView view;
  model.refreshLocation(view);
  EXPECT_EQ(view.text(IDC_LOCATION), "10203148 / 265729831");
  model.shownPosition = 0;
  model.totalLength = kInt64Max;
  model.refreshLocation(view);
  EXPECT_EQ(view.text(IDC_LOCATION), "0 / 9223372036854775807");
}

TEST(ProgressModel, PercentHasTwoDecimals) {
  ProgressModel model = after(0, 1, 3);
  RecordingView view;
  model.refreshLocation(view);
  EXPECT_EQ(view.text(IDC_PERCENT), "33.33%");
  EXPECT_EQ(view.bar, 33);
  model.shownPosition = 3;
  model.refreshLocation(view);
  EXPECT_EQ(view.text(IDC_PERCENT), "100.00%");
  EXPECT_EQ(view.bar, 100);
  EXPECT_EQ(formatPercent(5.5f), "5.50%");
}

TEST(ProgressModel, TotalOfZeroGivesZeroPercentWithoutDividing) {
  ProgressModel model = after(0, 12345, 0);
  model.barPosition = 7;
  RecordingView view;
  model.refreshLocation(view);
  EXPECT_EQ(model.percent(), 0.0f);
  EXPECT_EQ(view.text(IDC_PERCENT), "0.00%");
  EXPECT_EQ(view.text(IDC_LOCATION), "12345 / 0");
  EXPECT_EQ(view.bar, 0);
}

TEST(ProgressModel, BarValueIsSentOnlyWhenItChanges) {
  ProgressModel model;
  model.totalLength = 1000;
  RecordingView view;
  model.refreshLocation(view);  // 0 %: the bar already stands there
  EXPECT_EQ(view.barUpdates(), 0);
  model.shownPosition = 251;  // 25.1 %
  model.refreshLocation(view);
  model.shownPosition = 259;  // 25.9 %: still 25
  model.refreshLocation(view);
  EXPECT_EQ(view.barUpdates(), 1);
  EXPECT_EQ(model.barPosition, 25);
  model.shownPosition = 260;
  model.refreshLocation(view);
  EXPECT_EQ(view.barUpdates(), 2);
  EXPECT_EQ(view.bar, 26);
  // The percentage text follows every refresh.
  EXPECT_EQ(view.text(IDC_PERCENT), "26.00%");
}

TEST(ProgressModel, PercentBeyondTheIntegerRangeHoldsTheBarAtTheLimit) {
  ProgressModel model = after(0, kInt64Max, 1);
  RecordingView view;
  model.refreshLocation(view);
  EXPECT_EQ(view.bar, std::numeric_limits<std::int32_t>::max());
  model.shownPosition = -kInt64Max;
  model.refreshLocation(view);
  EXPECT_EQ(view.bar, std::numeric_limits<std::int32_t>::min());
  // Within the range the value is the integer part.
  EXPECT_EQ(barValueOf(150.9f), 150);
  EXPECT_EQ(barValueOf(-2.5f), -2);
  EXPECT_EQ(formatPercent(model.percent()).back(), '%');
}

// Ticks.

TEST(ProgressModel, NewPositionShowsOnlyAtTheNextTick) {
  ProgressModel model;
  model.totalLength = 200;
  RecordingView view;
  model.position = 50;
  EXPECT_THAT(view.events, IsEmpty());
  model.tick(view);
  EXPECT_EQ(model.shownPosition, 50);
  EXPECT_EQ(view.text(IDC_LOCATION), "50 / 200");
  EXPECT_EQ(view.text(IDC_PERCENT), "25.00%");
  EXPECT_EQ(view.bar, 25);
}

TEST(ProgressModel, TickWithoutNewPositionRefreshesOnlyTheTimes) {
  ProgressModel model = after(5, 50, 200);
  RecordingView view;
  model.tick(view);
  EXPECT_THAT(view.events, ElementsAre("text 1004 0:00:05", "text 1005 0:00:15"));
}

TEST(ProgressModel, TimerTickCountsOneSecond) {
  ProgressModel model = after(0, 0, 10);
  RecordingView view;
  model.timerTick(view);
  model.timerTick(view);
  EXPECT_EQ(model.secondsPassed, 2);
  EXPECT_EQ(view.text(IDC_TIME_PASSED), "0:00:02");
}

TEST(ProgressModel, SecondsPassedStopsAtItsLargestValue) {
  ProgressModel model = after(std::numeric_limits<std::int32_t>::max(), 0, 10);
  RecordingView view;
  model.timerTick(view);
  EXPECT_EQ(model.secondsPassed, std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(view.text(IDC_TIME_PASSED), "infinite");
}

// Names.

TEST(ProgressModel, NamesAreCopiedAndShownAtOnce) {
  ProgressModel model;
  RecordingView view;
  std::string list = "D:\\films\\list.txt";
  model.setBatchFile(list.c_str(), view);
  list[0] = 'X';  // the model keeps its own copy
  model.setCurrentFile("VTS_01_2.VOB", view);
  EXPECT_EQ(model.batchFile, "D:\\films\\list.txt");
  EXPECT_EQ(model.currentFile, "VTS_01_2.VOB");
  EXPECT_EQ(view.text(IDC_BATCH_FILE), "D:\\films\\list.txt");
  EXPECT_EQ(view.text(IDC_CURRENT_FILE), "VTS_01_2.VOB");
  model.setCurrentFile("VTS_01_3.VOB", view);
  EXPECT_EQ(model.currentFile, "VTS_01_3.VOB");
  model.clearNames();
  EXPECT_FALSE(model.batchFile);
  EXPECT_FALSE(model.currentFile);
}

TEST(ProgressModel, NullNameClearsTheNameAndItsText) {
  ProgressModel model;
  RecordingView view;
  model.setBatchFile("a.lst", view);
  model.setBatchFile(nullptr, view);
  model.setCurrentFile(nullptr, view);
  EXPECT_FALSE(model.batchFile);
  EXPECT_FALSE(model.currentFile);
  EXPECT_EQ(view.text(IDC_BATCH_FILE), "");
  EXPECT_THAT(view.events, Contains("text 1002 "));
  EXPECT_THAT(view.events, Not(Contains("stop")));
}

// The About page's build date.

TEST(BuildDate, MonthIsSpelledOut) {
  EXPECT_EQ(formatBuildDate("Apr 11 2006"), "April 11, 2006");
}

TEST(BuildDate, DayBelowTenKeepsItsLeadingBlank) {
  EXPECT_EQ(formatBuildDate("Jan  2 2007"), "January  2, 2007");
}

TEST(BuildDate, EveryMonthHasItsFullName) {
  const char* const abbreviations[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const char* const names[] = {"January", "February", "March",     "April",   "May",      "June",
                               "July",    "August",   "September", "October", "November", "December"};
  for (int i = 0; i < 12; ++i) {
    const std::string date = std::string(abbreviations[i]) + " 30 1999";
    EXPECT_EQ(formatBuildDate(date.c_str()), std::string(names[i]) + " 30, 1999");
  }
  EXPECT_EQ(formatBuildDate("May 31 2024"), "May 31, 2024");
}

TEST(BuildDate, LongestDateFitsIn32Bytes) {
  EXPECT_LT(formatBuildDate("Sep 30 2099").size(), 32u);
}

TEST(BuildDate, CompilerDateOfThisBuildIsConverted) {
  const std::string date = formatBuildDate(__DATE__);
  EXPECT_TRUE(looksLikeBuildDate(date)) << date;
  EXPECT_EQ(date.substr(date.size() - 4), std::string(__DATE__).substr(7, 4));
}

TEST(BuildDate, UnknownMonthIsKeptAsItStands) {
  EXPECT_EQ(formatBuildDate("Foo 11 2006"), "Foo 11, 2006");
}

TEST(BuildDate, ShortOrMissingTextGivesNoDate) {
  EXPECT_EQ(formatBuildDate("Apr 11 200"), "");
  EXPECT_EQ(formatBuildDate(""), "");
  EXPECT_EQ(formatBuildDate(nullptr), "");
}
