#include "filter/disc_title_settings.h"

#include <algorithm>

#include "diag/debug_log.h"
#include "dvdnav/dvd_title_reader.h"
#include "filter/settings_store.h"

using diag::LOG_TRACE;

DiscTitleSettings DiscTitleSettings::read() {
  DiscTitleSettings s;
  const std::int32_t title = ReadSettingInt(kSettingsKeyPath, "DvdTitleNumber", 0);
  s.title = title >= 1 && title <= 99 ? title : 0;
  s.firstChapter = std::max(ReadSettingInt(kSettingsKeyPath, "DvdChapterFirst", 0), 0);
  s.lastChapter = std::max(ReadSettingInt(kSettingsKeyPath, "DvdChapterLast", 0), 0);
  s.audioTrack = std::max(ReadSettingInt(kSettingsKeyPath, "DvdAudioTrack", 0), 0);
  return s;
}

bool selectDiscTitle(const DiscTitleSettings& s, DvdTitleReader& reader) {
  if (!s.choosesTitle()) return false;
  FENNORIA_LOG(LOG_TRACE, 0, "DvdImg disc title %d, chapters %d-%d", s.title, s.firstChapter,
               s.lastChapter);
  reader.selectTitle(s.title, s.firstChapter, s.lastChapter);
  return true;
}

void selectDiscAudioTrack(const DiscTitleSettings& s, DvdTitleReader& reader) {
  if (s.audioTrack == 0) return;
  FENNORIA_LOG(LOG_TRACE, 0, "DvdImg audio track %d", s.audioTrack);
  reader.selectAudioTrack(s.audioTrack);
}
