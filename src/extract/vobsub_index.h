// The text of a VobSub index (.idx): the frame size, the 16-colour palette,
// the stream's language and where each subtitle starts in the .sub file.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct VobSubEntry {
  std::int64_t milliseconds = 0;  // from the start of the title
  std::int64_t filepos = 0;       // of its first pack in the .sub file
};

struct VobSubIndex {
  int width = 720;
  int height = 480;
  std::array<std::uint32_t, 16> palette{};  // 0xRRGGBB
  std::string language;                     // two letters, or empty
  int number = 0;                           // the subpicture stream
  std::vector<VobSubEntry> entries;

  std::string text() const;
};

// A palette entry as a DVD stores it (Y, Cr, Cb, studio range, ITU-R
// BT.601) as 0xRRGGBB.
std::uint32_t yCrCbToRgb(int y, int cr, int cb);

// The frame width and height for a title set's video attributes: the TV
// system (0 NTSC, 1 PAL) and the picture size code.
void pictureSize(int tvSystem, int pictureSizeCode, int* width, int* height);
