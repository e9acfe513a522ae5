// Where DVD mode finds the navigation files of the file it was given: inside
// the disc image (or drive) when the file is one, otherwise in the folder
// that holds the file. The output pin and the Settings page both load them
// this way, so the page shows the disc the pin will read.
#pragma once

#include <string>

class DvdTitleReader;

// The folder that holds `file`: the characters before its last '/' or '\\',
// or the empty string when it has neither.
std::string folderOf(const std::string& file);

struct NavigationLoad {
  bool loaded = false;
  // What failed to load: the image itself, or the folder the files were
  // looked for in.
  std::string location;
  // For an image that is damaged or scrambled, the image reader's one line;
  // empty otherwise (the title reader's own messages say the rest).
  std::string problem;
};

// Loads the navigation files for `file` (the list's current file) into
// `reader`, from the image `file` when it is one, else from `folder`.
NavigationLoad loadNavigation(DvdTitleReader& reader, const std::string& file,
                              const std::string& folder);
