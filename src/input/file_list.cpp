#include "input/file_list.h"

#include <cstdlib>
#include <cstring>

#include "platform/file.h"
#include "platform/io_buffer.h"

namespace {

bool isLineEnd(char c) { return c == '\r' || c == '\n'; }

const char* skipLineEnds(const char* p) {
  while (isLineEnd(*p)) ++p;
  return p;
}

const char* skipName(const char* p) {
  while (*p != '\0' && !isLineEnd(*p)) ++p;
  return p;
}

// A file too large to be a list is a media file by itself: the list is its
// own name followed by a line end. The buffer is sized to the name (at least
// the customary 1024 bytes), so that no name is ever cut or overrun.
char* singleEntryText(const char* name) {
  std::size_t length = std::strlen(name);
  std::size_t size = length + 2 > FileList::kMaxListSize ? length + 2 : FileList::kMaxListSize;
  char* text = static_cast<char*>(std::malloc(size));
  if (!text) return nullptr;
  std::memcpy(text, name, length);
  text[length] = '\n';
  text[length + 1] = '\0';
  return text;
}

}  // namespace

FileList::~FileList() { clear(); }

void FileList::clear() {
  if (names) {
    for (std::int32_t i = 0; i < count; ++i) std::free(names[i]);
    std::free(names);
  }
  std::free(sizes);
  names = nullptr;
  sizes = nullptr;
  totalLength = 0;
  count = 0;
}

void FileList::load(const char* name) {
  clear();
  if (!name) return;
  char* text = readListText(name);
  if (text) {
    count = countLines(text);
    names = splitLines(text, count);
    if (names) {
      sizes = getFileSizes(names, count);
      if (sizes)
        for (std::int32_t i = 0; i < count; ++i) totalLength += sizes[i];
    }
    std::free(text);
  }
  // A half-built list never remains; a text of line ends only names nothing
  // and leaves the list as empty as a new one.
  if (!names || !sizes || count == 0) clear();
}

char* FileList::readListText(const char* name) {
  platform::FileHandle file = platform::openExistingForRead(name, platform::AccessHint::None);
  if (file == platform::kInvalidFile) return nullptr;

  // Only the low 32 bits of the size decide what the file is. On the two
  // early returns the handle stays open (read-shared) for the life of the
  // process: the name is the one the graph holds, and it is never written.
  std::uint32_t size = platform::getFileSizeLow(file);
  if (size < kMinListSize) return nullptr;
  if (size > kMaxListSize) return singleEntryText(name);

  // The read lands in page-aligned memory, as every read does
  // (platform/io_buffer.h), and is copied into the text the caller frees.
  char* text = static_cast<char*>(std::malloc(size + 1));
  platform::IoBuffer bytes(size, std::nothrow);
  if (!text || bytes.empty()) {
    std::free(text);
    platform::closeFile(file);
    return nullptr;
  }
  std::uint32_t got = 0;
  bool ok = platform::readFile(file, bytes.data(), size, &got);
  if (ok) std::memcpy(text, bytes.data(), got);
  text[ok ? got : 0] = '\0';
  platform::closeFile(file);
  if (!ok || got < size) {
    std::free(text);
    return nullptr;
  }
  return text;
}

std::int32_t FileList::countLines(const char* text) {
  std::int32_t lines = 0;
  const char* p = text;
  while (*p != '\0') {
    p = skipLineEnds(p);
    if (*p != '\0') ++lines;
    p = skipName(p);
  }
  return lines;
}

char** FileList::splitLines(const char* text, std::int32_t lineCount) {
  char** lines = static_cast<char**>(std::calloc(lineCount > 0 ? lineCount : 1, sizeof(char*)));
  if (!lines) return nullptr;
  const char* p = text;
  std::int32_t taken = 0;
  while (*p != '\0' && taken < lineCount) {
    p = skipLineEnds(p);
    if (*p == '\0') break;
    const char* end = skipName(p);
    std::size_t length = static_cast<std::size_t>(end - p);
    char* line = static_cast<char*>(std::malloc(length + 1));
    if (line) {
      std::memcpy(line, p, length);
      line[length] = '\0';
    }
    lines[taken++] = line;
    p = end;
  }
  return lines;
}

std::int64_t* FileList::getFileSizes(char* const* fileNames, std::int32_t fileCount) {
  auto* lengths =
      static_cast<std::int64_t*>(std::calloc(fileCount > 0 ? fileCount : 1, sizeof(std::int64_t)));
  if (!lengths) return nullptr;
  for (std::int32_t i = 0; i < fileCount; ++i) {
    platform::FileHandle file =
        platform::openExistingForRead(fileNames[i], platform::AccessHint::None);
    if (file == platform::kInvalidFile) continue;  // kept with length 0
    std::int64_t size = platform::getFileSize(file);
    lengths[i] = size > 0 ? size : 0;
    platform::closeFile(file);
  }
  return lengths;
}
