// The inputer the filter uses in list mode.
#pragma once

#include "input/joined_file_inputer.h"
#include "platform/hresult.h"

class MultipleFileInputer : public JoinedFileInputer {
 public:
  MultipleFileInputer();
  ~MultipleFileInputer() = default;

  // S_OK, or E_FAIL after a message.
  HRESULT open(FileList* fileList);
};
