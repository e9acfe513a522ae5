// Reading and changing the text of an INI file, keeping every line the change
// does not touch (comments included). Used by the Linux profile calls.
#pragma once

#include <string>

namespace platform {
namespace ini {

// The value of `key` in `section`, or false when there is none.
bool lookup(const std::string& text, const std::string& section, const std::string& key,
            std::string* value);

// The text with key=value set (value null: key removed; key null: section
// removed).
std::string update(const std::string& text, const std::string& section, const char* key,
                   const char* value);

}  // namespace ini
}  // namespace platform
