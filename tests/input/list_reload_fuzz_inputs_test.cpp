// Replays the inputs kept for the list-reload fuzz target (its seeds and the
// inputs under fuzz/regressions/list_reload_fuzz) through the same harness,
// which aborts on a descriptor left open or closed too many, or on bytes
// that differ from the listed files.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/list_reload_fuzz.cpp"
#include "support/scratch.h"

namespace {

int replay(const std::string& folder) {
  int replayed = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (!entry.is_regular_file()) continue;
    SCOPED_TRACE(entry.path().filename().string());
    std::string bytes = testing_support::readWholeFile(entry.path().string());
    EXPECT_EQ(list_reload_fuzz::runOne(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                     bytes.size()),
              0);
    ++replayed;
  }
  return replayed;
}

}  // namespace

TEST(ListReloadFuzzInputs, SeedsRunCleanly) {
  EXPECT_GT(replay(std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz/corpus/list_reload_fuzz"), 0);
}
