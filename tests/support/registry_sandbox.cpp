#include "support/registry_sandbox.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>

#include "platform/hive_file.h"
#endif

namespace testing_support {

namespace {
std::atomic<unsigned> sandboxCounter{0};
}  // namespace

std::string textOf(const StoredValue& value) {
  std::string text = value.data;
  while (!text.empty() && text.back() == '\0') text.pop_back();
  return text;
}

std::uint32_t dwordOf(const StoredValue& value) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4 && i < value.data.size(); ++i)
    number |= static_cast<std::uint32_t>(static_cast<unsigned char>(value.data[i])) << (8 * i);
  return number;
}

#ifdef _WIN32

struct RegistrySandbox::State {
  std::string root;  // under the real HKEY_CURRENT_USER
  HKEY user = nullptr;
  HKEY machine = nullptr;
};

namespace {
HKEY rootOf(platform::Hive hive) {
  return hive == platform::Hive::CurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}
}  // namespace

RegistrySandbox::RegistrySandbox() : state_(new State) {
  std::ostringstream root;
  root << "Software\\FennoriaTests\\" << GetCurrentProcessId() << "-" << sandboxCounter++;
  state_->root = root.str();
  if (RegCreateKeyExA(HKEY_CURRENT_USER, (state_->root + "\\User").c_str(), 0, nullptr, 0,
                      KEY_ALL_ACCESS, nullptr, &state_->user, nullptr) != ERROR_SUCCESS ||
      RegCreateKeyExA(HKEY_CURRENT_USER, (state_->root + "\\Machine").c_str(), 0, nullptr, 0,
                      KEY_ALL_ACCESS, nullptr, &state_->machine, nullptr) != ERROR_SUCCESS)
    throw std::runtime_error("cannot make the sandbox keys");
  if (RegOverridePredefKey(HKEY_CURRENT_USER, state_->user) != ERROR_SUCCESS ||
      RegOverridePredefKey(HKEY_LOCAL_MACHINE, state_->machine) != ERROR_SUCCESS)
    throw std::runtime_error("cannot redirect the predefined keys");
}

RegistrySandbox::~RegistrySandbox() {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegCloseKey(state_->user);
  RegCloseKey(state_->machine);
  RegDeleteTreeA(HKEY_CURRENT_USER, state_->root.c_str());
  RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\FennoriaTests");  // fails while others use it
}

void RegistrySandbox::createKey(platform::Hive hive, const std::string& path) {
  HKEY key = nullptr;
  if (RegCreateKeyExA(rootOf(hive), path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                      nullptr) != ERROR_SUCCESS)
    throw std::runtime_error("cannot create " + path);
  RegCloseKey(key);
}

void RegistrySandbox::setRaw(platform::Hive hive, const std::string& path, const std::string& name,
                             std::uint32_t type, const std::string& bytes) {
  HKEY key = nullptr;
  if (RegCreateKeyExA(rootOf(hive), path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                      nullptr) != ERROR_SUCCESS)
    throw std::runtime_error("cannot create " + path);
  LONG result = RegSetValueExA(key, name.c_str(), 0, type,
                               reinterpret_cast<const BYTE*>(bytes.data()),
                               static_cast<DWORD>(bytes.size()));
  RegCloseKey(key);
  if (result != ERROR_SUCCESS) throw std::runtime_error("cannot set " + name);
}

