#include "ui/settings_choice.h"

#include "filter/settings_store.h"

const StoredSetting kStoredSettings[] = {
    {"DvdReadMode", &SettingsChoice::readMode},
    {"DvdTitle", &SettingsChoice::titleSet},
    {"DvdPgc", &SettingsChoice::pgc},
    {"DvdAudio", &SettingsChoice::audioNumber},
    {"DvdPlaybackOrder", &SettingsChoice::playbackOrder},
    {"StandardReads", &SettingsChoice::standardReads},
};
const std::size_t kStoredSettingCount = sizeof kStoredSettings / sizeof kStoredSettings[0];

bool operator==(const SettingsChoice& a, const SettingsChoice& b) {
  for (const StoredSetting& s : kStoredSettings)
    if (a.*s.value != b.*s.value) return false;
  return a.keptAudio == b.keptAudio && a.keptAudioType == b.keptAudioType &&
         a.audioTracks == b.audioTracks;
}

SettingsChoice effectiveChoice(const SettingsChoice& held) {
  SettingsChoice effective = held;
  for (const StoredSetting& s : kStoredSettings)
    effective.*s.value = ReadSettingInt(kSettingsKeyPath, s.name, held.*s.value);
  return effective;
}

void saveAsDefault(const SettingsChoice& choice) {
  for (const StoredSetting& s : kStoredSettings)
    WriteSettingInt(kSettingsKeyPath, s.name, choice.*s.value);
}

std::vector<std::string> storedOverrides(const SettingsChoice& applied) {
  std::vector<std::string> names;
  for (const StoredSetting& s : kStoredSettings)
    if (ReadSettingInt(kSettingsKeyPath, s.name, applied.*s.value) != applied.*s.value)
      names.emplace_back(s.name);
  return names;
}
