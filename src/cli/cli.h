// The command-line tool: shared pieces of its subcommands.
//
// Every subcommand is a thin layer over the core classes. Conventions they
// all keep: data only on stdout (or the -o file); errors as one line
// "fennoria: WHAT: what is wrong" on stderr; exit status 0 success, 1 bad
// input (or a failed read or write), 2 bad usage; an output file is written
// under a temporary name beside it and renamed only on success.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ui/progress_model.h"

class DvdTitleReader;

namespace cli {

constexpr int kExitInput = 1;
constexpr int kExitUsage = 2;

// A failure that ends the subcommand: `message` is printed after "fennoria: "
// (or after "fennoria COMMAND: " for usage errors) and `status` is the exit
// status.
struct Failure : std::runtime_error {
  Failure(int exitStatus, const std::string& message)
      : std::runtime_error(message), status(exitStatus) {}
  int status;
};

[[noreturn]] void fail(const std::string& subject, const std::string& what);
[[noreturn]] void usage(const std::string& command, const std::string& what);

// One subcommand's command line, parsed against the options it knows.
struct OptionDef {
  const char* name;   // "--title", "-o"
  const char* alias;  // another spelling, or null
  bool takesValue;
  bool repeatable;
};

class Args {
 public:
  // Throws a usage Failure for an unknown option, a missing value or a
  // repeated single option. "--help"/"-h" sets `help`; "--quiet"/"-q" sets
  // `quiet` for every subcommand.
  Args(const std::string& command, const std::vector<std::string>& argv,
       const std::vector<OptionDef>& options);

  bool has(const std::string& name) const { return values_.count(name) != 0; }
  const std::string& value(const std::string& name) const;
  const std::vector<std::string>& values(const std::string& name) const;
  // The option's value as a whole number within [low, high] (usage Failure
  // otherwise); `fallback` when the option is absent.
  std::int32_t number(const std::string& name, std::int32_t low, std::int32_t high,
                      std::int32_t fallback) const;

  std::vector<std::string> positional;
  bool help = false;
  bool quiet = false;
  std::string command;

 private:
  std::map<std::string, std::vector<std::string>> values_;
};

// A whole number from `text`, or false.
bool parseNumber(const std::string& text, std::int64_t* value);

// Where data go: stdout, or a file written as NAME.partial-PID and renamed
// to NAME by commit() (a device, pipe or symbolic link is written directly). A file output that was not committed is removed when
// the object goes away.
class Output {
 public:
  // An empty name or "-" is stdout; stdout on a terminal is refused (binary
  // data) unless `textData`.
  Output(const std::string& command, const std::string& name, bool textData = false);
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
// is created empty under a temporary name at once, so an unwritable one is
// reported before any work, and renamed (with its ".timing" companion) by
// commitAll.
class OutputSet {
 public:
  ~OutputSet();
  // Returns the temporary name to hand to the writer.
  std::string add(const std::string& finalName, bool timing);
  void commitAll();
  void removeAll();

 private:
  struct Entry {
    std::string finalName, temp;
    bool timing;
  };
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

// The one-line progress display on stderr, fed through the progress model.
// Silent unless stderr is a terminal and --quiet was not given; redrawn at
// most four times a second, and erased by finish().
class ProgressLine : public ProgressView {
 public:
  ProgressLine(bool quiet, std::int64_t total);
  ~ProgressLine() override;
  void update(std::int64_t position, const std::string& currentFile);
  void finish();

  void setText(int control, const char* text) override;
  void setBarPosition(std::int32_t) override {}
  void stopTimer() override {}

 private:
  void draw();

  bool enabled_;
  ProgressModel model_;
  std::map<int, std::string> texts_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point lastDraw_;
  bool drawn_ = false;
  std::size_t width_ = 0;
};

// A DVD folder opened for the subcommands: resolves FOLDER (or its VIDEO_TS
// child), loads the navigation files and keeps the reader's messages.
struct Disc {
  explicit Disc(const std::string& folder, bool dumpToStdout = false);
  ~Disc();
  // Checks the 1-based title set and program chain (and cell, 0 for none)
  // and selects the range on a fresh set of VOB files. Fails with a clear
  // message when the numbers name nothing or the VOB files end too soon.
  void select(std::int32_t titleSet, std::int32_t pgc, std::int32_t cell);
  // The name of the VOB file the reader stands in.
  std::string currentVob() const;

  std::string folder;
  std::unique_ptr<DvdTitleReader> reader;
};

// The subcommands: each returns the exit status.
int runCat(const std::vector<std::string>& argv);
int runDvd(const std::vector<std::string>& argv);
int runDemux(const std::vector<std::string>& argv);
int runIfo(const std::vector<std::string>& argv);
int runInfo(const std::vector<std::string>& argv);
int runConfig(const std::vector<std::string>& argv);

// Prints `text` on stdout (help texts).
int printHelp(const char* text);

}  // namespace cli
