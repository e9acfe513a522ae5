#include <windows.h>

#include "platform/registry.h"

namespace platform {

namespace {
HKEY root(Hive hive) { return hive == Hive::CurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }
HKEY handle(RegKey key) { return reinterpret_cast<HKEY>(key); }
}  // namespace

long regOpenKey(Hive hive, const char* path, RegAccess access, RegKey* key) {
  if (!key) return kRegInvalidParameter;
  HKEY opened = nullptr;
  LONG result = RegOpenKeyExA(root(hive), path, 0,
                              access == RegAccess::All ? KEY_ALL_ACCESS : KEY_READ, &opened);
  *key = result == ERROR_SUCCESS ? reinterpret_cast<RegKey>(opened) : kNoKey;
  return result;
}

long regCreateKey(Hive hive, const char* path, RegKey* key) {
  if (!key) return kRegInvalidParameter;
  HKEY opened = nullptr;
  LONG result = RegCreateKeyExA(root(hive), path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                KEY_ALL_ACCESS, nullptr, &opened, nullptr);
  *key = result == ERROR_SUCCESS ? reinterpret_cast<RegKey>(opened) : kNoKey;
  return result;
}

long regQueryValue(RegKey key, const char* name, std::uint32_t* type, void* data,
                   std::uint32_t* size) {
  DWORD valueType = 0;
  DWORD valueSize = size ? *size : 0;
  LONG result = RegQueryValueExA(handle(key), name, nullptr, &valueType,
                                 static_cast<BYTE*>(data), size ? &valueSize : nullptr);
  if (type) *type = valueType;
  if (size) *size = valueSize;
  return result;
}

long regSetValue(RegKey key, const char* name, std::uint32_t type, const void* data,
                 std::uint32_t size) {
  return RegSetValueExA(handle(key), name, 0, type, static_cast<const BYTE*>(data), size);
}

long regCloseKey(RegKey key) { return RegCloseKey(handle(key)); }

}  // namespace platform
