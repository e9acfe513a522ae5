#include "cli/json_writer.h"

#include <cstdio>

namespace cli {

std::string jsonQuoted(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      out += escape;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

void JsonWriter::next(const char* key) {
  if (!levels_.empty()) {
    if (!levels_.back().empty) out_ += ',';
    levels_.back().empty = false;
    out_ += '\n';
    out_.append(2 * levels_.size(), ' ');
  }
  if (key) out_ += jsonQuoted(key) + ": ";
}

JsonWriter& JsonWriter::object(const char* key) {
  next(key);
  out_ += '{';
  levels_.push_back({'}', true});
  return *this;
}

JsonWriter& JsonWriter::array(const char* key) {
  next(key);
  out_ += '[';
  levels_.push_back({']', true});
  return *this;
}

JsonWriter& JsonWriter::end() {
  const Level level = levels_.back();
  levels_.pop_back();
  if (!level.empty) {
    out_ += '\n';
    out_.append(2 * levels_.size(), ' ');
  }
  out_ += level.close;
  return *this;
}

JsonWriter& JsonWriter::string(const char* key, const std::string& value) {
  next(key);
  out_ += jsonQuoted(value);
  return *this;
}

JsonWriter& JsonWriter::number(const char* key, std::int64_t value) {
  next(key);
  out_ += std::to_string(value);
  return *this;
}

JsonWriter& JsonWriter::decimal(const char* key, const std::string& text) {
  next(key);
  out_ += text;
  return *this;
}

JsonWriter& JsonWriter::boolean(const char* key, bool value) {
  next(key);
  out_ += value ? "true" : "false";
  return *this;
}

JsonWriter& JsonWriter::null(const char* key) {
  next(key);
  out_ += "null";
  return *this;
}

}  // namespace cli
