// The Linux registry: each hive is a text file (hive_file.h), read afresh for
// every call so that edits by hand or by another process are seen at once.
#include <map>
#include <mutex>
#include <string>

#include "platform/config_files.h"
#include "platform/hive_file.h"
#include "platform/registry.h"

namespace platform {

namespace {

struct OpenKey {
  Hive hive;
  std::string path;
};

std::mutex tableMutex;
std::map<RegKey, OpenKey> openKeys;
RegKey nextKey = 1;

std::string hivePath(Hive hive) {
  return hive == Hive::CurrentUser ? userHivePath() : machineHivePath();
}

enum class Load { Ok, Corrupt };

// Loads the hive; a missing file is an empty hive. A file that cannot be read
// or parsed is reported once and then behaves as an empty hive that refuses
// to be written, so the user's file is never overwritten.
Load loadHive(const std::string& path, hive::Document* doc) {
  doc->keys.clear();
  std::string text;
  switch (readTextFile(path, &text)) {
    case TextFileRead::Missing:
      return Load::Ok;
    case TextFileRead::Failed:
      reportConfigProblem("registry file " + path +
                          " cannot be read; its settings are ignored and the defaults apply");
      return Load::Corrupt;
    case TextFileRead::Ok:
      break;
  }
  hive::ParseError error;
  if (hive::parse(text, doc, &error)) return Load::Ok;
  reportConfigProblem("registry file " + path + " is corrupt at line " +
                      std::to_string(error.line) + " (" + error.reason +
                      "); its settings are ignored and the defaults apply");
  return Load::Corrupt;
}

bool findOpenKey(RegKey key, OpenKey* out) {
  std::lock_guard<std::mutex> lock(tableMutex);
  auto it = openKeys.find(key);
  if (it == openKeys.end()) return false;
  *out = it->second;
  return true;
}

RegKey addOpenKey(Hive hive, const std::string& path) {
  std::lock_guard<std::mutex> lock(tableMutex);
  RegKey key = nextKey++;
  openKeys[key] = OpenKey{hive, path};
  return key;
}

bool validPath(const char* path) {
  for (const char* p = path; *p; ++p)
    if (*p == '\n' || *p == '[' || *p == ']') return false;
  return true;
}

}  // namespace

long regOpenKey(Hive hive, const char* path, RegAccess access, RegKey* key) {
  (void)access;  // a hive that cannot be written fails at the write
  if (!key) return kRegInvalidParameter;
  *key = kNoKey;
  std::string wanted = hive::normalisePath(path ? path : "");
  hive::Document doc;
  loadHive(hivePath(hive), &doc);
  if (!hive::keyExists(doc, wanted)) return kRegNotFound;
  *key = addOpenKey(hive, wanted);
  return kRegOk;
}

long regCreateKey(Hive hive, const char* path, RegKey* key) {
  if (!key) return kRegInvalidParameter;
  *key = kNoKey;
  if (!path || !validPath(path)) return kRegInvalidParameter;
  std::string wanted = hive::normalisePath(path);
  std::string file = hivePath(hive);
  hive::Document doc;
  if (loadHive(file, &doc) == Load::Corrupt) return kRegCorrupt;
  if (!hive::keyExists(doc, wanted)) {
    FileLock lock(file);
    if (loadHive(file, &doc) == Load::Corrupt) return kRegCorrupt;
    if (!hive::keyExists(doc, wanted)) {
      hive::addKey(doc, wanted);
      if (!replaceTextFile(file, hive::serialize(doc))) return kRegAccessDenied;
    }
  }
  *key = addOpenKey(hive, wanted);
  return kRegOk;
}

long regQueryValue(RegKey key, const char* name, std::uint32_t* type, void* data,
                   std::uint32_t* size) {
  OpenKey open;
  if (!findOpenKey(key, &open)) return kRegInvalidHandle;
  if (data && !size) return kRegInvalidParameter;
  hive::Document doc;
  loadHive(hivePath(open.hive), &doc);
  if (!hive::keyExists(doc, open.path)) return kRegKeyDeleted;
  const hive::Key* stored = hive::findKey(doc, open.path);
  const hive::Value* value = stored ? hive::findValue(*stored, name ? name : "") : nullptr;
  if (!value) return kRegNotFound;
  // Strings are handed out with their terminating zero, as the registry
  // returns a string stored with it; a buffer with room for the text but not
  // for the zero gets the text alone, as for a string stored without one.
  std::string bytes = value->data;
  if (value->type == kRegSz && !(data && size && *size == bytes.size())) bytes.push_back('\0');
  std::uint32_t needed = static_cast<std::uint32_t>(bytes.size());
  if (type) *type = value->type;
  if (!size) return kRegOk;
  if (data && *size < needed) {
    *size = needed;
    return kRegMoreData;
  }
  if (data) bytes.copy(static_cast<char*>(data), needed);
  *size = needed;
  return kRegOk;
}

long regSetValue(RegKey key, const char* name, std::uint32_t type, const void* data,
                 std::uint32_t size) {
  OpenKey open;
  if (!findOpenKey(key, &open)) return kRegInvalidHandle;
  if (!data && size) return kRegInvalidParameter;
  std::string bytes(static_cast<const char*>(data ? data : ""), size);
  if (type == kRegSz) bytes = bytes.substr(0, bytes.find('\0'));
  std::string file = hivePath(open.hive);
  FileLock lock(file);
  hive::Document doc;
  if (loadHive(file, &doc) == Load::Corrupt) return kRegCorrupt;
  if (!hive::keyExists(doc, open.path)) return kRegKeyDeleted;
  hive::Key& stored = hive::addKey(doc, open.path);
  std::string valueName = name ? name : "";
  if (hive::Value* existing = hive::findValue(stored, valueName)) {
    existing->type = type;
    existing->data = bytes;
  } else {
    stored.values.push_back(hive::Value{valueName, type, bytes});
  }
  return replaceTextFile(file, hive::serialize(doc)) ? kRegOk : kRegAccessDenied;
}

long regCloseKey(RegKey key) {
  std::lock_guard<std::mutex> lock(tableMutex);
  return openKeys.erase(key) ? kRegOk : kRegInvalidHandle;
}

}  // namespace platform
