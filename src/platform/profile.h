// INI ("profile") files with the semantics of the Windows profile calls.
//
// On Windows these are GetPrivateProfileIntA, GetPrivateProfileStringA,
// WritePrivateProfileStringA and GetProfileIntA; a file name without a folder
// lands in the Windows folder. On Linux such a name lands in the
// configuration folder (config_files.h), and WIN.INI is "win.ini" there.
//
// File layout: "[section]" lines, then "key=value" lines; section and key
// names are compared without regard to ASCII case, blanks around names and
// values are dropped, one pair of quotes around a value is dropped, and lines
// starting with ';' are comments.
#pragma once

#include <cstdint>

namespace platform {

// The value as a decimal number (blanks, a sign, digits up to the first
// other character); `fallback` when the key is missing or its value empty.
int profileInt(const char* section, const char* key, int fallback, const char* file);

// Copies the value (or `fallback` when the key is missing) into `out`,
// truncated to size - 1 characters and terminated; returns the count copied.
std::uint32_t profileString(const char* section, const char* key, const char* fallback, char* out,
                            std::uint32_t size, const char* file);

// Sets key=text in section, creating the file and section as needed. A null
// `text` removes the key, a null `key` the whole section. Non-zero on
// success.
int writeProfileString(const char* section, const char* key, const char* text, const char* file);

// An integer from WIN.INI.
int winIniInt(const char* section, const char* key, int fallback);

}  // namespace platform
