#include "extract/vobsub_index.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

int channel(double value) {
  return static_cast<int>(std::lround(std::clamp(value, 0.0, 255.0)));
}

std::string clock(std::int64_t ms) {
  ms = std::max<std::int64_t>(ms, 0);
  char text[40];
  std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld:%03lld",
                static_cast<long long>(ms / 3600000), static_cast<long long>(ms / 60000 % 60),
                static_cast<long long>(ms / 1000 % 60), static_cast<long long>(ms % 1000));
  return text;
}

// Players take the first line as the file's signature.
constexpr const char* kSignature = "# VobSub index file, v7 (do not modify this line!)\n";

}  // namespace

std::uint32_t yCrCbToRgb(int y, int cr, int cb) {
  const double l = 1.164 * (y - 16);
  const int r = channel(l + 1.596 * (cr - 128));
  const int g = channel(l - 0.813 * (cr - 128) - 0.391 * (cb - 128));
  const int b = channel(l + 2.018 * (cb - 128));
  return static_cast<std::uint32_t>((r << 16) | (g << 8) | b);
}

void pictureSize(int tvSystem, int pictureSizeCode, int* width, int* height) {
  static constexpr int kWidths[4] = {720, 704, 352, 352};
  const int full = tvSystem == 1 ? 576 : 480;
  *width = kWidths[pictureSizeCode & 3];
  *height = (pictureSizeCode & 3) == 3 ? full / 2 : full;
}

std::string VobSubIndex::text() const {
  std::string out = kSignature;
  out += "\nsize: " + std::to_string(width) + "x" + std::to_string(height) + "\n";
  out += "palette: ";
  for (std::size_t i = 0; i < palette.size(); ++i) {
    char colour[16];
    std::snprintf(colour, sizeof colour, "%s%06x", i ? ", " : "", palette[i] & 0xFFFFFFu);
    out += colour;
  }
  out += "\n\nid: " + (language.empty() ? std::string("--") : language) +
         ", index: " + std::to_string(number) + "\n";
  for (const VobSubEntry& e : entries) {
    char position[32];
    std::snprintf(position, sizeof position, "%09llx", static_cast<unsigned long long>(e.filepos));
    out += "timestamp: " + clock(e.milliseconds) + ", filepos: " + position + "\n";
  }
  return out;
}
