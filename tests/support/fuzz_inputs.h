// The inputs kept for a fuzz target, replayed through the target's harness
// so that the test programs (the sanitized one too) check them on every run:
// its seeds under fuzz/corpus/<target> and the inputs that once failed under
// fuzz/regressions/<target>.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace testing_support {

// A harness's entry: 0 for an input that ran cleanly.
using FuzzEntry = int (*)(const std::uint8_t* data, std::size_t size);

// Whether an empty file is an input of the harness or a mistake.
enum class EmptyInputs { Refused, Replayed };

// Runs every file of fuzz/<kind>/<target> (kind "corpus" or "regressions")
// through `entry` and expects 0 of each, naming the file in a failure. A
// folder without inputs fails, and so does a refused empty file, which ends
// the replay.
void replayFuzzInputs(const std::string& kind, const std::string& target, FuzzEntry entry,
                      EmptyInputs empty = EmptyInputs::Refused);

}  // namespace testing_support
