#include <cstdio>

namespace platform {

void showMessageNatively(const char* text, const char* caption) {
  std::fprintf(stderr, "%s: %s\n", caption ? caption : "", text ? text : "");
}

}  // namespace platform
