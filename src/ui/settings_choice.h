// The choices the Settings page makes: the read settings the filter keeps
// and the registry values that override them at each connection.
//
// Every stored setting is one row of kStoredSettings (its registry name and
// the member it fills), so a setting added later is one member, one row and
// one control of the page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct SettingsChoice {
  std::int32_t readMode = 0;     // "DvdReadMode": 0 list, 1 DVD with demultiplexing, other DVD
  std::int32_t titleSet = 1;     // "DvdTitle"
  std::int32_t pgc = 0;          // "DvdPgc", from 0
  std::int32_t audioNumber = 0;  // "DvdAudio"
  std::int32_t playbackOrder = 0;  // "DvdPlaybackOrder"
  std::int32_t standardReads = 0;  // "StandardReads"

  // Not stored: the one audio stream delivered in DVD mode with
  // demultiplexing (the pin's single audio track), or kAllAudio.
  static constexpr std::int32_t kAllAudio = -1;
  std::int32_t keptAudio = kAllAudio;
  std::int32_t keptAudioType = 0;  // 0 AC-3 substream, 2 MPEG audio stream
  // How many audio tracks the pin holds; more than one were added by the
  // host for demultiplexing, and the page leaves them alone.
  std::int32_t audioTracks = 0;
};

bool operator==(const SettingsChoice& a, const SettingsChoice& b);
inline bool operator!=(const SettingsChoice& a, const SettingsChoice& b) { return !(a == b); }

struct StoredSetting {
  const char* name;
  std::int32_t SettingsChoice::*value;
};
extern const StoredSetting kStoredSettings[];
extern const std::size_t kStoredSettingCount;

// What the next connection will use: each stored value where there is one
// (read as the filter reads it), the held value otherwise.
SettingsChoice effectiveChoice(const SettingsChoice& held);

// Writes every stored setting of `choice` for the current user.
void saveAsDefault(const SettingsChoice& choice);

// The stored settings whose value differs from `applied`: they will win
// over it at the next connection.
std::vector<std::string> storedOverrides(const SettingsChoice& applied);
