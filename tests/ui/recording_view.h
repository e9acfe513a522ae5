// A progress view that remembers every update the model makes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "ui/progress_model.h"

namespace testing_support {

class RecordingView : public ProgressView {
 public:
  void setText(int control, const char* text) override {
    texts[control] = text;
    events.push_back("text " + std::to_string(control) + " " + text);
  }
  void setBarPosition(std::int32_t value) override {
    bar = value;
    events.push_back("bar " + std::to_string(value));
  }
  void stopTimer() override {
    ++timerStops;
    events.push_back("stop");
  }

  // The latest text of a control ("" if it never got one).
  std::string text(int control) const {
    auto it = texts.find(control);
    return it == texts.end() ? std::string() : it->second;
  }
  int barUpdates() const {
    int count = 0;
    for (const auto& e : events) count += e.rfind("bar ", 0) == 0;
    return count;
  }

  std::map<int, std::string> texts;
  std::vector<std::string> events;
  std::int32_t bar = -1;
  int timerStops = 0;
};

}  // namespace testing_support
