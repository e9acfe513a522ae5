#include "input/dvd_inputer.h"

namespace {
const JoinedFileInputer::Texts& dvdInputerTexts() {
  static const JoinedFileInputer::Texts texts = {
      "DvdInputer::open",      "Failed to open a file in the list.",
      "DvdInputer::open",      "DvdInputer::seek",
      "DvdInputer::readBlock", "DvdInputer - Error",
      "DvdInputer::seekFileAndPosition",
  };
  return texts;
}
}  // namespace

DvdInputer::DvdInputer() : JoinedFileInputer(dvdInputerTexts()) {}

void DvdInputer::open(FileList* fileList) { openFiles(fileList); }
