// Argument parsing, outputs, the progress line and the DVD folder shared by
// the subcommands.
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cli/cli.h"
#include "demux/stream.h"
#include "demux/timing_file.h"
#include "dvdnav/dvd_title_reader.h"
#include "ui/dialog_ids.h"

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

void fail(const std::string& subject, const std::string& what) {
  throw Failure(kExitInput, subject.empty() ? what : subject + ": " + what);
}

void usage(const std::string& command, const std::string& what) {
  throw Failure(kExitUsage, "fennoria " + command + ": " + what + " (see 'fennoria " + command +
                                " --help')");
}

bool parseNumber(const std::string& text, std::int64_t* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long long n = std::strtoll(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || std::isspace(static_cast<unsigned char>(text[0]))) return false;
  *value = n;
  return true;
}

Args::Args(const std::string& name, const std::vector<std::string>& argv,
           const std::vector<OptionDef>& options)
    : command(name) {
  bool onlyPositional = false;
  for (std::size_t i = 0; i < argv.size(); ++i) {
    std::string arg = argv[i];
    if (onlyPositional || arg.size() < 2 || arg[0] != '-') {
      positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      onlyPositional = true;
      continue;
    }
    if (arg == "--help" || arg == "-h") {
      help = true;
      continue;
    }
    if (arg == "--quiet" || arg == "-q") {
      quiet = true;
      continue;
    }
    std::string inlineValue;
    bool hasInline = false;
    std::size_t equals = arg.find('=');
    if (arg.compare(0, 2, "--") == 0 && equals != std::string::npos) {
      inlineValue = arg.substr(equals + 1);
      arg = arg.substr(0, equals);
      hasInline = true;
    }
    const OptionDef* option = nullptr;
    for (const auto& s : options)
      if (arg == s.name || (s.alias && arg == s.alias)) option = &s;
    if (!option) usage(command, "unknown option " + arg);
    std::string key = option->name;
    if (!option->repeatable && values_.count(key)) usage(command, key + " given twice");
    if (option->takesValue) {
      if (!hasInline) {
        if (i + 1 >= argv.size()) usage(command, key + " needs a value");
        inlineValue = argv[++i];
      }
      values_[key].push_back(inlineValue);
    } else {
      if (hasInline) usage(command, key + " takes no value");
      values_[key].push_back("");
    }
  }
}

const std::string& Args::value(const std::string& name) const {
  static const std::string none;
  auto it = values_.find(name);
  return it == values_.end() || it->second.empty() ? none : it->second.back();
}

const std::vector<std::string>& Args::values(const std::string& name) const {
  static const std::vector<std::string> none;
  auto it = values_.find(name);
  return it == values_.end() ? none : it->second;
}

std::int32_t Args::number(const std::string& name, std::int32_t low, std::int32_t high,
                          std::int32_t fallback) const {
  if (!has(name)) return fallback;
  std::int64_t n = 0;
  if (!parseNumber(value(name), &n) || n < low || n > high)
    usage(command, name + " takes a number from " + std::to_string(low) + " to " +
                       std::to_string(high) + ", not '" + value(name) + "'");
  return static_cast<std::int32_t>(n);
}

std::string errnoText() { return std::strerror(errno); }

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
  if (!error) return true;
  errno = error.value();
  return false;
}

void removeQuietly(const std::string& name) {
  std::error_code error;
  fs::remove(fs::u8path(name), error);
}

}  // namespace

Output::Output(const std::string& command, const std::string& name, bool textData) {
  if (name.empty() || name == "-") {
    if (!textData && stdoutIsTerminal())
      usage(command, "will not write binary data to a terminal; give -o FILE or a pipe");
    setBinaryStdout();
    file_ = stdout;
    return;
  }
  if (isDirectory(name)) fail(name, "is a folder; -o wants a file name");
  name_ = name;
  // A device, a pipe or a symbolic link is written directly, not renamed onto.
  temp_ = isSpecialFile(name) ? name : temporaryNameFor(name);
  file_ = std::fopen(temp_.c_str(), "wb");
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
}  // namespace

