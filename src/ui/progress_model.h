// What the progress window shows, without the window.
//
// The model keeps the numbers and names the window displays and turns them
// into the texts of its controls: the location "position / total", the
// percentage and bar value, the time passed and the estimate of the time
// remaining. It writes through a `ProgressView`, so the dialog on Windows and
// a one-line text display can share it, and tests can watch every update.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Where the model's texts go. Control ids are those of the progress dialog
// (ui/dialog_ids.h).
class ProgressView {
 public:
  virtual ~ProgressView() = default;
  // Puts `text` into the control `control` (one of IDC_PERCENT ...
  // IDC_BATCH_FILE).
  virtual void setText(int control, const char* text) = 0;
  // Moves the bar (range 0..100) to `value`.
  virtual void setBarPosition(std::int32_t value) = 0;
  // Reading has reached the end: no more ticks are needed.
  virtual void stopTimer() = 0;
};

class ProgressModel {
 public:
  // Latest position reported by the filter (bytes into the joined range).
  std::int64_t position = 0;
  // Position last put on the screen.
  std::int64_t shownPosition = 0;
  // Length of the joined range.
  std::int64_t totalLength = 0;
  // Last value sent to the bar.
  std::int32_t barPosition = 0;
  // Name of the list file and of the file being read; empty when not set.
  std::optional<std::string> batchFile;
  std::optional<std::string> currentFile;
  // Timer ticks since the window was shown.
  std::int32_t secondsPassed = 0;

  // Keeps a copy of the name (none for null) and shows it at once.
  void setBatchFile(const char* name, ProgressView& view);
  void setCurrentFile(const char* name, ProgressView& view);
  // Forgets both names.
  void clearNames();

  // One timer tick: a second more has passed, then `tick`.
  void timerTick(ProgressView& view);
  // Shows a position that changed since the last tick, then the times.
  void tick(ProgressView& view);

  // Location text, percentage and bar value for `shownPosition`.
  void refreshLocation(ProgressView& view);
  // Time passed, and time remaining (or "infinite" / "finished", the latter
  // stopping the timer).
  void refreshTimes(ProgressView& view);

  // The parts of those refreshes, for the views and the tests.
  std::string locationText() const;
  float percent() const;
  // Seconds still to go at the average rate so far; only meaningful while
  // 0 < shownPosition and shownPosition != totalLength.
  std::int64_t remainingSeconds() const;
};

// "%3.2f%%" of a percentage: "0.00%", "25.00%", "100.00%".
std::string formatPercent(float percent);

// The bar value of a percentage: its integer part, held within the range of
// a 32-bit value.
std::int32_t barValueOf(float percent);

// "h:mm:ss" for 0 < seconds <= 359999 (99:59:59), "0:00:00" for zero or
// less, "infinite" above.
std::string formatDuration(std::int64_t seconds);

// The build date as the About page shows it: a compiler date text
// "Mmm dd yyyy" becomes "Month dd, yyyy" ("Apr 11 2006" -> "April 11, 2006",
// "Jan  2 2007" -> "January  2, 2007"). Always shorter than 32 characters.
std::string formatBuildDate(const char* compilerDate);
