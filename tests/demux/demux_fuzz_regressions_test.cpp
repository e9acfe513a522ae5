// Replays the inputs kept for the demultiplexer's fuzz target (its seeds and
// the inputs under fuzz/regressions/demux_fuzz) through the same harness, so
// that the sanitized test program checks them on every run.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "../../fuzz/demux_fuzz.cpp"
#include "support/scratch.h"

namespace {

std::vector<std::filesystem::path> keptInputs(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error))
    if (entry.is_regular_file()) files.push_back(entry.path());
  return files;
}

void replay(const std::string& folder) {
  auto files = keptInputs(folder);
  ASSERT_FALSE(files.empty()) << folder;
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    std::string bytes = testing_support::readWholeFile(file.string());
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                     bytes.size()),
              0);
  }
}

}  // namespace

TEST(DemuxFuzzInputs, KeptRegressionsRunCleanly) {
  replay(std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz/regressions/demux_fuzz");
}

TEST(DemuxFuzzInputs, SeedsRunCleanly) {
  replay(std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz/corpus/demux_fuzz");
}
