// A private registry for one test.
//
// On Windows the real registry is used through the Reg* calls: the sandbox
// makes a key of its own under HKEY_CURRENT_USER\Software\FennoriaTests and,
// while it lives, maps HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE of this
// process onto two subkeys of it (RegOverridePredefKey); the whole key is
// deleted at the end. On Linux the hive files and the configuration folder are
// pointed at a scratch folder through the environment.
//
// The helpers read and write values directly (Reg* on Windows, the hive file
// text on Linux), independently of the code under test.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "support/scratch.h"

namespace testing_support {

struct StoredValue {
  std::uint32_t type = 0;
  std::string data;
};

class RegistrySandbox {
 public:
  RegistrySandbox();
  ~RegistrySandbox();
  RegistrySandbox(const RegistrySandbox&) = delete;
  RegistrySandbox& operator=(const RegistrySandbox&) = delete;

  // A scratch folder for log files and INI files of the test.
  const ScratchDir& scratch() const { return scratch_; }

#ifndef _WIN32
  std::string configFolder() const;
  std::string userHive() const;
  std::string machineHive() const;
#endif

  void createKey(platform::Hive hive, const std::string& path);
  void setRaw(platform::Hive hive, const std::string& path, const std::string& name,
              std::uint32_t type, const std::string& bytes);
  void setDword(platform::Hive hive, const std::string& path, const std::string& name,
                std::uint32_t value);
  // A REG_SZ stored with its terminating zero.
  void setString(platform::Hive hive, const std::string& path, const std::string& name,
                 const std::string& text);

  bool keyExists(platform::Hive hive, const std::string& path) const;
  std::optional<StoredValue> value(platform::Hive hive, const std::string& path,
                                   const std::string& name) const;
  // The value names of a key in stored order.
  std::vector<std::string> valueNames(platform::Hive hive, const std::string& path) const;

 private:
  ScratchDir scratch_;
  struct State;
  std::unique_ptr<State> state_;
};

// The text of a REG_SZ read back, without the terminating zero if any.
std::string textOf(const StoredValue& value);
// The DWORD of a value read back (its first four bytes, little-endian).
std::uint32_t dwordOf(const StoredValue& value);

}  // namespace testing_support
