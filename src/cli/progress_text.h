// The text of the tool's progress line: where it is, how much of how much,
// how fast, and how long it has taken and will take, in sizes people read.
#pragma once

#include <cstdint>
#include <string>

namespace cli {

// "380.0 KiB", "1.50 GiB": bytes in the largest binary unit that keeps the
// number at 1 or more (below 1 KiB, whole bytes).
std::string readableSize(std::int64_t bytes);

// "0:01:05".
std::string clockTime(std::int64_t seconds);

// One line for `position` of `total` bytes after `elapsed` seconds, the
// current file first. The speed shows from half a second on, the time left
// once a second has passed and some but not all of the work is done: before
// that no estimate means anything.
std::string progressText(const std::string& currentFile, std::int64_t position,
                         std::int64_t total, double elapsed);

}  // namespace cli
