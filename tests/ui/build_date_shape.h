// Whether a text has the shape of the About page's build date:
// "Month dd, yyyy", the day's first character a blank or a digit.
#pragma once

#include <cctype>
#include <string>

namespace testing_support {

inline bool looksLikeBuildDate(const std::string& text) {
  static const char* const kMonths[] = {"January", "February", "March",     "April",
                                        "May",     "June",     "July",      "August",
                                        "September", "October", "November", "December"};
  auto digit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
  for (const char* month : kMonths) {
    const std::string prefix = std::string(month) + " ";
    if (text.rfind(prefix, 0) != 0) continue;
    const std::string rest = text.substr(prefix.size());
    return rest.size() == 8 && (rest[0] == ' ' || digit(rest[0])) && digit(rest[1]) &&
           rest.compare(2, 2, ", ") == 0 && digit(rest[4]) && digit(rest[5]) && digit(rest[6]) &&
           digit(rest[7]);
  }
  return false;
}

}  // namespace testing_support
