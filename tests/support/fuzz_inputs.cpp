#include "support/fuzz_inputs.h"

#include <gtest/gtest.h>

#include <system_error>

#include "support/scratch.h"

namespace testing_support {

std::vector<std::filesystem::path> keptFuzzInputs(const std::string& kind,
                                                  const std::string& target) {
  const std::string folder = std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz/" + kind + "/" + target;
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error))
    if (entry.is_regular_file()) files.push_back(entry.path());
  return files;
}

void replayFuzzInputs(const std::vector<std::filesystem::path>& files, FuzzEntry entry,
                      EmptyInputs empty) {
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    std::string bytes = readWholeFile(file.string());
    if (empty == EmptyInputs::Refused) {
      ASSERT_FALSE(bytes.empty());
    }
    EXPECT_EQ(entry(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()), 0);
  }
}

}  // namespace testing_support
