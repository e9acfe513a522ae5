#include "input/list_source.h"

#include "input/multiple_file_inputer.h"

std::int64_t ListSource::length() const { return inputer_ ? inputer_->totalLength : 0; }

std::int64_t ListSource::position() const { return inputer_ ? inputer_->position : 0; }

std::int64_t ListSource::seek(std::int64_t position) {
  return inputer_ ? inputer_->seek(position) : position;
}

std::int64_t ListSource::read(std::uint8_t* buffer, std::int32_t count) {
  return inputer_ ? inputer_->readBlock(buffer, count) : 0;
}

RandomAccessReader::Result ListSource::readAt(std::int64_t position, std::int32_t length,
                                              std::uint8_t* buffer) {
  return RandomAccessReader(inputer_, nullptr).read(position, length, buffer);
}

std::optional<ByteSource::CurrentFile> ListSource::currentFile() const {
  if (!inputer_) return std::nullopt;
  const FileList* list = inputer_->list;
  const std::int32_t index = inputer_->fileIndex;
  const char* name = nullptr;
  if (list && list->names && index >= 0 && index < list->count) name = list->names[index];
  return CurrentFile{index, name};
}
