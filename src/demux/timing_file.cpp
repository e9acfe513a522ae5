#include "demux/timing_file.h"

#include <atomic>
#include <charconv>
#include <fstream>
#include <memory>
#include <vector>

namespace timing {

namespace {

// Every timing file opened in this process. Allocated once and never freed:
// the streams must outlive any demultiplexer and any static object that may
// still write to them.
struct OpenFiles {
  std::atomic_flag busy = ATOMIC_FLAG_INIT;
  std::vector<std::unique_ptr<std::ofstream>> streams;
};

OpenFiles& openFiles() {
  static OpenFiles* files = new OpenFiles;
  return *files;
}

// A short lock of its own: demultiplexers of different filters may open
// timing files on different threads.
class Hold {
 public:
  explicit Hold(OpenFiles& files) : files_(files) {
    while (files_.busy.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~Hold() { files_.busy.clear(std::memory_order_release); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

 private:
  OpenFiles& files_;
};

char* put(char* at, char* end, std::int32_t value) {
  return std::to_chars(at, end, value).ptr;
}

}  // namespace

std::string timingFileName(const std::string& outputName) { return outputName + ".timing"; }

std::ostream* openTimingFile(const std::string& outputName) {
  auto stream = std::make_unique<std::ofstream>(
      timingFileName(outputName).c_str(), std::ios::out | std::ios::trunc | std::ios::binary);
  std::ostream* result = stream.get();
  OpenFiles& files = openFiles();
  Hold hold(files);
  files.streams.push_back(std::move(stream));
  return result;
}

void writeTimingLine(std::ostream& out, std::int32_t position, std::int32_t pts,
                     std::int32_t dts) {
  if (out.fail()) return;  // fail or bad: the stream has gone silent
  // Three signed 32-bit numbers of at most 11 characters, two blanks, CR LF
  // (37 characters); the room past `end` keeps every store in the array.
  char line[48];
  char* end = line + 37;
  char* at = put(line, end, position);
  *at++ = ' ';
  at = put(at, end, pts);
  *at++ = ' ';
  at = put(at, end, dts);
  *at++ = '\r';
  *at++ = '\n';
  out.write(line, at - line);
  out.flush();
}

void closeAllTimingFiles() {
  OpenFiles& files = openFiles();
  Hold hold(files);
  for (auto& stream : files.streams) stream->close();
}

void releaseAllTimingFiles() {
  OpenFiles& files = openFiles();
  Hold hold(files);
  files.streams.clear();
}

}  // namespace timing