OutputSet::~OutputSet() {
  if (!committed_) removeAll();
}

std::string OutputSet::add(const std::string& finalName, bool timing) {
  if (isDirectory(finalName)) fail(finalName, "is a folder, not an output file name");
  for (const auto& e : entries_)
    if (e.finalName == finalName) fail(finalName, "named as the output of two streams");
  if (isSpecialFile(finalName)) {
    // A device, a pipe or a symbolic link (/dev/null, a FIFO, /dev/stdout)
    // is written directly, and so is its timing file.
    entries_.push_back({finalName, finalName, timing});
    if (timing) createEmpty(timing::timingFileName(finalName), timing::timingFileName(finalName));
    return finalName;
  }
  std::string temp = temporaryNameFor(finalName);
  std::FILE* file = std::fopen(temp.c_str(), "wb");
  if (!file) fail(finalName, "cannot create the output (" + errnoText() + ")");
  std::fclose(file);
  entries_.push_back({finalName, temp, timing});
  if (timing) {
    std::string timingTemp = timing::timingFileName(temp);
    file = std::fopen(timingTemp.c_str(), "wb");
    if (!file) fail(timing::timingFileName(finalName), "cannot create (" + errnoText() + ")");
    std::fclose(file);
  }
  return temp;
}

void OutputSet::commitAll() {
  for (const auto& e : entries_) {
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

// ---- progress line ----

ProgressLine::ProgressLine(bool quiet, std::int64_t total)
    : enabled_(!quiet && stderrIsTerminal()) {
  model_.totalLength = total;
  start_ = lastDraw_ = std::chrono::steady_clock::now();
}

ProgressLine::~ProgressLine() { finish(); }

void ProgressLine::setText(int control, const char* text) { texts_[control] = text; }

void ProgressLine::update(std::int64_t position, const std::string& currentFile) {
  if (!enabled_) return;
  auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - lastDraw_ < std::chrono::milliseconds(250)) return;
  lastDraw_ = now;
  if (!model_.currentFile || *model_.currentFile != currentFile)
    model_.setCurrentFile(currentFile.c_str(), *this);
  model_.position = position;
  // The model counts one tick a second; between whole seconds only the
  // position is refreshed.
  auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - start_).count();
  if (seconds > model_.secondsPassed) {
    while (model_.secondsPassed + 1 < seconds) ++model_.secondsPassed;
    model_.timerTick(*this);
  } else {
    model_.tick(*this);
  }
  draw();
}

