// Decimal text to a signed 32-bit number, as the settings read it: leading
// blanks, an optional sign, then digits up to the first other character; no
// digits give 0. Only the first `length` bytes are looked at, and a number too
// large for 32 bits saturates at the nearest limit instead of overflowing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

inline std::int32_t parseDecimal(const char* text, std::size_t length) {
  std::size_t i = 0;
  while (i < length && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r' ||
                        text[i] == '\v' || text[i] == '\f'))
    ++i;
  bool negative = false;
  if (i < length && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    ++i;
  }
  const std::int64_t limit = negative ? std::int64_t{2147483648} : std::int64_t{2147483647};
  std::int64_t magnitude = 0;
  for (; i < length && text[i] >= '0' && text[i] <= '9'; ++i) {
    magnitude = magnitude * 10 + (text[i] - '0');
    if (magnitude > limit) magnitude = limit;
  }
  return static_cast<std::int32_t>(negative ? -magnitude : magnitude);
}

}  // namespace platform
