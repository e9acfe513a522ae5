#include "input/multiple_file_inputer.h"

namespace {
const JoinedFileInputer::Texts& multipleFileInputerTexts() {
  static const JoinedFileInputer::Texts texts = {
      "MultipleFileInputer::open",      "Failed to open file %s",
      "MultipleFileReader",             "MultipleFileInputer::seek",
      "MultipleFileInputer::readBlock", "MultipleFileInputer - Error",
      "MultipleFileInputer::seekFileAndPosition",
  };
  return texts;
}
}  // namespace

MultipleFileInputer::MultipleFileInputer() : JoinedFileInputer(multipleFileInputerTexts()) {}

HRESULT MultipleFileInputer::open(FileList* fileList) {
  return openFiles(fileList) ? S_OK : E_FAIL;
}
