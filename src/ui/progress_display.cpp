#include "ui/progress_display.h"

bool progressWindowWanted(std::optional<std::uint32_t> showProgress) {
  return !showProgress || *showProgress != 0;
}

void startProgress(ProgressDisplay& display, bool showWindow, const char* listName,
                   std::int64_t totalLength) {
  display.setBatchFile(listName);
  display.setTotalLength(totalLength);
  // Shown once the names and total are in, so it opens complete; the timer
  // only runs on a window that exists.
  if (showWindow) display.show();
  display.startTimer();
}

void stopProgress(ProgressDisplay& display) {
  display.stopTimer();
  display.hide();
}
