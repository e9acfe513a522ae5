// Where the Linux build keeps its registry hives and INI files, and how it
// reads and replaces them. (Windows has the registry and the Windows folder.)
//
//   configuration folder  $FENNORIA_CONFIG_DIR, else $XDG_CONFIG_HOME/fennoria,
//                         else $HOME/.config/fennoria
//   current user's hive   $FENNORIA_USER_HIVE, else <configuration folder>/user.reg
//   machine's hive        $FENNORIA_MACHINE_HIVE, else /etc/fennoria/machine.reg
//   INI files             <configuration folder>/<name> for a name without '/'
//
// Files are replaced whole: the new text goes to a temporary file beside the
// old one, is flushed to disk, and is then renamed over it, so a crash midway
// leaves either the old or the new file and never a half-written one.
#pragma once

#include <string>

namespace platform {

std::string configFolder();
std::string userHivePath();
std::string machineHivePath();
std::string profileFilePath(const char* name);

enum class TextFileRead { Ok, Missing, Failed };
TextFileRead readTextFile(const std::string& path, std::string* text);

// Creates the folder when needed. False when the file could not be replaced
// (the old one is then untouched).
bool replaceTextFile(const std::string& path, const std::string& text);

// An exclusive advisory lock on `path` + ".lock" for a read-modify-write,
// so that two processes writing the same file do not lose each other's
// changes. Best effort: without a lock file the write goes ahead unlocked.
class FileLock {
 public:
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int descriptor_ = -1;
};

// Writes "fennoria: <text>" on stderr, once per process for the same text.
void reportConfigProblem(const std::string& text);

}  // namespace platform
