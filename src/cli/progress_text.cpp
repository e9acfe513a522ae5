#include "cli/progress_text.h"

#include <cmath>
#include <cstdio>

namespace cli {

std::string readableSize(std::int64_t bytes) {
  static const char* const kUnits[] = {"KiB", "MiB", "GiB", "TiB"};
  if (bytes < 1024) return std::to_string(bytes) + " B";
  double value = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  while (value >= 1024 && unit + 1 < sizeof kUnits / sizeof *kUnits) {
    value /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit >= 2 ? "%.2f %s" : "%.1f %s", value, kUnits[unit]);
  return text;
}

std::string clockTime(std::int64_t seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                static_cast<long long>(seconds / 60 % 60), static_cast<long long>(seconds % 60));
  return text;
}

std::string progressText(const std::string& currentFile, std::int64_t position,
                         std::int64_t total, double elapsed) {
  std::string line = currentFile + "  " + readableSize(position) + " of " + readableSize(total);
  if (total > 0) {
    char percent[16];
    std::snprintf(percent, sizeof percent, "  %d%%",
                  static_cast<int>(std::floor(100.0 * static_cast<double>(position) /
                                              static_cast<double>(total))));
    line += percent;
  }
  if (elapsed >= 0.5)
    line += "  " + readableSize(static_cast<std::int64_t>(static_cast<double>(position) / elapsed)) + "/s";
  line += "  " + clockTime(static_cast<std::int64_t>(elapsed)) + " passed";
  if (elapsed >= 1 && position > 0 && position < total) {
    const double left = elapsed * static_cast<double>(total - position) / static_cast<double>(position);
    line += "  " + clockTime(static_cast<std::int64_t>(std::ceil(left))) + " left";
  }
  return line;
}

}  // namespace cli
