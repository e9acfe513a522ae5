// Replays the seeds of the random-access reader's fuzz target through the
// same harness, so that the sanitized test program checks them on every run.
// (The target has found nothing to keep under fuzz/regressions yet.)
#include <gtest/gtest.h>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/random_access_fuzz.cpp"
#include "support/fuzz_inputs.h"

TEST(RandomAccessFuzzInputs, SeedsRunCleanly) {
  testing_support::replayFuzzInputs("corpus", "random_access_fuzz", random_access_fuzz::runOne);
}
