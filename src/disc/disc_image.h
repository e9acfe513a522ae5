// The VIDEO_TS folder of a DVD-Video disc image (an image file or a drive),
// found through the image's UDF file system or, where it has none, its
// ISO 9660 one. Read only; nothing is trusted: every count is checked
// against the bytes that hold it, every descriptor against the partition
// and the image it points into.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "disc/image_bytes.h"

namespace disc {

constexpr std::int64_t kSectorSize = 2048;

// A run of a file's bytes in the image.
struct Extent {
  std::int64_t offset;
  std::int64_t length;
};

struct ImageFile {
  std::string name;  // as recorded; found without regard to case
  std::int64_t length = 0;
  std::vector<Extent> extents;  // in file order, lengths adding up to `length`
};

// What is wrong with an image, for callers that answer differently.
enum class Problem {
  None,
  NotAnImage,   // neither file system is there
  NoVideoTs,    // a file system without a VIDEO_TS folder
  Truncated,    // something lies beyond the image's end
  Malformed,    // descriptors that contradict themselves, loop or point outside
  Unsupported,  // valid, but a form DVD-Video discs do not use
  Scrambled,    // readable, but its VOB files are encrypted
  Unreadable,   // the file or device cannot be opened
};

struct ImageTable {
  Problem problem = Problem::None;
  std::string message;     // one line, naming the field at fault
  std::string fileSystem;  // "UDF" or "ISO 9660"
  // The volume's name, which players show as the disc's: the UDF primary
  // volume identifier, or the ISO 9660 volume identifier; printable ASCII
  // only, trailing blanks taken off, empty when there is none.
  std::string label;
  std::vector<ImageFile> files;
};

// Reads the file table of the image's VIDEO_TS folder.
ImageTable readImageTable(ImageBytes& image);

// Whether the image starts with a volume recognition area (ISO 9660 or
// UDF), which a VOB or any other media file does not.
bool hasVolumeSignature(ImageBytes& image);

// The file called `name`, compared without regard to case; null when none.
const ImageFile* findFile(const ImageTable& table, const std::string& name);

// How the readers below stop at the first fault.
class ImageError : public std::runtime_error {
 public:
  ImageError(Problem kind, const std::string& message)
      : std::runtime_error(message), problem(kind) {}
  Problem problem;
};

}  // namespace disc
