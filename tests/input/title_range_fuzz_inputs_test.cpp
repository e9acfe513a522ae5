// Replays the inputs kept for the DVD title reader's fuzz target (its seeds
// and the inputs under fuzz/regressions/title_range_fuzz) through the same
// harness, so that the sanitized test program checks them on every run.
#include <gtest/gtest.h>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/title_range_fuzz.cpp"
#include "support/fuzz_inputs.h"

using testing_support::replayFuzzInputs;

TEST(TitleRangeFuzzInputs, SeedsRunCleanly) {
  replayFuzzInputs("corpus", "title_range_fuzz", title_range_fuzz::runOne);
}

TEST(TitleRangeFuzzInputs, KeptRegressionsRunCleanly) {
  replayFuzzInputs("regressions", "title_range_fuzz", title_range_fuzz::runOne);
}
