// Fuzzes the list-text parsing: any bytes, taken as the text of a list file
// (up to the first NUL, as when a list is read).
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "input/file_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  const char* p = text.c_str();
  std::int32_t lines = FileList::countLines(p);
  char** names = FileList::splitLines(p, lines);
  if (!names) std::abort();
  std::size_t total = 0;
  for (std::int32_t i = 0; i < lines; ++i) {
    const char* name = names[i];
    if (!name || !*name || std::strpbrk(name, "\r\n")) std::abort();
    total += std::strlen(name);
    std::free(names[i]);
  }
  std::free(names);
  if (total > std::strlen(p)) std::abort();
  return 0;
}
