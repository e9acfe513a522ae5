// Replays the inputs kept for the random-access reader's fuzz target (its seeds and the
// inputs under fuzz/regressions/random_access_fuzz) through the same harness, so
// that the sanitized test program checks them on every run.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#define FENNORIA_FUZZ_REPLAY_ONLY
#include "../../fuzz/random_access_fuzz.cpp"
#include "support/scratch.h"

namespace {

std::vector<std::filesystem::path> keptInputs(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error))
    if (entry.is_regular_file()) files.push_back(entry.path());
  return files;
}

void replay(const std::vector<std::filesystem::path>& files) {
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    std::string bytes = testing_support::readWholeFile(file.string());
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(random_access_fuzz::runOne(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()),
              0);
  }
}

const std::string kFuzz = std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz";

}  // namespace

TEST(RandomAccessFuzzInputs, SeedsRunCleanly) {
  auto seeds = keptInputs(kFuzz + "/corpus/random_access_fuzz");
  ASSERT_FALSE(seeds.empty());
  replay(seeds);
}

TEST(RandomAccessFuzzInputs, KeptRegressionsRunCleanly) {
  replay(keptInputs(kFuzz + "/regressions/random_access_fuzz"));
}
