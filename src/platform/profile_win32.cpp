#include <windows.h>

#include "platform/profile.h"

namespace platform {

int profileInt(const char* section, const char* key, int fallback, const char* file) {
  return static_cast<int>(GetPrivateProfileIntA(section, key, fallback, file));
}

std::uint32_t profileString(const char* section, const char* key, const char* fallback, char* out,
                            std::uint32_t size, const char* file) {
  return GetPrivateProfileStringA(section, key, fallback, out, size, file);
}

int writeProfileString(const char* section, const char* key, const char* text, const char* file) {
  return WritePrivateProfileStringA(section, key, text, file);
}

int winIniInt(const char* section, const char* key, int fallback) {
  return static_cast<int>(GetProfileIntA(section, key, fallback));
}

}  // namespace platform
