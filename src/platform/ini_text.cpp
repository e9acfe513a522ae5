#include "platform/ini_text.h"

#include <vector>

#include "platform/hive_file.h"

namespace platform {
namespace ini {

namespace {

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(pos, end - pos);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
    pos = end + 1;
  }
  return lines;
}

// The section name of a "[name]" line.
bool sectionOf(const std::string& line, std::string* name) {
  std::string t = hive::trim(line);
  if (t.size() < 2 || t[0] != '[') return false;
  std::size_t close = t.find(']');
  if (close == std::string::npos) return false;
  *name = hive::trim(t.substr(1, close - 1));
  return true;
}

// The key and value of a "key=value" line.
bool entryOf(const std::string& line, std::string* key, std::string* value) {
  std::string t = hive::trim(line);
  if (t.empty() || t[0] == ';') return false;
  std::size_t eq = t.find('=');
  if (eq == std::string::npos) return false;
  *key = hive::trim(t.substr(0, eq));
  *value = hive::trim(t.substr(eq + 1));
  if (value->size() >= 2 && (value->front() == '"' || value->front() == '\'') &&
      value->back() == value->front())
    *value = value->substr(1, value->size() - 2);
  return true;
}

}  // namespace

bool lookup(const std::string& text, const std::string& section, const std::string& key,
            std::string* value) {
  bool inSection = false;
  for (const std::string& line : splitLines(text)) {
    std::string name;
    if (sectionOf(line, &name)) {
      inSection = hive::sameName(name, hive::trim(section));
      continue;
    }
    std::string entryKey;
    std::string entryValue;
    if (inSection && entryOf(line, &entryKey, &entryValue) &&
        hive::sameName(entryKey, hive::trim(key))) {
      *value = entryValue;
      return true;
    }
  }
  return false;
}

std::string update(const std::string& text, const std::string& section, const char* key,
                   const char* value) {
  std::vector<std::string> lines = splitLines(text);
  std::vector<std::string> out;
  bool inSection = false;
  bool sectionSeen = false;
  bool done = false;
  std::size_t insertAt = 0;  // after the last entry of the section
  for (const std::string& line : lines) {
    std::string name;
    if (sectionOf(line, &name)) {
      inSection = hive::sameName(name, hive::trim(section));
      if (inSection) {
        sectionSeen = true;
        if (!key) continue;  // the section goes, header and all
        out.push_back(line);
        insertAt = out.size();
        continue;
      }
      out.push_back(line);
      continue;
    }
    if (inSection) {
      if (!key) continue;
      std::string entryKey;
      std::string entryValue;
      if (entryOf(line, &entryKey, &entryValue) && hive::sameName(entryKey, hive::trim(key))) {
        if (value && !done) out.push_back(hive::trim(key) + "=" + value);
        done = true;
        insertAt = out.size();
        continue;
      }
      out.push_back(line);
      if (!hive::trim(line).empty()) insertAt = out.size();
      continue;
    }
    out.push_back(line);
  }
  if (key && value && !done) {
    std::string entry = hive::trim(key) + "=" + value;
    if (sectionSeen) {
      out.insert(out.begin() + static_cast<std::ptrdiff_t>(insertAt), entry);
    } else {
      out.push_back("[" + hive::trim(section) + "]");
      out.push_back(entry);
    }
  }
  std::string result;
  for (const std::string& line : out) result += line + "\n";
  return result;
}

}  // namespace ini
}  // namespace platform
