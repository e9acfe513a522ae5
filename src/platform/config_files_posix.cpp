#include "platform/config_files.h"
#include "platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>

namespace platform {

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string(value) : std::string();
}

std::string folderOf(const std::string& path) {
  std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool makeFolders(const std::string& folder) {
  if (folder.empty()) return false;
  struct stat info;
  if (::stat(folder.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
  if (folder != "/" && folder != ".") makeFolders(folderOf(folder));
  return ::mkdir(folder.c_str(), 0755) == 0 || errno == EEXIST;
}

bool writeAll(int fd, const std::string& text) {
  std::size_t written = 0;
  return posix::writeFully(fd, text.data(), text.size(), &written) && written == text.size();
}

}  // namespace

std::string configFolder() {
  std::string explicitFolder = environment("FENNORIA_CONFIG_DIR");
  if (!explicitFolder.empty()) return explicitFolder;
  std::string xdg = environment("XDG_CONFIG_HOME");
  if (!xdg.empty()) return xdg + "/fennoria";
  std::string home = environment("HOME");
  if (home.empty()) home = ".";
  return home + "/.config/fennoria";
}

std::string userHivePath() {
  std::string path = environment("FENNORIA_USER_HIVE");
  return path.empty() ? configFolder() + "/user.reg" : path;
}

std::string machineHivePath() {
  std::string path = environment("FENNORIA_MACHINE_HIVE");
  return path.empty() ? std::string("/etc/fennoria/machine.reg") : path;
}

std::string profileFilePath(const char* name) {
  std::string leaf = name ? name : "";
  if (leaf.find('/') != std::string::npos) return leaf;
  return configFolder() + "/" + leaf;
}

TextFileRead readTextFile(const std::string& path, std::string* text) {
  text->clear();
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT || errno == ENOTDIR ? TextFileRead::Missing : TextFileRead::Failed;
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    return TextFileRead::Failed;
  }
  char buffer[4096];
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      return TextFileRead::Failed;
    }
    if (n == 0) break;
    text->append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fd);
  return TextFileRead::Ok;
}

bool replaceTextFile(const std::string& path, const std::string& text) {
  std::string folder = folderOf(path);
  makeFolders(folder);
  std::string temporary = path + ".new." + std::to_string(::getpid());
  int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  bool ok = writeAll(fd, text) && ::fsync(fd) == 0;
  ok = (::close(fd) == 0) && ok;
  if (ok) ok = ::rename(temporary.c_str(), path.c_str()) == 0;
  if (!ok) {
    ::unlink(temporary.c_str());
    return false;
  }
  // Make the rename itself durable.
  int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
  return true;
}

FileLock::FileLock(const std::string& path) {
  makeFolders(folderOf(path));
  descriptor_ = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (descriptor_ >= 0) {
    while (::flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
}

FileLock::~FileLock() {
  if (descriptor_ >= 0) ::close(descriptor_);  // closing releases the lock
}

void reportConfigProblem(const std::string& text) {
  static std::mutex mutex;
  static std::set<std::string> reported;
  std::lock_guard<std::mutex> lock(mutex);
  if (!reported.insert(text).second) return;
  std::string line = "fennoria: " + text + "\n";
  writeAll(2, line);
}

}  // namespace platform
