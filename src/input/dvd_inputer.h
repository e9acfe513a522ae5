// A sibling of MultipleFileInputer with its own message texts and an `open`
// without a result; the filter does not use it.
#pragma once

#include "input/joined_file_inputer.h"

class DvdInputer : public JoinedFileInputer {
 public:
  DvdInputer();
  ~DvdInputer() = default;

  // Success shows in `isOpen`.
  void open(FileList* fileList);
};
