// Replays the inputs kept for the IFO parsers' fuzz target (its seeds and the
// inputs under fuzz/regressions/ifo_fuzz) through the same harness, so that
// the sanitized test program checks them on every run.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

// The demultiplexer's harness shares this test program and the entry
// point's name.
#define LLVMFuzzerTestOneInput IfoFuzzTestOneInput
#include "../../fuzz/ifo_fuzz.cpp"
#undef LLVMFuzzerTestOneInput
#include "support/scratch.h"

namespace {

std::vector<std::filesystem::path> keptIfoInputs(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error))
    if (entry.is_regular_file()) files.push_back(entry.path());
  return files;
}

void replayIfoInputs(const std::string& folder) {
  auto files = keptIfoInputs(folder);
  ASSERT_FALSE(files.empty()) << folder;
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    std::string bytes = testing_support::readWholeFile(file.string());
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(IfoFuzzTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                  bytes.size()),
              0);
  }
}

}  // namespace

TEST(IfoFuzzInputs, SeedsRunCleanly) {
  replayIfoInputs(std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz/corpus/ifo_fuzz");
}
