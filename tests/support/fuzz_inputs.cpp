#include "support/fuzz_inputs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "support/scratch.h"

namespace testing_support {

void replayFuzzInputs(const std::string& kind, const std::string& target, FuzzEntry entry,
                      EmptyInputs empty) {
  const std::string folder = std::string(FENNORIA_SAMPLES_DIR) + "/../fuzz/" + kind + "/" + target;
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& item : std::filesystem::directory_iterator(folder, error))
    if (item.is_regular_file()) files.push_back(item.path());
  ASSERT_FALSE(files.empty()) << "no inputs in " << folder;
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
