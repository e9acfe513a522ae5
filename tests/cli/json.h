// A small JSON reader for the tool's --json output: enough to walk objects,
// arrays, strings and numbers.
#pragma once

#include <cctype>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli_test {

struct Json {
  enum Kind { Null, Bool, Number, String, Array, Object } kind = Null;
  double num = 0;
  bool boolean = false;
  std::string str;
  std::vector<Json> items;
  std::map<std::string, Json> fields;

  const Json& operator[](const std::string& key) const {
    auto it = fields.find(key);
    if (kind != Object || it == fields.end()) throw std::runtime_error("no field " + key);
    return it->second;
  }
  const Json& operator[](std::size_t i) const {
    if (kind != Array || i >= items.size()) throw std::runtime_error("no item");
    return items[i];
  }
  long long integer() const { return static_cast<long long>(num); }
  std::size_t size() const { return kind == Array ? items.size() : fields.size(); }
};

class JsonParser {
 public:
  explicit JsonParser(const std::string& text) : s_(text) {}
  Json parse() {
    Json v = value();
    skip();
    if (at_ != s_.size()) throw std::runtime_error("trailing text");
    return v;
  }

 private:
  void skip() {
    while (at_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[at_]))) ++at_;
  }
  char peek() {
    skip();
    if (at_ >= s_.size()) throw std::runtime_error("unexpected end");
    return s_[at_];
  }
  void expect(char c) {
    if (peek() != c) throw std::runtime_error(std::string("expected ") + c + " at " + std::to_string(at_));
    ++at_;
  }
  std::string string() {
    expect('"');
    std::string out;
    while (at_ < s_.size() && s_[at_] != '"') {
      char c = s_[at_++];
      if (c == '\\') {
        char e = s_.at(at_++);
        if (e == 'u') {
          out += static_cast<char>(std::stoi(s_.substr(at_, 4), nullptr, 16));
          at_ += 4;
        } else {
          out += e == 'n' ? '\n' : e == 't' ? '\t' : e;
        }
      } else {
        out += c;
      }
    }
    expect('"');
    return out;
  }
  Json value() {
    Json v;
    char c = peek();
    if (c == '{') {
      v.kind = Json::Object;
      ++at_;
      if (peek() == '}') { ++at_; return v; }
      for (;;) {
        std::string key = string();
        expect(':');
        v.fields[key] = value();
        if (peek() == ',') { ++at_; continue; }
        expect('}');
        return v;
      }
    }
    if (c == '[') {
      v.kind = Json::Array;
      ++at_;
      if (peek() == ']') { ++at_; return v; }
      for (;;) {
        v.items.push_back(value());
        if (peek() == ',') { ++at_; continue; }
        expect(']');
        return v;
      }
    }
    if (c == '"') {
      v.kind = Json::String;
      v.str = string();
      return v;
    }
    if (s_.compare(at_, 4, "true") == 0) { at_ += 4; v.kind = Json::Bool; v.boolean = true; return v; }
    if (s_.compare(at_, 5, "false") == 0) { at_ += 5; v.kind = Json::Bool; return v; }
    if (s_.compare(at_, 4, "null") == 0) { at_ += 4; return v; }
    std::size_t used = 0;
    v.num = std::stod(s_.substr(at_), &used);
    if (used == 0) throw std::runtime_error("bad value");
    at_ += used;
    v.kind = Json::Number;
    return v;
  }

  const std::string& s_;
  std::size_t at_ = 0;
};

inline Json parseJson(const std::string& text) { return JsonParser(text).parse(); }

}  // namespace cli_test
