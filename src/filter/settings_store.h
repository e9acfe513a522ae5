// The filter's settings: named integers and strings addressed by a key path
// and a value name.
//
// Two back ends, chosen by one process-wide switch:
// - the registry (the one in use): reads open the key under
//   HKEY_CURRENT_USER and, only when the current user has no such key at all,
//   under HKEY_LOCAL_MACHINE, so the current user's key hides the machine's
//   even when it lacks the value; writes always go to the current user;
// - an INI file, "Trivane.ini", with the key path as section and the value
//   name as key.
// On Linux the registry is the pair of hive files of platform/registry.h and
// the INI file lives in the configuration folder (platform/config_files.h).
//
// Nothing reports an error to the user: a missing key or value, or a value of
// a type that cannot be read, gives the caller's default.
#pragma once

#include <cstdint>

// 1: registry, 0: INI file. Nothing in the filter changes it; it is a
// variable so the INI back end can be exercised.
extern std::uint8_t settingsSource;

// The INI file's name. Without a folder it lands in the platform's place for
// profile files (the Windows folder; the configuration folder on Linux).
extern const char* settingsIniFile;

constexpr const char* kSettingsIniName = "Trivane.ini";
constexpr const char* kSettingsKeyPath = "SOFTWARE\\Ormelund\\Trivane\\Fennoria";

// The value as an integer: a REG_DWORD as it is, a REG_SZ as a decimal number
// (blanks and a sign allowed, no digits giving 0), anything else (or nothing)
// `defaultValue`. Safe for concurrent callers: filters of different graphs
// read their settings at the same time.
std::int32_t ReadSettingInt(const char* keyPath, const char* valueName, std::int32_t defaultValue);

// Registry: copies the value's data into `buffer`, whose size in bytes *size
// gives (and which receives the data's size); 0 on success, -1 on failure.
// INI: reads at most 200 bytes (fewer when *size is smaller), with the
// buffer's current text as the default, and returns the character count.
int ReadSettingString(const char* keyPath, const char* valueName, char* buffer, std::uint32_t* size);

// Stores `value` as a REG_DWORD under the current user (creating the key),
// whatever the switch says. Failures are swallowed; returns `value`.
std::int32_t WriteSettingInt(const char* keyPath, const char* valueName, std::int32_t value);

// Registry: stores `text` as a REG_SZ under the current user (creating the
// key); 0 on success, non-zero on failure. INI: the result of the profile
// write (non-zero when written).
int WriteSettingString(const char* keyPath, const char* valueName, const char* text);
