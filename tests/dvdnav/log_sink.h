// Collects what the navigation readers hand to their log sink.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "demux/stream.h"

namespace testing_support {

struct LogSink {
  static std::vector<std::pair<int, std::string>>& entries() {
    static std::vector<std::pair<int, std::string>> all;
    return all;
  }
  static void record(int level, const char* text) { entries().emplace_back(level, text); }

  LogSink() { entries().clear(); }
  mpdx::LogCallback stream{&LogSink::record};

  bool has(int level, const std::string& text) const {
    for (const auto& e : entries())
      if (e.first == level && e.second == text) return true;
    return false;
  }
};

}  // namespace testing_support
