// A DVD folder as the subcommands open it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "demux/stream.h"

class DiscFiles;
class DvdTitleReader;
namespace dvdnav {
struct ProgramChain;
}

namespace cli {

class InputFiles;

// Whether `path` is a disc image file or (on Linux) a drive's block device
// holding a disc, rather than a folder or a media file.
bool isDiscImage(const std::string& path);

// A DVD opened for the subcommands: resolves FOLDER (or its VIDEO_TS child),
// or opens the VIDEO_TS folder inside a disc image or drive; loads the
// navigation files and keeps the reader's messages.
struct Disc {
  explicit Disc(const std::string& folder, bool dumpToStdout = false);
  ~Disc();
  // Selects program chain `pgc` of title set `titleSet` (and its cell
  // `cell`, 0 for none; all from 1, numbers the disc has: see
  // cli/selection.h), its cells in playback order or with `range` the
  // sectors from its first cell to its last (one cell is the same either
  // way), on a fresh set of VOB files. Fails with a clear message when the
  // chain cannot be played in order or the VOB files end too soon.
  void select(std::int32_t titleSet, std::int32_t pgc, std::int32_t cell, bool range);
  // Selects chapters `first` to `last` (0: the first, the last) of disc
  // title `title`, a title the disc has; fails as `select` does.
  void selectTitle(std::int32_t title, std::int32_t first, std::int32_t last);
  // The name of the VOB file the reader stands in.
  std::string currentVob() const;
  // The name of the VOB file that byte `offset` of the selection comes from.
  std::string vobAt(std::int64_t offset) const;
  // The files the disc is read from: the image, or every file of the folder.
  void addInputs(InputFiles& inputs) const;
  // Why title set `titleSet` (1-based) cannot be used, when neither its IFO
  // nor the backup copy could be read; null when it can.
  const std::string* unusable(std::int32_t titleSet) const;

  // The folder, or for an image "IMAGE/VIDEO_TS": what messages name.
  std::string folder;
  // The image's or drive's volume name; empty for a folder or an image
  // without one.
  std::string label;

 private:
  // The image file or drive; empty for a folder.
  std::string image_;
  // What the reader says: failures and selection errors (levels 0 and 1)
  // are kept for the message that ends the run; the dump (level 3) goes to
  // stdout while `dumping_`. Declared before the reader, which writes to it
  // until its last moment.
  std::vector<std::string> messages_;
  bool dumping_ = false;
  mpdx::LogCallback log_;
  std::map<std::int32_t, std::string> unusable_;

  // Loads the navigation files from the folder, or from `image` when given.
  void load(std::shared_ptr<const DiscFiles> image, bool dumpToStdout);
  // Ends the run with the reader's last message when `result` is not 0.
  void check(int result);
  // Fails when the VOB files of title set `titleSet` are not whole sectors,
  // a part is missing before the last one there, or they end before the
  // selection does.
  void checkVobs(std::int32_t titleSet);
  // Why the file `path` gave nothing, in the system's words.
  static std::string whyUnreadable(const std::string& path, bool inImage);
  // A range read of a chain whose cells are out of order holds what is not
  // the chain's: one warning line, or the end of the run when the range is
  // empty.
  void checkRangeOrder(const dvdnav::ProgramChain& chain, std::int32_t titleSet,
                       std::int32_t pgc) const;

 public:
  std::unique_ptr<DvdTitleReader> reader;
};

}  // namespace cli
