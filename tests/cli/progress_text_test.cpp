#include "cli/progress_text.h"

#include <gtest/gtest.h>

using cli::clockTime;
using cli::progressText;
using cli::readableSize;

TEST(ProgressText, SizesInTheLargestBinaryUnitPeopleRead) {
  EXPECT_EQ(readableSize(0), "0 B");
  EXPECT_EQ(readableSize(1023), "1023 B");
  EXPECT_EQ(readableSize(1024), "1.0 KiB");
  EXPECT_EQ(readableSize(389120), "380.0 KiB");
  EXPECT_EQ(readableSize(1572864), "1.5 MiB");
  EXPECT_EQ(readableSize(std::int64_t{3} << 29), "1.50 GiB");
  EXPECT_EQ(readableSize(std::int64_t{5} << 40), "5.00 TiB");
}

TEST(ProgressText, ClockCountsHoursMinutesAndSeconds) {
  EXPECT_EQ(clockTime(0), "0:00:00");
  EXPECT_EQ(clockTime(65), "0:01:05");
  EXPECT_EQ(clockTime(36000 + 61), "10:01:01");
}

TEST(ProgressText, NoSpeedBeforeHalfASecondAndNoTimeLeftBeforeOne) {
  EXPECT_EQ(progressText("A.VOB", 1048576, 4194304, 0.2), "A.VOB  1.0 MiB of 4.0 MiB  25%  0:00:00 passed");
  EXPECT_EQ(progressText("A.VOB", 1048576, 4194304, 0.5),
            "A.VOB  1.0 MiB of 4.0 MiB  25%  2.0 MiB/s  0:00:00 passed");
  EXPECT_EQ(progressText("A.VOB", 1048576, 4194304, 2.0),
            "A.VOB  1.0 MiB of 4.0 MiB  25%  512.0 KiB/s  0:00:02 passed  0:00:06 left");
}

TEST(ProgressText, NothingLeftIsNotEstimated) {
  EXPECT_EQ(progressText("A.VOB", 4194304, 4194304, 3.0),
            "A.VOB  4.0 MiB of 4.0 MiB  100%  1.3 MiB/s  0:00:03 passed");
  EXPECT_EQ(progressText("A.VOB", 0, 4194304, 3.0), "A.VOB  0 B of 4.0 MiB  0%  0 B/s  0:00:03 passed");
  EXPECT_EQ(progressText("A.VOB", 0, 0, 0.0), "A.VOB  0 B of 0 B  0:00:00 passed");
}