void ProgressLine::draw() {
  std::string line = texts_[IDC_CURRENT_FILE] + "  " + texts_[IDC_LOCATION] + "  " +
                     texts_[IDC_PERCENT] + "  passed " + texts_[IDC_TIME_PASSED] + "  left " +
                     texts_[IDC_TIME_REMAINING];
  if (line.size() > 79) line = "..." + line.substr(line.size() - 76);
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

// ---- DVD folder ----

namespace {

std::vector<std::string> readerMessages;
bool dumpLevel3 = false;

void collect(int level, const char* text) {
  if (level == 3) {
    if (dumpLevel3) {
      std::fputs(text, stdout);
      std::fputc('\n', stdout);
    }
    return;
  }
  if (level <= 1) readerMessages.push_back(text);
}

mpdx::LogCallback readerLog(collect);

bool hasIfo(const std::string& folder) {
  return isRegularFile(folder + "/VIDEO_TS.IFO") || isRegularFile(folder + "/video_ts.ifo");
}

}  // namespace

Disc::Disc(const std::string& name, bool dumpToStdout) : folder(name) {
  while (folder.size() > 1 && (folder.back() == '/' || folder.back() == '\\')) folder.pop_back();
  if (!isDirectory(folder)) {
    if (isRegularFile(folder)) fail(folder, "is a file; give the VIDEO_TS folder");
    fail(folder, "no such folder");
  }
  if (!hasIfo(folder)) {
    for (const char* child : {"VIDEO_TS", "video_ts"})
      if (hasIfo(folder + "/" + child)) {
        folder += std::string("/") + child;
        break;
      }
  }
  if (!hasIfo(folder)) fail(folder, "no VIDEO_TS.IFO (or video_ts.ifo) in this folder");
  dumpLevel3 = dumpToStdout;
  readerMessages.clear();
  reader = std::make_unique<DvdTitleReader>(readerLog);
  int result = reader->openIfo(folder);
  dumpLevel3 = false;
  if (result != 0)
    fail(folder + "/VIDEO_TS.IFO",
         "cannot be read" + (readerMessages.empty() ? "" : " (" + readerMessages.back() + ")"));
  if (!reader->videoManager || reader->videoManager->titles.empty())
    fail(folder + "/VIDEO_TS.IFO", "lists no titles (not a DVD-Video navigation file?)");
}

Disc::~Disc() = default;

void Disc::select(std::int32_t titleSet, std::int32_t pgc, std::int32_t cell) {
  std::int32_t sets = static_cast<std::int32_t>(reader->titleSets.size());
  if (titleSet < 1 || titleSet > sets)
    fail(folder, "title set " + std::to_string(titleSet) + " does not exist (the disc has " +
                     std::to_string(sets) + ")");
  const auto& chains = reader->titleSets[titleSet - 1]->programchains;
  std::int32_t count = static_cast<std::int32_t>(chains.size());
  if (pgc < 1 || pgc > count)
    fail(folder, "program chain " + std::to_string(pgc) + " does not exist in title set " +
                     std::to_string(titleSet) + " (it has " + std::to_string(count) + ")");
  std::int32_t cells = static_cast<std::int32_t>(chains[pgc - 1].cells.size());
  if (cells == 0)
    fail(folder, "program chain " + std::to_string(pgc) + " of title set " +
                     std::to_string(titleSet) + " has no cells");
  if (cell != 0 && (cell < 1 || cell > cells))
    fail(folder, "cell " + std::to_string(cell) + " does not exist in program chain " +
                     std::to_string(pgc) + " of title set " + std::to_string(titleSet) +
                     " (it has " + std::to_string(cells) + ")");

  readerMessages.clear();
  reader->selectTitleSet(titleSet, 1);
  int result = reader->selectProgramChain(pgc - 1);
  if (result == 0 && cell != 0) result = reader->selectCell(cell - 1);
  if (result != 0)
    fail(folder, readerMessages.empty() ? "the selection failed" : readerMessages.back());

  // Every VOB part must be whole sectors, and the parts must reach the end
  // of the range: anything less is a truncated (or missing) file.
  const ConcatenatedStream& vobs = *reader->vobStream;
  std::string last;
  for (const auto& entry : vobs.entries) {
    if (entry.length % dvdnav::sectorSize != 0)
      fail(entry.name, "size " + std::to_string(entry.length) +
                           " is not a whole number of 2048-byte sectors (truncated?)");
    if (entry.length > 0) last = entry.name;
  }
  std::int64_t needed = static_cast<std::int64_t>(reader->endBlock) * dvdnav::sectorSize;
  if (vobs.totalLength < needed) {
    std::string subject =
        last.empty() ? folder + "/" + (reader->upperCaseNames ? "VTS_" : "vts_") +
                           (titleSet < 10 ? "0" : "") + std::to_string(titleSet) +
                           (reader->upperCaseNames ? "_1.VOB" : "_1.vob")
                     : last;
    fail(subject, std::string(last.empty() ? "missing" : "truncated") + ": title set " +
                      std::to_string(titleSet) + " has " +
                      std::to_string(vobs.totalLength / dvdnav::sectorSize) +
                      " sectors of VOB data, the selection ends at sector " +
                      std::to_string(reader->endBlock));
  }
}

std::string Disc::currentVob() const {
  const ConcatenatedStream& vobs = *reader->vobStream;
  if (vobs.current < vobs.entries.size()) return baseName(vobs.entries[vobs.current].name);
  return vobs.entries.empty() ? std::string() : baseName(vobs.entries.back().name);
}

int printHelp(const char* text) {
  std::fputs(text, stdout);
  return 0;
}

}  // namespace cli
