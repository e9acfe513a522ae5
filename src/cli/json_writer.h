// A small JSON writer for the tool's --json outputs: objects and arrays
// opened and closed in order, two spaces of indent a level, strings escaped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

class JsonWriter {
 public:
  // Opens an object or an array: as the document, as the next element of
  // the open array, or (with a key) as a member of the open object.
  JsonWriter& object(const char* key = nullptr);
  JsonWriter& array(const char* key = nullptr);
  // Closes the innermost open object or array.
  JsonWriter& end();

  // Members of the open object (or, without a key, elements of the open
  // array).
  JsonWriter& string(const char* key, const std::string& value);
  JsonWriter& number(const char* key, std::int64_t value);
  // A number given as its text ("0.800", "29.97").
  JsonWriter& decimal(const char* key, const std::string& text);
  JsonWriter& boolean(const char* key, bool value);
  JsonWriter& null(const char* key);

  // The document, ended by a newline; every level must be closed.
  std::string text() const { return out_ + "\n"; }

 private:
  // Starts the next member or element: comma, newline, indent, key.
  void next(const char* key);

  struct Level {
    char close;  // '}' or ']'
    bool empty;  // nothing written in it yet
  };
  std::string out_;
  std::vector<Level> levels_;
};

// `text` as a JSON string, quotes included.
std::string jsonQuoted(const std::string& text);

}  // namespace cli
