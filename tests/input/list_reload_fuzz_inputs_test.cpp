// Replays the seeds of the list-reload fuzz target through the same harness,
// which aborts on a descriptor left open or closed too many, or on bytes that
// differ from the listed files. (The target has found nothing to keep under
// fuzz/regressions yet.)
#include <gtest/gtest.h>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/list_reload_fuzz.cpp"
#include "support/fuzz_inputs.h"

TEST(ListReloadFuzzInputs, SeedsRunCleanly) {
  // The harness takes an empty file too: it ignores inputs of under two bytes.
  testing_support::replayFuzzInputs("corpus", "list_reload_fuzz", list_reload_fuzz::runOne,
                                    testing_support::EmptyInputs::Replayed);
}
