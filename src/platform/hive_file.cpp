#include "platform/hive_file.h"

#include <cstdio>
#include <optional>

namespace platform {
namespace hive {

namespace {

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }


std::optional<int> hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = lower(c);
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return std::nullopt;
}

// The byte written as two hexadecimal digits at `at` of `s`, if they are.
std::optional<char> hexByte(const std::string& s, std::size_t at) {
  if (at + 1 >= s.size()) return std::nullopt;
  const std::optional<int> high = hexDigit(s[at]), low = hexDigit(s[at + 1]);
  if (!high || !low) return std::nullopt;
  return static_cast<char>(*high * 16 + *low);
}

bool startsWithNoCase(const std::string& s, std::size_t at, const char* prefix) {
  for (std::size_t i = 0; prefix[i]; ++i)
    if (at + i >= s.size() || lower(s[at + i]) != lower(prefix[i])) return false;
  return true;
}

// Reads a quoted text starting at s[*at] == '"'; leaves *at after the
// closing quote.
bool readQuoted(const std::string& s, std::size_t* at, std::string* out, std::string* reason) {
  std::size_t i = *at + 1;
  out->clear();
  while (i < s.size()) {
    char c = s[i];
    if (c == '"') {
      *at = i + 1;
      return true;
    }
    if (c != '\\') {
      out->push_back(c);
      ++i;
      continue;
    }
    if (i + 1 >= s.size()) break;
    char e = s[i + 1];
    i += 2;
    switch (e) {
      case '\\': out->push_back('\\'); break;
      case '"': out->push_back('"'); break;
      case 'n': out->push_back('\n'); break;
      case 'r': out->push_back('\r'); break;
      case 't': out->push_back('\t'); break;
      case 'x': {
        const std::optional<char> byte = hexByte(s, i);
        if (!byte) {
          *reason = "bad \\x escape";
          return false;
        }
        out->push_back(*byte);
        i += 2;
        break;
      }
      default:
        *reason = std::string("unknown escape \\") + e;
        return false;
    }
  }
  *reason = "unterminated text";
  return false;
}

bool readHexBytes(const std::string& s, std::string* out, std::string* reason) {
  out->clear();
  std::string body = trim(s);
  if (body.empty()) return true;
  std::size_t i = 0;
  for (;;) {
    while (i < body.size() && isBlank(body[i])) ++i;
    const std::optional<char> byte = hexByte(body, i);
    if (!byte) {
      *reason = "bad hexadecimal byte";
      return false;
    }
    out->push_back(*byte);
    i += 2;
    while (i < body.size() && isBlank(body[i])) ++i;
    if (i == body.size()) return true;
    if (body[i] != ',') {
      *reason = "bytes must be separated by commas";
      return false;
    }
    ++i;
  }
}

bool readData(const std::string& s, Value* value, std::string* reason) {
  std::string text = trim(s);
  if (!text.empty() && text[0] == '"') {
    std::size_t at = 0;
    if (!readQuoted(text, &at, &value->data, reason)) return false;
    if (at != text.size()) {
      *reason = "text after the closing quote";
      return false;
    }
    value->type = 1;
    return true;
  }
  if (startsWithNoCase(text, 0, "dword:")) {
    std::string digits = trim(text.substr(6));
    if (digits.empty() || digits.size() > 8) {
      *reason = "a dword needs 1 to 8 hexadecimal digits";
      return false;
    }
    std::uint32_t number = 0;
    for (char c : digits) {
      const std::optional<int> d = hexDigit(c);
      if (!d) {
        *reason = "bad hexadecimal digit in a dword";
        return false;
      }
      number = number * 16 + static_cast<std::uint32_t>(*d);
    }
    value->type = 4;
    value->data.clear();
    for (int b = 0; b < 4; ++b) value->data.push_back(static_cast<char>((number >> (8 * b)) & 0xFF));
    return true;
  }
  if (startsWithNoCase(text, 0, "hex:")) {
    value->type = 3;
    return readHexBytes(text.substr(4), &value->data, reason);
  }
  if (startsWithNoCase(text, 0, "hex(")) {
    std::size_t close = text.find(')');
    if (close == std::string::npos || close + 1 >= text.size() || text[close + 1] != ':' ||
        close == 4 || close - 4 > 8) {
      *reason = "bad hex(type): prefix";
      return false;
    }
    std::uint32_t type = 0;
    for (std::size_t i = 4; i < close; ++i) {
      const std::optional<int> d = hexDigit(text[i]);
      if (!d) {
        *reason = "bad type number";
        return false;
      }
      type = type * 16 + static_cast<std::uint32_t>(*d);
    }
    value->type = type;
    return readHexBytes(text.substr(close + 2), &value->data, reason);
  }
  *reason = "unknown kind of value data";
  return false;
}

void appendQuoted(std::string* out, const std::string& text) {
  static const char digits[] = "0123456789abcdef";
  out->push_back('"');
  for (char c : text) {
    unsigned char u = static_cast<unsigned char>(c);
    switch (c) {
      case '\\': *out += "\\\\"; break;
      case '"': *out += "\\\""; break;
      case '\n': *out += "\\n"; break;
      case '\r': *out += "\\r"; break;
      case '\t': *out += "\\t"; break;
      default:
        if (u < 0x20 || u == 0x7F) {
          *out += "\\x";
          out->push_back(digits[u >> 4]);
          out->push_back(digits[u & 15]);
        } else {
          out->push_back(c);
        }
    }
  }
  out->push_back('"');
}

void appendHex(std::string* out, const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    unsigned char u = static_cast<unsigned char>(bytes[i]);
    if (i) out->push_back(',');
    out->push_back(digits[u >> 4]);
    out->push_back(digits[u & 15]);
  }
}

}  // namespace

