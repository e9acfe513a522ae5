// The files a run reads. An output that is one of them, under whatever name
// (a link, another path to the same file), would destroy the run's own
// input before it had been read: such a run ends before anything is
// written.
#pragma once

#include <string>
#include <vector>

namespace cli {

class InputFiles {
 public:
  // One file the run reads.
  void add(const std::string& path);
  // Every file in `folder` (a VIDEO_TS folder: its IFO, BUP and VOB files).
  void addFolder(const std::string& folder);
  // Ends the run with a usage error (exit 2) when `output`, as it stands on
  // disk now, is one of the inputs; `option` names how it was given.
  void checkOutput(const std::string& command, const std::string& option,
                   const std::string& output) const;

 private:
  std::vector<std::string> paths_;
};

}  // namespace cli
