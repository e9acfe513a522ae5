// The text format of the Linux registry hives.
//
// One hive is one small text file, close to the exported-registry format so
// that it is easy to read and to edit by hand:
//
//   ; comment lines start with ';' or '#'
//   [SOFTWARE\Ormelund\Trivane\Fennoria]
//   "DvdReadMode"=dword:00000001
//   "DvdTitle"="3"
//   "Blob"=hex:01,02,ff
//   "Other"=hex(b):00,00,00,00,00,00,00,00
//   @="the key's unnamed value"
//
// A "[path]" line starts a key; the lines below it, up to the next key, are
// its values. Key paths are backslash-separated and compared without regard to
// ASCII case; a key also exists when it is the parent of a key in the file.
// Value names are compared the same way. Value data are:
//   "text"            a string (REG_SZ); \\ \" \n \r \t and \xHH are escapes,
//                     the same escapes are allowed in value names
//   dword:XXXXXXXX    a DWORD (REG_DWORD), 1 to 8 hexadecimal digits
//   hex:AA,BB,...     binary data (REG_BINARY), possibly empty
//   hex(T):AA,...     data of any other type number T (hexadecimal)
// Blanks around the "=" and at the ends of a line are ignored. Any other line
// makes the whole file unreadable (corrupt).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {
namespace hive {

struct Value {
  std::string name;  // empty for the unnamed value
  std::uint32_t type = 0;
  std::string data;  // the raw bytes; a string without its terminating zero
};

struct Key {
  std::string path;  // normalised: no empty components
  std::vector<Value> values;
};

struct Document {
  std::vector<Key> keys;
};

struct ParseError {
  int line = 0;  // 1-based; 0 when the text parsed
  std::string reason;
};

// Parses `text` into `doc`. Returns false (and fills `error`) on the first
// line that is not valid; `doc` is then left empty.
bool parse(const std::string& text, Document* doc, ParseError* error);

std::string serialize(const Document& doc);

// The path with empty components (doubled, leading, trailing backslashes)
// dropped.
std::string normalisePath(const std::string& path);

bool sameName(const std::string& a, const std::string& b);

// `s` without the blanks (space, tab, carriage return) at its ends; the INI
// files of the profile calls are trimmed the same way.
std::string trim(const std::string& s);

// The key stored under exactly `path` (normalised), or null.
Key* findKey(Document& doc, const std::string& path);
const Key* findKey(const Document& doc, const std::string& path);

// True when `path` is stored, is the parent of a stored key, or is the root.
bool keyExists(const Document& doc, const std::string& path);

// The key under `path`, added when missing.
Key& addKey(Document& doc, const std::string& path);

Value* findValue(Key& key, const std::string& name);
const Value* findValue(const Key& key, const std::string& name);

}  // namespace hive
}  // namespace platform
