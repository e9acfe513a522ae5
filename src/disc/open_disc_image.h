// Opens a disc image or drive for DVD reading with every check the readers
// share: that it is an image at all, that its file system reads, that it has
// a Video Manager, and that it is not scrambled.
#pragma once

#include <memory>
#include <string>

#include "disc/disc_files.h"

struct OpenedDiscImage {
  std::shared_ptr<const ImageFiles> files;  // null unless the image can be read
  disc::Problem problem = disc::Problem::None;
  std::string message;  // one line, when `files` is null
};

// The VIDEO_TS folder inside the image or drive `path`; `location` names it
// in messages. A file that is no image at all gives Problem::NotAnImage.
OpenedDiscImage openDiscImage(const std::string& path, const std::string& location);
