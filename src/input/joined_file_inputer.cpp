#include "input/joined_file_inputer.h"

#include <cstdio>
#include <cstdlib>

#include "platform/message_box.h"

JoinedFileInputer::HandleAllocator JoinedFileInputer::allocateHandles = [](std::size_t bytes) {
  return std::malloc(bytes);
};

JoinedFileInputer::~JoinedFileInputer() { close(); }

void JoinedFileInputer::close() {
  for (std::int32_t i = 0; handles && i < handleCount; ++i) platform::closeFile(handles[i]);
  std::free(handles);
  handles = nullptr;
  handleCount = 0;
  isOpen = false;
  totalLength = 0;
  position = 0;
  fileIndex = 0;
  list = nullptr;
  filePosition = 0;
  fileLength = 0;
  currentHandle = platform::kInvalidFile;
}

void JoinedFileInputer::report(const char* text, const char* caption) const {
  platform::showMessage(text, caption);
}

std::int64_t JoinedFileInputer::sizeOf(std::int32_t index) const {
  return list->sizes ? list->sizes[index] : 0;
}

bool JoinedFileInputer::openFiles(FileList* fileList) {
  close();
  // An empty list has no first file to stand on; the filter never gets here
  // with one, since its load fails first.
  if (!fileList || fileList->count <= 0) return false;
  list = fileList;
  totalLength = fileList->totalLength;

  handles = static_cast<platform::FileHandle*>(
      allocateHandles(sizeof(platform::FileHandle) * static_cast<std::size_t>(fileList->count)));
  if (!handles) {
    report("Could not get memory for list of file handles.", texts_.openCaption);
    close();
    return false;
  }
  handleCount = fileList->count;
  for (std::int32_t i = 0; i < handleCount; ++i) handles[i] = platform::kInvalidFile;

  for (std::int32_t i = 0; i < fileList->count; ++i) {
    const char* name = fileList->names[i];
    handles[i] = platform::openExistingForRead(name, platform::AccessHint::SequentialScan);
    if (handles[i] == platform::kInvalidFile) {
      char text[300];
      std::snprintf(text, sizeof text, texts_.openFailedText, name ? name : "(null)");
      report(text, texts_.openFailedCaption);
      close();
      return false;
    }
  }

  isOpen = true;
  currentHandle = handles[0];
  fileLength = sizeOf(0);
  return true;
}

std::int64_t JoinedFileInputer::seek(std::int64_t newPosition) {
  if (newPosition < 0 || newPosition >= totalLength) {
    report("position out of bounds", texts_.seekCaption);
    return -1;
  }
  if (!isOpen) {
    report("file is not open", texts_.seekCaption);
    return -1;
  }
  if (newPosition == position) return 0;

  // Set before the file is found: after a failed step below the joined
  // position is already the new one while the file state is the old one; the
  // next seek puts both right again.
  position = newPosition;

  std::int32_t index = 0;
  std::int64_t rest = newPosition;
  while (rest >= sizeOf(index)) {
    rest -= sizeOf(index);
    ++index;
    if (index >= list->count) {
      report("file index beyond end", texts_.seekCaption);
      return -1;
    }
  }
  std::int64_t reached = seekFileAndPosition(index, rest);
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(reached));
}

std::int64_t JoinedFileInputer::seekFileAndPosition(std::int32_t index, std::int64_t offset) {
  // A list that grew after the files were opened has entries without a
  // handle: those are out of bounds too.
  if (!list || index < 0 || index >= list->count || index >= handleCount) {
    report("fileIndex out of bounds", texts_.seekFileAndPositionCaption);
    return -1;
  }
  if (offset < 0 || offset >= sizeOf(index)) {
    report("position out of bounds", texts_.seekFileAndPositionCaption);
    return -1;
  }
  currentHandle = handles[index];
  fileLength = sizeOf(index);
  filePosition = offset;
  fileIndex = index;

  std::int32_t high = static_cast<std::int32_t>(offset >> 32);
  std::uint32_t low = platform::setFilePointer(
      currentHandle, static_cast<std::int32_t>(static_cast<std::uint32_t>(offset)), &high);
  if (low == platform::kInvalidSetFilePointer && high == 0 && platform::lastError() != 0)
    return -1;
  return static_cast<std::int64_t>((static_cast<std::uint64_t>(static_cast<std::uint32_t>(high))
                                    << 32) |
                                   low);
}

std::int64_t JoinedFileInputer::readBlock(void* buffer, std::int64_t count) {
  if (count > totalLength - position) {
    report("asked to read to many bytes", texts_.readBlockCaption);
    return 0;
  }
  std::int64_t done = 0;
  if (!isOpen) {
    report("file is not open", texts_.errorCaption);
    return 0;
  }
  if (count <= 0) return 0;

  auto* out = static_cast<unsigned char*>(buffer);
  do {
    std::int64_t n = readChunk;
    if (count < n) n = count;
    if (fileLength - filePosition < n) n = fileLength - filePosition;

    auto piece = static_cast<std::size_t>(n);
    void* into = staging_.landing(out, filePosition, &piece);
    std::uint32_t got = 0;
    if (!platform::readFile(currentHandle, into, static_cast<std::uint32_t>(piece), &got))
      return done;
    staging_.deliver(into, out, got);
    position += got;
    filePosition += got;
    out += got;
    done += got;
    count -= got;

    bool movedOn = false;
    if (filePosition == fileLength && fileIndex < list->count - 1) {
      if (seekFileAndPosition(fileIndex + 1, 0) != 0) return 0;
      movedOn = true;
    }
    // The recorded lengths say more is there, but the file gave nothing and
    // there is no next file to step into: it shrank since the list was
    // loaded. Waiting would never end; hand out what was read.
    if (got == 0 && !movedOn) return done;
  } while (count > 0);
  return done;
}
