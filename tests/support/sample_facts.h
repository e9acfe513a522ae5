// The recorded facts of a bundled sample disc: what libdvdread read
// (dvdread-facts.txt) and what libdvdnav played (dvdnav-blocks.txt), one
// "key value..." line each, for tests that compare with them without the
// libraries at run time.
#pragma once

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace testing_support {

using Facts = std::map<std::string, std::string>;

// The facts of `file`: each line's first word is the key, the rest its value.
inline Facts loadFactsFile(const std::string& file) {
  Facts facts;
  std::ifstream in(file);
  std::string line;
  while (std::getline(in, line)) {
    std::size_t space = line.find(' ');
    if (space != std::string::npos) facts[line.substr(0, space)] = line.substr(space + 1);
  }
  return facts;
}

// The word after `name` in a "name value name value" fact; "?" when absent.
inline std::string factField(const std::string& fact, const std::string& name) {
  std::istringstream in(fact);
  std::string word;
  while (in >> word)
    if (word == name && in >> word) return word;
  return "?";
}

// One range libdvdnav played: title, chapters first-last, and its blocks.
struct PlayedRange {
  int title = 0, first = 0, last = 0;
  std::string sha256;
  long long sectors = 0;
};

// Every range of a dvdnav-blocks.txt ("title.T.chapters.A-B sha256 H
// sectors N").
inline std::vector<PlayedRange> playedRanges(const std::string& file) {
  std::vector<PlayedRange> ranges;
  for (const auto& [key, value] : loadFactsFile(file)) {
    PlayedRange range;
    char dash = 0;
    if (key.rfind("title.", 0) != 0 || key.find(".chapters.") == std::string::npos) continue;
    if (std::sscanf(key.c_str(), "title.%d.chapters.%d%c%d", &range.title, &range.first, &dash,
                    &range.last) != 4)
      continue;
    range.sha256 = factField(value, "sha256");
    range.sectors = std::stoll(factField(value, "sectors"));
    ranges.push_back(range);
  }
  return ranges;
}

}  // namespace testing_support
