// Replays the inputs kept for the list-reload fuzz target (its seeds and the
// inputs under fuzz/regressions/list_reload_fuzz) through the same harness,
// which aborts on a descriptor left open or closed too many, or on bytes
// that differ from the listed files.
#include <gtest/gtest.h>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/list_reload_fuzz.cpp"
#include "support/fuzz_inputs.h"

using testing_support::EmptyInputs;
using testing_support::keptFuzzInputs;
using testing_support::replayFuzzInputs;

TEST(ListReloadFuzzInputs, SeedsRunCleanly) {
  auto seeds = keptFuzzInputs("corpus", "list_reload_fuzz");
  EXPECT_GT(seeds.size(), 0u);
  // The harness takes an empty file too: it ignores inputs of under two bytes.
  replayFuzzInputs(seeds, list_reload_fuzz::runOne, EmptyInputs::Replayed);
}