std::string trim(const std::string& s) {
  std::size_t begin = 0;
  std::size_t end = s.size();
  while (begin < end && isBlank(s[begin])) ++begin;
  while (end > begin && isBlank(s[end - 1])) --end;
  return s.substr(begin, end - begin);
}

bool sameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

std::string normalisePath(const std::string& path) {
  std::string out;
  std::string part;
  auto flush = [&] {
    if (part.empty()) return;
    if (!out.empty()) out.push_back('\\');
    out += part;
    part.clear();
  };
  for (char c : path) {
    if (c == '\\')
      flush();
    else
      part.push_back(c);
  }
  flush();
  return out;
}

bool parse(const std::string& text, Document* doc, ParseError* error) {
  Document result;
  Key* current = nullptr;
  int lineNumber = 0;
  std::size_t pos = 0;
  auto fail = [&](const std::string& reason) {
    if (error) {
      error->line = lineNumber;
      error->reason = reason;
    }
    doc->keys.clear();
    return false;
  };
  while (pos < text.size()) {
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string line = trim(text.substr(pos, end - pos));
    pos = end + 1;
    ++lineNumber;
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    if (line[0] == '[') {
      if (line.back() != ']') return fail("a key line must end with ']'");
      current = &addKey(result, line.substr(1, line.size() - 2));
      continue;
    }
    if (!current) return fail("a value before the first [key] line");
    Value value;
    std::size_t at = 0;
    if (line[0] == '@') {
      at = 1;
    } else if (line[0] == '"') {
      std::string reason;
      if (!readQuoted(line, &at, &value.name, &reason)) return fail(reason);
    } else {
      return fail("expected [key], \"name\"=data or @=data");
    }
    while (at < line.size() && isBlank(line[at])) ++at;
    if (at >= line.size() || line[at] != '=') return fail("expected '=' after the value name");
    std::string reason;
    if (!readData(line.substr(at + 1), &value, &reason)) return fail(reason);
    if (Value* existing = findValue(*current, value.name))
      *existing = value;
    else
      current->values.push_back(value);
  }
  *doc = std::move(result);
  if (error) *error = ParseError{};
  return true;
}

std::string serialize(const Document& doc) {
  std::string out =
      "; Fennoria registry hive. One [key] line per key, then its values:\n"
      "; \"name\"=\"text\", \"name\"=dword:0000000a, \"name\"=hex:01,02 or @= for the unnamed value.\n";
  for (const Key& key : doc.keys) {
    out += "\n[" + key.path + "]\n";
    for (const Value& value : key.values) {
      if (value.name.empty())
        out.push_back('@');
      else
        appendQuoted(&out, value.name);
      out.push_back('=');
      if (value.type == 1 && value.data.find('\0') == std::string::npos) {
        appendQuoted(&out, value.data);
      } else if (value.type == 4 && value.data.size() == 4) {
        std::uint32_t number = 0;
        for (int b = 3; b >= 0; --b)
          number = (number << 8) | static_cast<unsigned char>(value.data[static_cast<std::size_t>(b)]);
        char digits[16];
        std::snprintf(digits, sizeof digits, "dword:%08x", number);
        out += digits;
      } else if (value.type == 3) {
        out += "hex:";
        appendHex(&out, value.data);
      } else {
        char prefix[24];
        std::snprintf(prefix, sizeof prefix, "hex(%x):", value.type);
        out += prefix;
        appendHex(&out, value.data);
      }
      out.push_back('\n');
    }
  }
  return out;
}

Key* findKey(Document& doc, const std::string& path) {
  std::string wanted = normalisePath(path);
  for (Key& key : doc.keys)
    if (sameName(key.path, wanted)) return &key;
  return nullptr;
}

const Key* findKey(const Document& doc, const std::string& path) {
  return findKey(const_cast<Document&>(doc), path);
}

bool keyExists(const Document& doc, const std::string& path) {
  std::string wanted = normalisePath(path);
  if (wanted.empty()) return true;
  for (const Key& key : doc.keys) {
    if (key.path.size() < wanted.size()) continue;
    if (!sameName(key.path.substr(0, wanted.size()), wanted)) continue;
    if (key.path.size() == wanted.size() || key.path[wanted.size()] == '\\') return true;
  }
  return false;
}

Key& addKey(Document& doc, const std::string& path) {
  if (Key* existing = findKey(doc, path)) return *existing;
  doc.keys.push_back(Key{normalisePath(path), {}});
  return doc.keys.back();
}

Value* findValue(Key& key, const std::string& name) {
  for (Value& value : key.values)
    if (sameName(value.name, name)) return &value;
  return nullptr;
}

const Value* findValue(const Key& key, const std::string& name) {
  return findValue(const_cast<Key&>(key), name);
}

}  // namespace hive
}  // namespace platform
