#include "input/output_file_stream.h"

OutputFileStream::OutputFileStream(const char* name, bool truncate)
    : handle_(platform::openForWrite(name, truncate)) {}

OutputFileStream::~OutputFileStream() { close(); }

std::uint32_t OutputFileStream::write(const void* buffer, std::uint32_t count) {
  if (!isOpen()) return 0;
  std::uint32_t written = 0;
  platform::writeFile(handle_, buffer, count, &written);
  return written;
}

std::int64_t OutputFileStream::tell() {
  if (!isOpen()) return 1;
  return platform::moveFilePointer(handle_, 0, platform::MoveMethod::Current);
}

std::int64_t OutputFileStream::getLength() {
  if (!isOpen()) return 0;
  std::int64_t size = 0;
  return platform::getFileInformationSize(handle_, &size) ? size : -1;
}

bool OutputFileStream::isEnd() { return !isOpen() || tell() >= getLength(); }

int OutputFileStream::flush() {
  if (!isOpen()) return 1;
  return platform::flushFile(handle_) ? 1 : 0;
}

int OutputFileStream::close() {
  if (isOpen()) platform::closeFile(handle_);
  handle_ = platform::kInvalidFile;
  return 1;
}