bool RegistrySandbox::keyExists(platform::Hive hive, const std::string& path) const {
  HKEY key = nullptr;
  if (RegOpenKeyExA(rootOf(hive), path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

std::optional<StoredValue> RegistrySandbox::value(platform::Hive hive, const std::string& path,
                                                  const std::string& name) const {
  HKEY key = nullptr;
  if (RegOpenKeyExA(rootOf(hive), path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
    return std::nullopt;
  DWORD type = 0;
  DWORD size = 0;
  std::optional<StoredValue> result;
  if (RegQueryValueExA(key, name.c_str(), nullptr, &type, nullptr, &size) == ERROR_SUCCESS) {
    std::string data(size, '\0');
    if (RegQueryValueExA(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&data[0]),
                         &size) == ERROR_SUCCESS) {
      data.resize(size);
      result = StoredValue{type, data};
    }
  }
  RegCloseKey(key);
  return result;
}

std::vector<std::string> RegistrySandbox::valueNames(platform::Hive hive,
                                                     const std::string& path) const {
  std::vector<std::string> names;
  HKEY key = nullptr;
  if (RegOpenKeyExA(rootOf(hive), path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return names;
  for (DWORD i = 0;; ++i) {
    char name[256];
    DWORD length = sizeof name;
    if (RegEnumValueA(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      break;
    names.emplace_back(name, length);
  }
  RegCloseKey(key);
  return names;
}

#else  // Linux

namespace {
const char* const kVariables[] = {"FENNORIA_CONFIG_DIR", "FENNORIA_USER_HIVE",
                                  "FENNORIA_MACHINE_HIVE"};

platform::hive::Document load(const std::string& file) {
  platform::hive::Document doc;
  std::string text = readWholeFile(file);
  platform::hive::ParseError error;
  if (!platform::hive::parse(text, &doc, &error))
    throw std::runtime_error("test hive " + file + " does not parse: " + error.reason);
  return doc;
}

void store(const std::string& file, const platform::hive::Document& doc) {
  std::filesystem::create_directories(std::filesystem::path(file).parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << platform::hive::serialize(doc);
  if (!out) throw std::runtime_error("cannot write " + file);
}
}  // namespace

struct RegistrySandbox::State {
  std::vector<std::optional<std::string>> saved;
};

RegistrySandbox::RegistrySandbox() : state_(new State) {
  for (const char* name : kVariables) {
    const char* value = std::getenv(name);
    state_->saved.push_back(value ? std::optional<std::string>(value) : std::nullopt);
  }
  std::filesystem::create_directories(configFolder());
  std::filesystem::create_directories(std::filesystem::path(machineHive()).parent_path());
  setenv("FENNORIA_CONFIG_DIR", configFolder().c_str(), 1);
  setenv("FENNORIA_USER_HIVE", userHive().c_str(), 1);
  setenv("FENNORIA_MACHINE_HIVE", machineHive().c_str(), 1);
  ++sandboxCounter;
}

RegistrySandbox::~RegistrySandbox() {
  for (std::size_t i = 0; i < state_->saved.size(); ++i) {
    if (state_->saved[i])
      setenv(kVariables[i], state_->saved[i]->c_str(), 1);
    else
      unsetenv(kVariables[i]);
  }
}

std::string RegistrySandbox::configFolder() const { return scratch_.path("config"); }
std::string RegistrySandbox::userHive() const { return scratch_.path("config/user.reg"); }
std::string RegistrySandbox::machineHive() const { return scratch_.path("etc/machine.reg"); }

namespace {
std::string fileOf(const RegistrySandbox& sandbox, platform::Hive hive) {
  return hive == platform::Hive::CurrentUser ? sandbox.userHive() : sandbox.machineHive();
}
}  // namespace

void RegistrySandbox::createKey(platform::Hive hive, const std::string& path) {
  platform::hive::Document doc = load(fileOf(*this, hive));
  platform::hive::addKey(doc, path);
  store(fileOf(*this, hive), doc);
}

void RegistrySandbox::setRaw(platform::Hive hive, const std::string& path, const std::string& name,
                             std::uint32_t type, const std::string& bytes) {
  platform::hive::Document doc = load(fileOf(*this, hive));
  platform::hive::Key& key = platform::hive::addKey(doc, path);
  std::string data = bytes;
  if (type == platform::kRegSz) data = data.substr(0, data.find('\0'));
  if (platform::hive::Value* existing = platform::hive::findValue(key, name))
    *existing = platform::hive::Value{name, type, data};
  else
    key.values.push_back(platform::hive::Value{name, type, data});
  store(fileOf(*this, hive), doc);
}

bool RegistrySandbox::keyExists(platform::Hive hive, const std::string& path) const {
  return platform::hive::keyExists(load(fileOf(*this, hive)), path);
}

std::optional<StoredValue> RegistrySandbox::value(platform::Hive hive, const std::string& path,
                                                  const std::string& name) const {
  platform::hive::Document doc = load(fileOf(*this, hive));
  const platform::hive::Key* key = platform::hive::findKey(doc, path);
  const platform::hive::Value* found = key ? platform::hive::findValue(*key, name) : nullptr;
  if (!found) return std::nullopt;
  return StoredValue{found->type, found->data};
}

std::vector<std::string> RegistrySandbox::valueNames(platform::Hive hive,
                                                     const std::string& path) const {
  std::vector<std::string> names;
  platform::hive::Document doc = load(fileOf(*this, hive));
  if (const platform::hive::Key* key = platform::hive::findKey(doc, path))
    for (const auto& value : key->values) names.push_back(value.name);
  return names;
}

#endif

void RegistrySandbox::setDword(platform::Hive hive, const std::string& path,
                               const std::string& name, std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
  setRaw(hive, path, name, platform::kRegDword, bytes);
}

void RegistrySandbox::setString(platform::Hive hive, const std::string& path,
                                const std::string& name, const std::string& text) {
  setRaw(hive, path, name, platform::kRegSz, text + std::string(1, '\0'));
}

}  // namespace testing_support
