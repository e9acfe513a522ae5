#include "filter/settings_store.h"

#include <cstring>
#include <string>

#include "platform/decimal.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "platform/registry.h"

std::uint8_t settingsSource = 1;
const char* settingsIniFile = kSettingsIniName;

namespace {

constexpr std::uint32_t kIniStringLimit = 200;

// The most registry data ReadSettingInt looks at.
constexpr std::size_t kSettingDataSize = 512;

using platform::Hive;
using platform::RegKey;

// The current user's key, or else the machine's.
bool openForReading(const char* keyPath, RegKey* key) {
  return platform::regOpenKey(Hive::CurrentUser, keyPath, platform::RegAccess::Read, key) ==
             platform::kRegOk ||
         platform::regOpenKey(Hive::LocalMachine, keyPath, platform::RegAccess::Read, key) ==
             platform::kRegOk;
}

// The current user's key with full access, created when missing.
long openForWriting(const char* keyPath, RegKey* key) {
  long result = platform::regOpenKey(Hive::CurrentUser, keyPath, platform::RegAccess::All, key);
  if (result != platform::kRegOk) result = platform::regCreateKey(Hive::CurrentUser, keyPath, key);
  return result;
}

}  // namespace

std::int32_t ReadSettingInt(const char* keyPath, const char* valueName, std::int32_t defaultValue) {
  if (settingsSource == 0)
    return platform::profileInt(keyPath, valueName, defaultValue, settingsIniFile);

  RegKey key = platform::kNoKey;
  if (!openForReading(keyPath, &key)) return defaultValue;
  // One buffer per call, since filters of different graphs read their
  // settings at once. Cleared so that a DWORD stored with fewer than four
  // bytes reads zero-extended.
  unsigned char settingBuffer[kSettingDataSize] = {};
  std::uint32_t type = 0;
  std::uint32_t size = sizeof settingBuffer;
  long queried = platform::regQueryValue(key, valueName, &type, settingBuffer, &size);
  // Closed on every path: settings are read at every connection and every
  // start, and a key left open for each missing value would pile up in the
  // host for as long as it runs.
  platform::regCloseKey(key);
  if (queried != platform::kRegOk) return defaultValue;
  if (type == platform::kRegDword) {
    std::int32_t value = 0;
    std::memcpy(&value, settingBuffer, sizeof value);
    return value;
  }
  if (type == platform::kRegSz) {
    // The text need not end in a zero: never look past the data.
    std::size_t length = size < sizeof settingBuffer ? size : sizeof settingBuffer;
    return platform::parseDecimal(reinterpret_cast<const char*>(settingBuffer), length);
  }
  return defaultValue;
}

int ReadSettingString(const char* keyPath, const char* valueName, char* buffer,
                      std::uint32_t* size) {
  if (settingsSource == 0) {
    if (!buffer) return 0;
    std::uint32_t limit = kIniStringLimit;
    if (size && *size < limit) limit = *size;
    if (limit == 0) return 0;
    std::string fallback(buffer, strnlen(buffer, limit));
    return static_cast<int>(
        platform::profileString(keyPath, valueName, fallback.c_str(), buffer, limit, settingsIniFile));
  }

  if (!buffer || !size) return -1;
  RegKey key = platform::kNoKey;
  if (!openForReading(keyPath, &key)) return -1;
  std::uint32_t capacity = *size;
  std::uint32_t type = 0;
  long queried = platform::regQueryValue(key, valueName, &type, buffer, size);
  platform::regCloseKey(key);
  if (queried != platform::kRegOk) return -1;
  // The caller reads the result as a string: make sure it ends inside the
  // buffer. Data that fill the buffer without a zero did not fit.
  std::uint32_t length = *size < capacity ? *size : capacity;
  if (std::memchr(buffer, '\0', length) == nullptr) {
    if (length < capacity) {
      buffer[length] = '\0';
    } else {
      if (capacity) buffer[capacity - 1] = '\0';
      return -1;
    }
  }
  return 0;
}

std::int32_t WriteSettingInt(const char* keyPath, const char* valueName, std::int32_t value) {
  RegKey key = platform::kNoKey;
  long result = openForWriting(keyPath, &key);
  if (result == platform::kRegOk) {
    std::uint32_t data = static_cast<std::uint32_t>(value);
    result = platform::regSetValue(key, valueName, platform::kRegDword, &data, sizeof data);
    platform::regCloseKey(key);
    if (result == platform::kRegOk) return value;
  }
  // Looked up and dropped: a failed write is not reported.
  std::string ignored = platform::systemErrorText(result);
  (void)ignored;
  return value;
}

int WriteSettingString(const char* keyPath, const char* valueName, const char* text) {
  if (settingsSource == 0)
    return platform::writeProfileString(keyPath, valueName, text, settingsIniFile);

  if (!text) return static_cast<int>(platform::kRegInvalidParameter);
  RegKey key = platform::kNoKey;
  long result = openForWriting(keyPath, &key);
  if (result != platform::kRegOk) return static_cast<int>(result);
  result = platform::regSetValue(key, valueName, platform::kRegSz, text,
                                 static_cast<std::uint32_t>(std::strlen(text)));
  platform::regCloseKey(key);
  return result == platform::kRegOk ? 0 : static_cast<int>(result);
}
