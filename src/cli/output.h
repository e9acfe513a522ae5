// Where the tool's data go: stdout or files written under a temporary name
// and renamed when complete, the files the demultiplexer fills by name, and
// the one-line progress display on stderr.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>


namespace cli {

class InputFiles;

// Where data go: stdout, or a file written as NAME.partial-PID and renamed
// to NAME by commit() (a device, pipe or symbolic link is written
// directly). A file output that was not committed is removed when the
// object goes away, or when the run is interrupted.
class Output {
 public:
  // An empty name or "-" is stdout; stdout on a terminal is refused (binary
  // data) unless `textData`. A file that is one of `inputs` is refused.
  Output(const std::string& command, const std::string& name, const InputFiles& inputs,
         bool textData = false);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void write(const void* data, std::size_t count);
  void commit();
  bool toFile() const { return !name_.empty(); }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
  std::string temp_;
  std::FILE* file_ = nullptr;
  bool committed_ = false;
};

// Output files that another writer fills by name (the demultiplexer): each
// is created empty under a temporary name at once, so an unwritable one (or
// one of the run's inputs) is reported before any work, and renamed (with
// its ".timing" companion) by commitAll.
class OutputSet {
 public:
  OutputSet(const std::string& command, const InputFiles& inputs)
      : command_(command), inputs_(inputs) {}
  ~OutputSet();
  // Returns the temporary name to hand to the writer.
  std::string add(const std::string& finalName, bool timing);
  // The final names of the outputs (not timing files) that are files and
  // still empty.
  std::vector<std::string> emptyOutputs() const;
  void commitAll();
  void removeAll();

 private:
  struct Entry {
    std::string finalName, temp;  // finalName "-": standard output
    bool timing;
  };
  static void copyToStandardOutput(const std::string& file);
  std::string command_;
  const InputFiles& inputs_;
  std::vector<Entry> entries_;
  bool committed_ = false;
};

std::string temporaryNameFor(const std::string& name);
std::string baseName(const std::string& path);
std::string errnoText();
bool isDirectory(const std::string& path);
bool isRegularFile(const std::string& path);
// A symbolic link, or an existing file that is neither a regular file nor a
// folder (a device, a pipe): outputs are written to it directly.
bool isSpecialFile(const std::string& path);
bool stderrIsTerminal();
bool stdoutIsTerminal();
void setBinaryStdout();

// The one-line progress display on stderr (see progress_text.h). Silent
// unless stderr is a terminal and --quiet was not given; redrawn at most
// four times a second and at the end, and erased by finish().
class ProgressLine {
 public:
  ProgressLine(bool quiet, std::int64_t total);
  ~ProgressLine();
  void update(std::int64_t position, const std::string& currentFile);
  void finish();

 private:
  void draw(const std::string& line);

  bool enabled_;
  std::int64_t total_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point lastDraw_;
  bool drawn_ = false;
  std::size_t width_ = 0;
};

}  // namespace cli
