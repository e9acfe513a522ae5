#include "cli/inputs.h"

#include <filesystem>
#include <system_error>

#include "cli/args.h"

namespace fs = std::filesystem;

namespace cli {

void InputFiles::add(const std::string& path) { paths_.push_back(path); }

void InputFiles::addFolder(const std::string& folder) {
  std::error_code error;
  for (fs::directory_iterator it(fs::u8path(folder), error), end; !error && it != end;
       it.increment(error))
    if (it->is_regular_file(error)) paths_.push_back(it->path().u8string());
}

void InputFiles::checkOutput(const std::string& command, const std::string& option,
                             const std::string& output) const {
  std::error_code error;
  const fs::path out = fs::u8path(output);
  if (!fs::exists(out, error)) return;
  for (const std::string& input : paths_) {
    // The same file on disk: same device and file number, whatever the
    // names or links that lead there.
    if (fs::equivalent(out, fs::u8path(input), error))
      usage(command, option + " " + output + " is one of this run's inputs" +
                         (input == output ? "" : " (" + input + ")") +
                         ": writing it would destroy it; choose another name");
  }
}

}  // namespace cli
