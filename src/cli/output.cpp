#include "cli/output.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "cli/args.h"
#include "cli/inputs.h"
#include "cli/partial_files.h"
#include "cli/progress_text.h"
#include "demux/timing_file.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#define FENNORIA_ISATTY _isatty
#define FENNORIA_FILENO _fileno
#define FENNORIA_GETPID _getpid
#else
#include <unistd.h>
#define FENNORIA_ISATTY isatty
#define FENNORIA_FILENO fileno
#define FENNORIA_GETPID getpid
#endif

namespace fs = std::filesystem;

namespace cli {

std::string errnoText() {
  // The system's words, as a sentence goes on after a colon.
  switch (errno) {
    case ENOENT: return "no such file";
    case EACCES: case EPERM: return "permission denied";
    case EISDIR: return "is a folder";
    default: break;
  }
  std::string text = std::strerror(errno);
  if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') text[0] = static_cast<char>(text[0] - 'A' + 'a');
  return text;
}

std::string baseName(const std::string& path) {
  std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool isDirectory(const std::string& path) {
  std::error_code error;
  return fs::is_directory(fs::u8path(path), error);
}

bool isSpecialFile(const std::string& path) {
  std::error_code error;
  // A symbolic link is written through, never renamed over (that would
  // replace the link, and /dev/stdout is one).
  if (fs::is_symlink(fs::symlink_status(fs::u8path(path), error))) return true;
  fs::file_status status = fs::status(fs::u8path(path), error);
  return !error && fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

bool isRegularFile(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(fs::u8path(path), error);
}

bool stderrIsTerminal() { return FENNORIA_ISATTY(FENNORIA_FILENO(stderr)) != 0; }
bool stdoutIsTerminal() { return FENNORIA_ISATTY(FENNORIA_FILENO(stdout)) != 0; }

void setBinaryStdout() {
#ifdef _WIN32
  _setmode(_fileno(stdout), _O_BINARY);
#endif
}

std::string temporaryNameFor(const std::string& name) {
  return name + ".partial-" + std::to_string(FENNORIA_GETPID());
}

namespace {

// Replaces `to` with `from`; false (errno set) on failure.
bool replaceFile(const std::string& from, const std::string& to) {
  std::error_code error;
  fs::rename(fs::u8path(from), fs::u8path(to), error);
  if (!error) {
    partial::forget(from);
    return true;
  }
  errno = error.value();
  return false;
}

void removeQuietly(const std::string& name) {
  std::error_code error;
  fs::remove(fs::u8path(name), error);
  partial::forget(name);
}

// Creates (or empties) `name` for writing; a partial output until renamed.
// It is noted before it exists, so that no moment leaves it unnoted.
std::FILE* createPartial(const std::string& name) {
  partial::add(name);
  std::FILE* file = std::fopen(name.c_str(), "wb");
  if (!file) partial::forget(name);
  return file;
}

}  // namespace

Output::Output(const std::string& command, const std::string& name, const InputFiles& inputs,
               bool textData) {
  if (name.empty() || name == "-") {
    if (!textData && stdoutIsTerminal())
      usage(command, "will not write binary data to a terminal; give -o FILE or a pipe");
    setBinaryStdout();
    file_ = stdout;
    return;
  }
  if (isDirectory(name)) fail(name, "is a folder; -o wants a file name");
  inputs.checkOutput(command, "-o", name);
  name_ = name;
  // A device, a pipe or a symbolic link is written directly, not renamed onto.
  if (isSpecialFile(name)) {
    temp_ = name;
    file_ = std::fopen(temp_.c_str(), "wb");
  } else {
    temp_ = temporaryNameFor(name);
    file_ = createPartial(temp_);
  }
  if (!file_) fail(name, "cannot create the output (" + errnoText() + ")");
}

Output::~Output() {
  if (!name_.empty() && !committed_) {
    if (file_) std::fclose(file_);
    if (temp_ != name_) removeQuietly(temp_);
  }
}

void Output::write(const void* data, std::size_t count) {
  if (count == 0) return;
  if (std::fwrite(data, 1, count, file_) != count)
    fail(name_.empty() ? "standard output" : name_, "write failed (" + errnoText() + ")");
}

void Output::commit() {
  const std::string subject = name_.empty() ? "standard output" : name_;
  if (std::fflush(file_) != 0) fail(subject, "write failed (" + errnoText() + ")");
  if (name_.empty()) return;
  std::FILE* file = file_;
  file_ = nullptr;
  if (std::fclose(file) != 0) fail(subject, "write failed (" + errnoText() + ")");
  if (temp_ != name_ && !replaceFile(temp_, name_)) fail(subject, "cannot rename the finished output into place (" +
                                                    errnoText() + ")");
  committed_ = true;
}

namespace {
void createEmpty(const std::string& name, const std::string& shown) {
  std::FILE* file = std::fopen(name.c_str(), "wb");
  if (!file) fail(shown, "cannot create (" + errnoText() + ")");
  std::fclose(file);
}
void createEmptyPartial(const std::string& name, const std::string& shown) {
  std::FILE* file = createPartial(name);
  if (!file) fail(shown, "cannot create the output (" + errnoText() + ")");
  std::fclose(file);
}
}  // namespace

OutputSet::~OutputSet() {
  if (!committed_) removeAll();
}

std::string OutputSet::add(const std::string& finalName, bool timing) {
  if (finalName == "-") {
    // Standard output: written to a file of its own first, so that a run
    // that fails sends nothing; copied out by commitAll.
    std::error_code error;
    const std::string temp =
        (fs::temp_directory_path(error) / fs::u8path(temporaryNameFor("fennoria-stdout"))).u8string();
    createEmptyPartial(temp, "standard output");
    entries_.push_back({finalName, temp, false});
    return temp;
  }
  if (isDirectory(finalName)) fail(finalName, "is a folder, not an output file name");
  for (const auto& e : entries_)
    if (e.finalName == finalName) fail(finalName, "named as the output of two streams");
  inputs_.checkOutput(command_, "output", finalName);
  if (timing) inputs_.checkOutput(command_, "timing file", timing::timingFileName(finalName));
  if (isSpecialFile(finalName)) {
    // A device, a pipe or a symbolic link (/dev/null, a FIFO, /dev/stdout)
    // is written directly, and so is its timing file.
    entries_.push_back({finalName, finalName, timing});
    if (timing) createEmpty(timing::timingFileName(finalName), timing::timingFileName(finalName));
    return finalName;
  }
  std::string temp = temporaryNameFor(finalName);
  createEmptyPartial(temp, finalName);
  entries_.push_back({finalName, temp, timing});
  if (timing) createEmptyPartial(timing::timingFileName(temp), timing::timingFileName(finalName));
  return temp;
}

void OutputSet::copyToStandardOutput(const std::string& file) {
  std::FILE* in = std::fopen(file.c_str(), "rb");
  if (!in) fail("standard output", "cannot read back what was written (" + errnoText() + ")");
  setBinaryStdout();
  std::vector<char> piece(1 << 20);
  for (std::size_t n; (n = std::fread(piece.data(), 1, piece.size(), in)) > 0;)
    if (std::fwrite(piece.data(), 1, n, stdout) != n) {
      std::fclose(in);
      fail("standard output", "write failed (" + errnoText() + ")");
    }
  std::fclose(in);
  if (std::fflush(stdout) != 0) fail("standard output", "write failed (" + errnoText() + ")");
}

std::vector<std::string> OutputSet::emptyOutputs() const {
  std::vector<std::string> empty;
  for (const auto& e : entries_) {
    std::error_code error;
    if (isRegularFile(e.temp) && fs::file_size(fs::u8path(e.temp), error) == 0 && !error)
      empty.push_back(e.finalName);
  }
  return empty;
}

void OutputSet::commitAll() {
  for (const auto& e : entries_) {
    if (e.finalName == "-") {
      copyToStandardOutput(e.temp);
      removeQuietly(e.temp);
      continue;
    }
    if (e.temp != e.finalName && !replaceFile(e.temp, e.finalName))
      fail(e.finalName, "cannot rename the finished output into place (" + errnoText() + ")");
    if (e.timing && e.temp != e.finalName &&
        !replaceFile(timing::timingFileName(e.temp), timing::timingFileName(e.finalName)))
      fail(timing::timingFileName(e.finalName),
           "cannot rename the finished output into place (" + errnoText() + ")");
  }
  committed_ = true;
}

void OutputSet::removeAll() {
  for (const auto& e : entries_) {
    if (e.temp == e.finalName) {
      if (e.timing) removeQuietly(timing::timingFileName(e.temp));
      continue;
    }
    removeQuietly(e.temp);
    if (e.timing) removeQuietly(timing::timingFileName(e.temp));
  }
}

ProgressLine::ProgressLine(bool quiet, std::int64_t total)
    : enabled_(!quiet && stderrIsTerminal()), total_(total) {
  start_ = lastDraw_ = std::chrono::steady_clock::now();
}

ProgressLine::~ProgressLine() { finish(); }

void ProgressLine::update(std::int64_t position, const std::string& currentFile) {
  if (!enabled_) return;
  auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - lastDraw_ < std::chrono::milliseconds(250) && position < total_) return;
  lastDraw_ = now;
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  std::string line = progressText(currentFile, position, total_, elapsed);
  // Within 79 columns: the file name gives way, from its start.
  if (line.size() > 79) {
    const std::size_t cut = std::min(currentFile.size(), line.size() - 79 + 3);
    line = progressText("..." + currentFile.substr(cut), position, total_, elapsed);
  }
  draw(line);
}

void ProgressLine::draw(const std::string& line) {
  std::string padded = line;
  if (padded.size() < width_) padded.append(width_ - padded.size(), ' ');
  width_ = line.size();
  std::fprintf(stderr, "\r%s", padded.c_str());
  std::fflush(stderr);
  drawn_ = true;
}

void ProgressLine::finish() {
  if (!drawn_) return;
  std::fprintf(stderr, "\r%s\r", std::string(width_, ' ').c_str());
  std::fflush(stderr);
  drawn_ = false;
  width_ = 0;
}

}  // namespace cli
