#include <cstring>
#include <string>

#include "platform/config_files.h"
#include "platform/decimal.h"
#include "platform/ini_text.h"
#include "platform/profile.h"

namespace platform {

namespace {
bool readProfile(const char* file, std::string* text) {
  std::string path = profileFilePath(file);
  switch (readTextFile(path, text)) {
    case TextFileRead::Ok:
      return true;
    case TextFileRead::Missing:
      return false;
    case TextFileRead::Failed:
      reportConfigProblem("INI file " + path + " cannot be read; the defaults apply");
      return false;
  }
  return false;
}
}  // namespace

int profileInt(const char* section, const char* key, int fallback, const char* file) {
  std::string text;
  std::string value;
  if (!section || !key || !file || !readProfile(file, &text)) return fallback;
  if (!ini::lookup(text, section, key, &value) || value.empty()) return fallback;
  return parseDecimal(value.data(), value.size());
}

std::uint32_t profileString(const char* section, const char* key, const char* fallback, char* out,
                            std::uint32_t size, const char* file) {
  if (!out || size == 0) return 0;
  std::string value = fallback ? fallback : "";
  std::string text;
  if (section && key && file && readProfile(file, &text)) ini::lookup(text, section, key, &value);
  std::size_t count = value.size() < size - 1 ? value.size() : size - 1;
  std::memmove(out, value.data(), count);
  out[count] = '\0';
  return static_cast<std::uint32_t>(count);
}

int writeProfileString(const char* section, const char* key, const char* text, const char* file) {
  if (!section || !file) return 0;
  std::string path = profileFilePath(file);
  FileLock lock(path);
  std::string old;
  if (readTextFile(path, &old) == TextFileRead::Failed) return 0;
  return replaceTextFile(path, ini::update(old, section, key, text)) ? 1 : 0;
}

int winIniInt(const char* section, const char* key, int fallback) {
  return profileInt(section, key, fallback, "win.ini");
}

}  // namespace platform
