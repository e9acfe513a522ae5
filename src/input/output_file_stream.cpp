#include "input/output_file_stream.h"

#include <algorithm>
#include <cstring>
#include <new>

OutputFileStream::OutputFileStream(const char* name, bool truncate, std::size_t bufferSize)
    : handle_(platform::openForWrite(name, truncate)) {
  if (!isOpen() || bufferSize == 0) return;
  buffer_.reset(new (std::nothrow) std::uint8_t[bufferSize]);
  if (buffer_) capacity_ = bufferSize;  // without memory, write through
}

OutputFileStream::~OutputFileStream() { close(); }

void OutputFileStream::writeThrough(const void* buffer, std::uint32_t count,
                                    std::uint32_t* written) {
  *written = 0;
  platform::writeFile(handle_, buffer, count, written);
  if (*written < count) writeFailed_ = true;
}

std::uint32_t OutputFileStream::write(const void* buffer, std::uint32_t count) {
  if (!isOpen()) return 0;
  std::uint32_t written = 0;
  if (capacity_ == 0) {
    writeThrough(buffer, count, &written);
    return written;
  }
  if (pending_ + count > capacity_) drain();
  if (count >= capacity_) {
    writeThrough(buffer, count, &written);
    position_ += written;
    return written;
  }
  std::memcpy(buffer_.get() + pending_, buffer, count);
  pending_ += count;
  position_ += count;
  return count;
}

void OutputFileStream::drain() {
  if (pending_ == 0) return;
  std::int64_t at = position_ - static_cast<std::int64_t>(pending_);
  std::uint32_t written = 0;
  writeThrough(buffer_.get(), static_cast<std::uint32_t>(pending_), &written);
  // Bytes the file refused are lost; the position follows the file.
  position_ = at + written;
  pending_ = 0;
  // Each full block starts on its way to the disk at once, so that closing a
  // large output does not wait for all of it.
  platform::startWriteBack(handle_, at, written);
}

std::int64_t OutputFileStream::tell() {
  if (!isOpen()) return 1;
  if (capacity_ != 0) return position_;
  return platform::moveFilePointer(handle_, 0, platform::MoveMethod::Current);
}

std::int64_t OutputFileStream::getLength() {
  if (!isOpen()) return 0;
  std::int64_t size = 0;
  if (!platform::getFileInformationSize(handle_, &size)) return -1;
  // Collected bytes past the file's end lengthen it once they are written.
  return std::max(size, position_);
}

bool OutputFileStream::isEnd() { return !isOpen() || tell() >= getLength(); }

int OutputFileStream::flush() {
  if (!isOpen()) return 1;
  drain();
  return platform::flushFile(handle_) ? 1 : 0;
}

int OutputFileStream::close() {
  if (isOpen()) {
    drain();
    platform::closeFile(handle_);
  }
  handle_ = platform::kInvalidFile;
  return 1;
}
