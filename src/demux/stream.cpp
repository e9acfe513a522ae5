#include "demux/stream.h"

namespace mpdx {

IFileStream::IFileStream(const char* name, int)
    : handle_(platform::openExistingForRead(name, platform::AccessHint::None)) {}

IFileStream::~IFileStream() { close(); }

bool IFileStream::isEnd() {
  if (!hasFile()) return true;
  return tell() >= getLength();
}

std::int32_t IFileStream::read(void* buffer, std::uint32_t count) {
  if (!hasFile()) return 0;
  std::uint32_t got = 0;
  platform::readFile(handle_, buffer, count, &got);
  return static_cast<std::int32_t>(got);
}

int IFileStream::close() {
  if (!hasFile()) return 1;
  bool closed = platform::closeFile(handle_);
  handle_ = platform::kInvalidFile;
  return closed ? 1 : 0;
}

int IFileStream::seek(std::int64_t offset) {
  if (!hasFile()) return 1;
  platform::moveFilePointer(handle_, offset, platform::MoveMethod::Begin);
  return 0;
}

std::int64_t IFileStream::tell() {
  if (!hasFile()) return -1;
  return platform::moveFilePointer(handle_, 0, platform::MoveMethod::Current);
}

std::int64_t IFileStream::getLength() {
  if (!hasFile()) return 0;
  std::int64_t size = 0;
  return platform::getFileInformationSize(handle_, &size) ? size : -1;
}

void emit(std::ostream& out, int level) {
  auto* log = dynamic_cast<LogCallback*>(&out);
  if (!log || !log->callback) return;
  std::string text = log->str();
  if (text.empty()) return;
  log->callback(level, text.c_str());
  log->str(std::string());
}

}  // namespace mpdx
