// Replays the inputs kept for the demultiplexer's fuzz target (its seeds and
// the inputs under fuzz/regressions/demux_fuzz) through the same harness, so
// that the sanitized test program checks them on every run.
#include <gtest/gtest.h>

#include "../../fuzz/demux_fuzz.cpp"
#include "support/fuzz_inputs.h"

using testing_support::replayFuzzInputs;

TEST(DemuxFuzzInputs, KeptRegressionsRunCleanly) {
  replayFuzzInputs("regressions", "demux_fuzz", LLVMFuzzerTestOneInput);
}

TEST(DemuxFuzzInputs, SeedsRunCleanly) {
  replayFuzzInputs("corpus", "demux_fuzz", LLVMFuzzerTestOneInput);
}
