// The filter's opt-in settings for disc titles in DVD mode: a title as
// players number it ("DvdTitleNumber", 1-99), a chapter range of it
// ("DvdChapterFirst", "DvdChapterLast") and an audio track ("DvdAudioTrack",
// from 1, resolved through the chains' stream control tables). Absent or
// 0, each leaves the specified settings ("DvdTitle", "DvdPgc", the audio
// track list) to act exactly as they do without it.
#pragma once

#include <cstdint>

class DvdTitleReader;

struct DiscTitleSettings {
  std::int32_t title = 0;         // 0: the title set and chain settings choose
  std::int32_t firstChapter = 0;  // 0: from the first chapter
  std::int32_t lastChapter = 0;   // 0: to the last chapter
  std::int32_t audioTrack = 0;    // 0: the audio choice as specified

  // The four values from the settings store; a title outside 1-99 counts as
  // none, a negative chapter or track as 0.
  static DiscTitleSettings read();

  bool choosesTitle() const { return title != 0; }
};

// Selects the title, when the settings name one, on a reader whose
// navigation files are loaded; false (the chain settings then choose) when
// they do not. The reader logs why a title cannot be selected.
bool selectDiscTitle(const DiscTitleSettings& settings, DvdTitleReader& reader);
// Keeps the settings' audio track, when they name one, after the rest of
// the configuration has made its audio choice.
void selectDiscAudioTrack(const DiscTitleSettings& settings, DvdTitleReader& reader);
