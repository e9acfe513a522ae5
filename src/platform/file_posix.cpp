#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

namespace posix {
ReadCall readCall = [](int descriptor, void* bytes, std::size_t count) -> std::ptrdiff_t {
  return ::read(descriptor, bytes, count);
};
WriteCall writeCall = [](int descriptor, const void* bytes, std::size_t count) -> std::ptrdiff_t {
  return ::write(descriptor, bytes, count);
};
StatusCall statusCall = [](int descriptor, struct ::stat* status) {
  return ::fstat(descriptor, status);
};
}  // namespace posix

namespace {
// The Windows error codes that callers may see through lastError().
constexpr std::uint32_t kErrorSuccess = 0;
constexpr std::uint32_t kErrorInvalidHandle = 6;
constexpr std::uint32_t kErrorNegativeSeek = 131;

thread_local std::uint32_t threadLastError = kErrorSuccess;

std::uint32_t fromErrno(int error) {
  return error == EBADF ? kErrorInvalidHandle : static_cast<std::uint32_t>(error);
}

bool fail(int error) {
  threadLastError = fromErrno(error);
  return false;
}

int toDescriptor(FileHandle file) { return static_cast<int>(file); }
}  // namespace

FileHandle openExistingForRead(const char* name, AccessHint hint) {
  if (!name) {
    fail(ENOENT);
    return kInvalidFile;
  }
  int fd = ::open(name, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    fail(errno);
    return kInvalidFile;
  }
  // The mode is only known when the status query worked; a failed query
  // refuses the file with its own error.
  struct stat info;
  if (posix::statusCall(fd, &info) != 0) {
    int error = errno;
    ::close(fd);
    fail(error);
    return kInvalidFile;
  }
  if (S_ISDIR(info.st_mode)) {
    ::close(fd);
    fail(EACCES);
    return kInvalidFile;
  }
  if (hint == AccessHint::SequentialScan) ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  return fd;
}

ReadWatch readWatch = nullptr;

bool readFile(FileHandle file, void* buffer, std::uint32_t count, std::uint32_t* got) {
  *got = 0;
  if (readWatch) readWatch(file, buffer, count);
  for (;;) {
    std::ptrdiff_t n = posix::readCall(toDescriptor(file), buffer, count);
    if (n >= 0) {
      *got = static_cast<std::uint32_t>(n);
      return true;
    }
    if (errno != EINTR) return fail(errno);
  }
}

std::uint32_t getFileSizeLow(FileHandle file) {
  std::int64_t size = getFileSize(file);
  return size < 0 ? 0xFFFFFFFFu : static_cast<std::uint32_t>(size);
}

std::int64_t getFileSize(FileHandle file) {
  struct stat info;
  if (posix::statusCall(toDescriptor(file), &info) != 0) {
    fail(errno);
    return -1;
  }
  return static_cast<std::int64_t>(info.st_size);
}

std::uint32_t setFilePointer(FileHandle file, std::int32_t low, std::int32_t* high,
                             MoveMethod method) {
  std::int64_t distance = static_cast<std::int64_t>(
      (static_cast<std::uint64_t>(static_cast<std::uint32_t>(*high)) << 32) |
      static_cast<std::uint32_t>(low));
  std::int64_t wanted = distance;
  if (method == MoveMethod::Current) {
    off_t here = ::lseek(toDescriptor(file), 0, SEEK_CUR);
    if (here < 0) {
      fail(errno);
      return kInvalidSetFilePointer;
    }
    wanted = static_cast<std::int64_t>(here) + distance;
  }
  if (wanted < 0) {
    threadLastError = kErrorNegativeSeek;
    return kInvalidSetFilePointer;
  }
  off_t reached = ::lseek(toDescriptor(file), static_cast<off_t>(wanted), SEEK_SET);
  if (reached < 0) {
    fail(errno);
    return kInvalidSetFilePointer;
  }
  std::uint64_t pointer = static_cast<std::uint64_t>(reached);
  *high = static_cast<std::int32_t>(pointer >> 32);
  std::uint32_t result = static_cast<std::uint32_t>(pointer);
  if (result == kInvalidSetFilePointer) threadLastError = kErrorSuccess;
  return result;
}

std::uint32_t lastError() { return threadLastError; }

bool getFileInformationSize(FileHandle file, std::int64_t* size) {
  std::int64_t length = getFileSize(file);
  if (length < 0) return false;
  *size = length;
  return true;
}

std::int64_t getDeviceSize(FileHandle file) {
  struct stat info;
  if (posix::statusCall(toDescriptor(file), &info) != 0) {
    fail(errno);
    return -1;
  }
  if (!S_ISBLK(info.st_mode)) return static_cast<std::int64_t>(info.st_size);
  // A device's length is where its end is; the pointer goes back to the
  // start, where a freshly opened device stands.
  off_t end = ::lseek(toDescriptor(file), 0, SEEK_END);
  ::lseek(toDescriptor(file), 0, SEEK_SET);
  return end < 0 ? -1 : static_cast<std::int64_t>(end);
}

FileHandle openForWrite(const char* name, bool truncate) {
  if (!name) {
    fail(ENOENT);
    return kInvalidFile;
  }
  int fd = ::open(name, O_WRONLY | O_CREAT | O_CLOEXEC | (truncate ? O_TRUNC : 0), 0666);
  if (fd < 0) {
    fail(errno);
    return kInvalidFile;
  }
  return fd;
}

bool posix::writeFully(int descriptor, const void* bytes, std::size_t count,
                       std::size_t* written) {
  *written = 0;
  const auto* data = static_cast<const unsigned char*>(bytes);
  while (*written < count) {
    std::ptrdiff_t n = writeCall(descriptor, data + *written, count - *written);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) break;
    *written += static_cast<std::size_t>(n);
  }
  return true;
}

bool writeFile(FileHandle file, const void* buffer, std::uint32_t count, std::uint32_t* written) {
  std::size_t done = 0;
  bool ok = posix::writeFully(toDescriptor(file), buffer, count, &done);
  // A short count is what callers already treat as bytes refused.
  *written = static_cast<std::uint32_t>(done);
  return ok || fail(errno);
}

bool flushFile(FileHandle file) {
  return ::fsync(toDescriptor(file)) == 0 || fail(errno);
}

void startWriteBack(FileHandle file, std::int64_t offset, std::int64_t length) {
#ifdef SYNC_FILE_RANGE_WRITE
  ::sync_file_range(toDescriptor(file), offset, length, SYNC_FILE_RANGE_WRITE);
#else
  (void)file, (void)offset, (void)length;
#endif
}

bool closeFile(FileHandle file) {
  return file != kInvalidFile && (::close(toDescriptor(file)) == 0 || fail(errno));
}

}  // namespace platform
