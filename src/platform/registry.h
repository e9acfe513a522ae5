// Access to the registry with the semantics of the Win32 Reg* calls.
//
// On Windows these are thin wrappers of RegOpenKeyExA, RegCreateKeyExA,
// RegQueryValueExA, RegSetValueExA and RegCloseKey. On Linux the two hives
// are small text files of our own (see hive_file.h for the format and
// config_files.h for where they live): HKEY_CURRENT_USER is the user's hive,
// HKEY_LOCAL_MACHINE the machine's. Results are Win32 error codes in both
// cases, so callers test against kRegOk and nothing else.
#pragma once

#include <cstdint>

namespace platform {

enum class Hive { CurrentUser, LocalMachine };

// An open key: an HKEY on Windows, an entry of the key table on Linux.
using RegKey = std::uintptr_t;
constexpr RegKey kNoKey = 0;

// Value types, numbered as the registry numbers them.
constexpr std::uint32_t kRegNone = 0;
constexpr std::uint32_t kRegSz = 1;
constexpr std::uint32_t kRegBinary = 3;
constexpr std::uint32_t kRegDword = 4;

// Win32 error codes the calls return.
constexpr long kRegOk = 0;                 // ERROR_SUCCESS
constexpr long kRegNotFound = 2;           // ERROR_FILE_NOT_FOUND
constexpr long kRegAccessDenied = 5;       // ERROR_ACCESS_DENIED
constexpr long kRegInvalidHandle = 6;      // ERROR_INVALID_HANDLE
constexpr long kRegInvalidParameter = 87;  // ERROR_INVALID_PARAMETER
constexpr long kRegMoreData = 234;         // ERROR_MORE_DATA
constexpr long kRegCorrupt = 1015;         // ERROR_REGISTRY_CORRUPT
constexpr long kRegKeyDeleted = 1018;      // ERROR_KEY_DELETED

enum class RegAccess { Read, All };  // KEY_READ, KEY_ALL_ACCESS

// RegOpenKeyExA(hive, path, 0, access, key): the key must exist.
long regOpenKey(Hive hive, const char* path, RegAccess access, RegKey* key);

// RegCreateKeyExA(hive, path, 0, NULL, REG_OPTION_NON_VOLATILE,
// KEY_ALL_ACCESS, NULL, key, NULL): opens the key, creating it (and its
// parents) when missing.
long regCreateKey(Hive hive, const char* path, RegKey* key);

// RegQueryValueExA(key, name, NULL, type, data, size). `type` and `data`
// may be null. *size holds the buffer's size on entry and the data's size on
// return; a buffer too small gives kRegMoreData with the size needed.
long regQueryValue(RegKey key, const char* name, std::uint32_t* type, void* data,
                   std::uint32_t* size);

// RegSetValueExA(key, name, 0, type, data, size).
long regSetValue(RegKey key, const char* name, std::uint32_t type, const void* data,
                 std::uint32_t size);

long regCloseKey(RegKey key);

}  // namespace platform
