// fennoria config: reads and changes the filter's settings and the debug
// log's values in the settings store (the registry on Windows, the hive
// files on Linux).
#include <cctype>
#include <cstring>
#include <iterator>

#include "cli/cli.h"
#include "filter/settings_store.h"
#include "platform/registry.h"

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/config_files.h"
#include "platform/hive_file.h"
#endif

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria config get NAME\n"
    "       fennoria config set NAME VALUE\n"
    "       fennoria config unset NAME\n"
    "       fennoria config list\n"
    "\n"
    "The filter's settings (read from the current user, or from the machine when\n"
    "the current user has none; written for the current user):\n"
    "  DvdReadMode   0 list mode, 1 DVD mode with demultiplexing, other DVD mode\n"
    "  DvdTitle      DVD title set number\n"
    "  DvdPgc        program chain number (0 is the first)\n"
    "  DvdAudio      audio stream number\n"
    "  DvdPlaybackOrder 1 delivers a chain's cells in order, each its own sectors\n"
    "  ShowProgress  0 keeps the progress window hidden while the graph runs\n"
    "  StandardReads 1 serves parsers that read at any position (see the README)\n"
    "  SettingsPage  1 adds the Settings page beside About in graph editors\n"
    "The debug log's values (machine-wide), named log.MODULE.VALUE, with MODULE\n"
    "GLOBAL or a module's file name (fennoria.dll) and VALUE one of TIMING, TRACE,\n"
    "MEMORY, LOCKING, ERROR, CUSTOM1 to CUSTOM5, TIMEOUT (numbers) or LogToFile\n"
    "(a text: Console, Debugger, or a file's path).\n"
    "\n"
    "On Linux the current user's values live in $FENNORIA_USER_HIVE (else\n"
    "~/.config/fennoria/user.reg), the machine's in $FENNORIA_MACHINE_HIVE (else\n"
    "/etc/fennoria/machine.reg). 'get' of a value that is not set exits with 1.\n"
    "\n"
    "examples:\n"
    "  fennoria config set DvdReadMode 2\n"
    "  fennoria config get DvdTitle\n"
    "  fennoria config set log.fennoria.dll.TRACE 2\n"
    "  fennoria config set log.fennoria.dll.LogToFile /tmp/fennoria.log\n"
    "  fennoria config unset DvdPgc\n";

const char* kLogRoot = "SOFTWARE\\DebugOrmelund";
const char* kCategories[] = {"TIMING",  "TRACE",   "MEMORY",  "LOCKING", "ERROR",   "CUSTOM1",
                             "CUSTOM2", "CUSTOM3", "CUSTOM4", "CUSTOM5", "TIMEOUT"};
const char* kFilterValues[] = {"DvdReadMode",      "DvdTitle",     "DvdPgc",
                               "DvdAudio",         "DvdPlaybackOrder", "ShowProgress",
                               "StandardReads",    "SettingsPage"};

