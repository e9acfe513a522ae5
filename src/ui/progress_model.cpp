#include "ui/progress_model.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <limits>

#include "ui/dialog_ids.h"

namespace {

// Plain decimal digits, with a sign when negative ("0" for zero).
std::string decimal(std::int64_t value) {
  char text[32];
  std::snprintf(text, sizeof text, "%" PRId64, value);
  return text;
}

// Minutes and seconds below 10 get a leading zero.
std::string twoDigits(std::int64_t value) {
  char text[8];
  std::snprintf(text, sizeof text, value >= 10 ? "%" PRId64 : "0%" PRId64, value);
  return text;
}

}  // namespace

std::string formatPercent(float percent) {
  char text[64];
  std::snprintf(text, sizeof text, "%3.2f%%", static_cast<double>(percent));
  return text;
}

std::int32_t barValueOf(float percent) {
  // Positions beyond the total (or a negative total) can give percentages
  // that no 32-bit value holds; the bar stops at the ends of that range.
  if (!(percent > -2147483648.0f)) return std::numeric_limits<std::int32_t>::min();
  if (!(percent < 2147483648.0f)) return std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(percent);
}

std::string formatDuration(std::int64_t seconds) {
  if (seconds <= 0) return "0:00:00";
  if (seconds > 359999) return "infinite";
  const std::int64_t hours = seconds / 3600;
  const std::int64_t rest = seconds % 3600;
  return decimal(hours) + ":" + twoDigits(rest / 60) + ":" + twoDigits(rest % 60);
}

std::string formatBuildDate(const char* compilerDate) {
  static const char* const kMonths[12][2] = {
      {"Jan", "January"}, {"Feb", "February"}, {"Mar", "March"},     {"Apr", "April"},
      {"May", "May"},     {"Jun", "June"},     {"Jul", "July"},      {"Aug", "August"},
      {"Sep", "September"}, {"Oct", "October"}, {"Nov", "November"}, {"Dec", "December"}};
  // "Mmm dd yyyy": month at 0, day at 4, year at 7. A shorter text has no
  // date to show.
  if (!compilerDate || std::strlen(compilerDate) < 11) return std::string();
  std::string result(compilerDate, 3);  // kept as it stands if no month matches
  for (const auto& month : kMonths) {
    if (std::strncmp(compilerDate, month[0], 3) == 0) {
      result = month[1];
      break;
    }
  }
  result += ' ';
  result.append(compilerDate + 4, 2);
  result += ", ";
  result.append(compilerDate + 7, 4);
  return result;
}

void ProgressModel::setBatchFile(const char* name, ProgressView& view) {
  if (name)
    batchFile = name;
  else
    batchFile.reset();
  view.setText(IDC_BATCH_FILE, name ? name : "");
}

void ProgressModel::setCurrentFile(const char* name, ProgressView& view) {
  if (name)
    currentFile = name;
  else
    currentFile.reset();
  view.setText(IDC_CURRENT_FILE, name ? name : "");
}

void ProgressModel::clearNames() {
  batchFile.reset();
  currentFile.reset();
}

void ProgressModel::timerTick(ProgressView& view) {
  // A tick a second: the count would need 68 years to reach its end, where
  // it stays rather than wrapping round.
  if (secondsPassed < std::numeric_limits<std::int32_t>::max()) ++secondsPassed;
  tick(view);
}

void ProgressModel::tick(ProgressView& view) {
  if (position != shownPosition) {
    shownPosition = position;
    refreshLocation(view);
  }
  refreshTimes(view);
}

std::string ProgressModel::locationText() const {
  return decimal(shownPosition) + " / " + decimal(totalLength);
}

float ProgressModel::percent() const {
  if (totalLength == 0) return 0.0f;
  return static_cast<float>(static_cast<double>(shownPosition) * 100.0 /
                            static_cast<double>(totalLength));
}

void ProgressModel::refreshLocation(ProgressView& view) {
  view.setText(IDC_LOCATION, locationText().c_str());
  const float value = percent();
  const std::int32_t bar = barValueOf(value);
  if (bar != barPosition) {
    barPosition = bar;
    view.setBarPosition(bar);
  }
  view.setText(IDC_PERCENT, formatPercent(value).c_str());
}

std::int64_t ProgressModel::remainingSeconds() const {
  if (shownPosition == 0) return 0;
  // The average rate since the window was shown, in truncating 64-bit
  // integer arithmetic. Lengths near the 64-bit limit could overflow the
  // difference or the product; those few are worked out in 128 bits and
  // held to the 64-bit range, which shows as "infinite" anyway.
  std::int64_t rest;
  std::int64_t product;
  if (!__builtin_sub_overflow(totalLength, shownPosition, &rest) &&
      !__builtin_mul_overflow(static_cast<std::int64_t>(secondsPassed), rest, &product) &&
      !(product == std::numeric_limits<std::int64_t>::min() && shownPosition == -1))
    return product / shownPosition;
  const __int128 wide = static_cast<__int128>(secondsPassed) *
                        (static_cast<__int128>(totalLength) - shownPosition) / shownPosition;
  if (wide > std::numeric_limits<std::int64_t>::max()) return std::numeric_limits<std::int64_t>::max();
  if (wide < std::numeric_limits<std::int64_t>::min()) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(wide);
}

void ProgressModel::refreshTimes(ProgressView& view) {
  view.setText(IDC_TIME_PASSED, formatDuration(secondsPassed).c_str());
  if (shownPosition == 0) {
    view.setText(IDC_TIME_REMAINING, "infinite");
  } else if (totalLength != shownPosition) {
    view.setText(IDC_TIME_REMAINING, formatDuration(remainingSeconds()).c_str());
  } else {
    view.setText(IDC_TIME_REMAINING, "finished");
    view.stopTimer();
  }
}
