// Replays the inputs kept for the random-access reader's fuzz target (its seeds and the
// inputs under fuzz/regressions/random_access_fuzz) through the same harness, so
// that the sanitized test program checks them on every run.
#include <gtest/gtest.h>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/random_access_fuzz.cpp"
#include "support/fuzz_inputs.h"

using testing_support::keptFuzzInputs;
using testing_support::replayFuzzInputs;

TEST(RandomAccessFuzzInputs, SeedsRunCleanly) {
  auto seeds = keptFuzzInputs("corpus", "random_access_fuzz");
  ASSERT_FALSE(seeds.empty());
  replayFuzzInputs(seeds, random_access_fuzz::runOne);
}

TEST(RandomAccessFuzzInputs, KeptRegressionsRunCleanly) {
  replayFuzzInputs(keptFuzzInputs("regressions", "random_access_fuzz"), random_access_fuzz::runOne);
}