bool sameText(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

struct Setting {
  std::string name;       // as shown
  std::string keyPath;
  std::string valueName;
  bool machine;           // the debug log's tree: the machine's only
  bool text;              // REG_SZ rather than REG_DWORD
};

Setting resolve(const std::string& name) {
  for (const char* v : kFilterValues)
    if (sameText(name, v)) return {v, kSettingsKeyPath, v, false, false};
  if (name.size() > 4 && sameText(name.substr(0, 4), "log.")) {
    std::size_t dot = name.rfind('.');
    std::string module = name.substr(4, dot > 4 ? dot - 4 : 0);
    std::string value = name.substr(dot + 1);
    if (!module.empty() && module.find('\\') == std::string::npos) {
      if (sameText(value, "LogToFile"))
        return {name, std::string(kLogRoot) + "\\" + module, "LogToFile", true, true};
      for (const char* c : kCategories)
        if (sameText(value, c)) return {name, std::string(kLogRoot) + "\\" + module, c, true, false};
    }
  }
  usage("config", "unknown setting '" + name +
                      "' (DvdReadMode, DvdTitle, DvdPgc, DvdAudio, DvdPlaybackOrder, ShowProgress, "
                      "StandardReads, SettingsPage or log.MODULE.VALUE)");
}

std::string hiveName(platform::Hive hive) {
#ifdef _WIN32
  return hive == platform::Hive::CurrentUser ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE";
#else
  return hive == platform::Hive::CurrentUser ? platform::userHivePath()
                                             : platform::machineHivePath();
#endif
}

// The value's text, or false when it is not set. Reads follow the settings
// store: the current user's key, when it exists, hides the machine's.
bool readValue(const Setting& s, std::string* text) {
  platform::RegKey key = platform::kNoKey;
  long opened = platform::kRegNotFound;
  if (!s.machine) opened = platform::regOpenKey(platform::Hive::CurrentUser, s.keyPath.c_str(),
                                                platform::RegAccess::Read, &key);
  if (opened != platform::kRegOk)
    opened = platform::regOpenKey(platform::Hive::LocalMachine, s.keyPath.c_str(),
                                  platform::RegAccess::Read, &key);
  if (opened != platform::kRegOk) return false;
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  long result = platform::regQueryValue(key, s.valueName.c_str(), &type, nullptr, &size);
  std::string data(size, '\0');
  if (result == platform::kRegOk && size > 0)
    result = platform::regQueryValue(key, s.valueName.c_str(), &type, &data[0], &size);
  platform::regCloseKey(key);
  if (result != platform::kRegOk) return false;
  data.resize(size);
  if (type == platform::kRegDword && size == 4) {
    std::uint32_t value;
    std::memcpy(&value, data.data(), 4);
    *text = std::to_string(value);
  } else if (type == platform::kRegSz) {
    *text = std::string(data.c_str());
  } else {
    *text = "(a value of registry type " + std::to_string(type) + ")";
  }
  return true;
}

void writeValue(const Setting& s, const std::string& value) {
  platform::Hive hive = s.machine ? platform::Hive::LocalMachine : platform::Hive::CurrentUser;
  std::uint32_t type;
  std::string data;
  if (s.text) {
    type = platform::kRegSz;
    data = value;
    data.push_back('\0');
  } else {
    std::int64_t n = 0;
    if (!parseNumber(value, &n) || n < -2147483648LL || n > 4294967295LL)
      usage("config", s.name + " takes a number, not '" + value + "'");
    std::uint32_t dword = static_cast<std::uint32_t>(n);
    type = platform::kRegDword;
    data.assign(reinterpret_cast<const char*>(&dword), 4);
  }
  platform::RegKey key = platform::kNoKey;
  long result = platform::regCreateKey(hive, s.keyPath.c_str(), &key);
  if (result == platform::kRegOk) {
    result = platform::regSetValue(key, s.valueName.c_str(), type, data.data(),
                                   static_cast<std::uint32_t>(data.size()));
    platform::regCloseKey(key);
  }
  if (result != platform::kRegOk)
    fail(hiveName(hive), "cannot write " + s.name + " (error " + std::to_string(result) +
                             (result == platform::kRegAccessDenied ? ", access denied" : "") + ")");
}

// Removes the value; false when it was not there.
bool removeValue(const Setting& s) {
  platform::Hive hive = s.machine ? platform::Hive::LocalMachine : platform::Hive::CurrentUser;
#ifdef _WIN32
  HKEY root = s.machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
  HKEY key;
  LONG result = RegOpenKeyExA(root, s.keyPath.c_str(), 0, KEY_SET_VALUE, &key);
  if (result == ERROR_FILE_NOT_FOUND) return false;
  if (result == ERROR_SUCCESS) {
    result = RegDeleteValueA(key, s.valueName.c_str());
    RegCloseKey(key);
  }
  if (result == ERROR_FILE_NOT_FOUND) return false;
  if (result != ERROR_SUCCESS)
    fail(hiveName(hive), "cannot remove " + s.name + " (error " + std::to_string(result) + ")");
  return true;
#else
  const std::string path = hiveName(hive);
  platform::FileLock lock(path);
  std::string text;
  platform::TextFileRead got = platform::readTextFile(path, &text);
  if (got == platform::TextFileRead::Missing) return false;
  if (got == platform::TextFileRead::Failed) fail(path, "cannot be read (" + errnoText() + ")");
  platform::hive::Document doc;
  platform::hive::ParseError error;
  if (!platform::hive::parse(text, &doc, &error))
    fail(path, "is corrupt at line " + std::to_string(error.line) + " (" + error.reason +
                   "); not changed");
  platform::hive::Key* key = platform::hive::findKey(doc, s.keyPath);
  if (!key) return false;
  auto& values = key->values;
  std::size_t before = values.size();
  for (auto it = values.begin(); it != values.end();)
    it = platform::hive::sameName(it->name, s.valueName) ? values.erase(it) : it + 1;
  if (values.size() == before) return false;
  if (!platform::replaceTextFile(path, platform::hive::serialize(doc)))
    fail(path, "cannot be rewritten (" + errnoText() + ")");
  return true;
#endif
}

}  // namespace

int runConfig(const std::vector<std::string>& argv) {
  Args args("config", argv, {});
  if (args.help) return printHelp(kHelp);
  if (args.positional.empty()) usage("config", "give get, set, unset or list");
  const std::string& action = args.positional[0];
  std::size_t operands = args.positional.size() - 1;
  if (action == "list") {
    if (operands != 0) usage("config", "list takes no name");
    std::vector<std::string> names(std::begin(kFilterValues), std::end(kFilterValues));
    for (const char* module : {"GLOBAL", "fennoria.dll"}) {
      for (const char* c : kCategories) names.push_back(std::string("log.") + module + "." + c);
      names.push_back(std::string("log.") + module + ".LogToFile");
    }
    for (const auto& name : names) {
      std::string text;
      if (readValue(resolve(name), &text)) std::printf("%s=%s\n", name.c_str(), text.c_str());
    }
    return 0;
  }
  if (action == "get") {
    if (operands != 1) usage("config", "get takes one NAME");
    Setting s = resolve(args.positional[1]);
    std::string text;
    if (!readValue(s, &text)) fail(s.name, "not set (the filter uses its default)");
    std::printf("%s\n", text.c_str());
    return 0;
  }
  if (action == "set") {
    if (operands != 2) usage("config", "set takes NAME and VALUE");
    writeValue(resolve(args.positional[1]), args.positional[2]);
    return 0;
  }
  if (action == "unset") {
    if (operands != 1) usage("config", "unset takes one NAME");
    Setting s = resolve(args.positional[1]);
    if (!removeValue(s)) std::fprintf(stderr, "fennoria: %s: was not set\n", s.name.c_str());
    return 0;
  }
  usage("config", "unknown action '" + action + "' (get, set, unset or list)");
}

}  // namespace cli
