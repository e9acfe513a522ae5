// Replays the seeds of the IFO parsers' fuzz target through the same harness,
// so that the sanitized test program checks them on every run.
#include <gtest/gtest.h>

// The demultiplexer's harness shares this test program and the entry
// point's name.
#define LLVMFuzzerTestOneInput IfoFuzzTestOneInput
#include "../../fuzz/ifo_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#include "support/fuzz_inputs.h"

TEST(IfoFuzzInputs, SeedsRunCleanly) {
  testing_support::replayFuzzInputs("corpus", "ifo_fuzz", IfoFuzzTestOneInput);
}
