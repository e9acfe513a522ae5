// Fuzzes the reload of a list under an open inputer, as the filter does when
// streaming starts: a list made of the input is loaded and opened, read and
// sought a little, then rewritten and reloaded in place while the inputer
// still holds the first list's files, read and sought again, and closed.
//
// Afterwards the process must hold exactly the descriptors it held before,
// and a fresh open of the reloaded list must read the listed files' bytes.
// Any difference aborts.
#include <dirent.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "input/file_list.h"
#include "input/multiple_file_inputer.h"
#include "platform/message_box.h"

namespace list_reload_fuzz {

// Media files of assorted lengths (one empty), made once per process.
const std::int64_t kLengths[] = {0, 1, 7, 100, 2048, 5000, 16385, 40000};
constexpr int kFiles = sizeof kLengths / sizeof kLengths[0];

char patternByte(int file, std::int64_t offset) {
  return static_cast<char>((offset * 31 + file * 17 + (offset >> 8)) & 0xFF);
}

struct Media {
  std::string folder;
  std::vector<std::string> names;  // kFiles media files, then one missing
  std::string list;
  Media() {
    // In memory where the system offers it: every run writes the list twice.
    char inMemory[] = "/dev/shm/fennoria-reload-XXXXXX";
    char onDisk[] = "/tmp/fennoria-reload-XXXXXX";
    const char* made = mkdtemp(inMemory);
    if (!made) made = mkdtemp(onDisk);
    if (!made) std::abort();
    folder = made;
    for (int i = 0; i < kFiles; ++i) {
      names.push_back(folder + "/m" + std::to_string(i));
      std::ofstream out(names.back(), std::ios::binary);
      for (std::int64_t k = 0; k < kLengths[i]; ++k) out.put(patternByte(i, k));
    }
    names.push_back(folder + "/missing");
    list = folder + "/list.lst";
  }
  ~Media() {
    for (const std::string& name : names) std::remove(name.c_str());
    std::remove(list.c_str());
    rmdir(folder.c_str());
  }
};

const Media& media() {
  static const Media made;
  return made;
}

int openDescriptors() {
  int count = 0;
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (readdir(dir)) ++count;
    closedir(dir);
  }
  return count;
}

// A list text naming files by the bytes of `part` (each picks a file, the
// missing one included), with the line ends the byte's high bits choose.
std::string listText(const std::uint8_t* part, std::size_t size, std::vector<int>* picked) {
  static const char* const kEnds[] = {"\r\n", "\n", "\r", "\n\n"};
  std::string text;
  for (std::size_t i = 0; i < size && text.size() < 900; ++i) {
    int file = part[i] % (kFiles + 1);
    picked->push_back(file);
    text += media().names[static_cast<std::size_t>(file)] + kEnds[(part[i] >> 4) & 3];
  }
  return text;
}

// A list naming nothing is written as line ends only: a file of fewer than
// five bytes is never read as a list, and its handle is deliberately kept
// open for the life of the process, which the descriptor count would see.
void writeList(const std::string& text) {
  std::ofstream out(media().list, std::ios::binary | std::ios::trunc);
  out << (text.empty() ? std::string("\r\n\r\n\r\n") : text);
}

// A few seeks and reads driven by `ops`; nothing is checked but safety.
void wander(MultipleFileInputer& inputer, const std::uint8_t* ops, std::size_t size) {
  char buffer[20000];
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    std::int64_t total = inputer.totalLength;
    std::int64_t at = total > 0 ? (ops[i] * total) / 256 : ops[i];
    if (ops[i + 1] & 1) inputer.seek(at);
    inputer.readBlock(buffer, (ops[i + 1] * 79) % static_cast<int>(sizeof buffer));
  }
}

int runOne(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const Media& files = media();
  // The first byte splits the rest: the first list, the second list, and
  // the reads in between.
  std::size_t rest = size - 1;
  std::size_t cut = rest ? data[0] % (rest + 1) : 0;
  const std::uint8_t* first = data + 1;
  const std::uint8_t* second = first + cut;
  std::size_t secondSize = rest - cut;
  std::size_t firstNames = cut / 2, secondNames = secondSize / 2;

  // The inputers' messages are expected here; they are swallowed, and
  // whatever took them before gets them back afterwards.
  platform::MessageHook previous =
      platform::setMessageHook([](const std::string&, const std::string&) {});
  const int before = openDescriptors();
  {
    std::vector<int> picked;
    FileList list;
    MultipleFileInputer inputer;
    writeList(listText(first, firstNames, &picked));
    list.load(files.list.c_str());
    inputer.open(&list);
    wander(inputer, first + firstNames, cut - firstNames);

    picked.clear();
    writeList(listText(second, secondNames, &picked));
    list.load(files.list.c_str());
    wander(inputer, second + secondNames, secondSize - secondNames);
    inputer.close();
    if (openDescriptors() != before) std::abort();

    // Opened afresh, the reloaded list reads as its files joined. (A read
    // that reaches the end of a file followed by an empty one returns 0 by
    // design, so only lists without empty files are read through.)
    if (inputer.open(&list) == S_OK) {
      std::string expected;
      bool withEmptyFile = false;
      for (int file : picked) {
        if (file >= kFiles) std::abort();  // a missing file must fail the open
        withEmptyFile = withEmptyFile || kLengths[file] == 0;
        for (std::int64_t k = 0; k < kLengths[file]; ++k) expected += patternByte(file, k);
      }
      if (static_cast<std::int64_t>(expected.size()) != inputer.totalLength) std::abort();
      std::string got(expected.size(), '\0');
      if (!withEmptyFile && !expected.empty() &&
          (inputer.readBlock(&got[0], static_cast<std::int64_t>(got.size())) !=
               static_cast<std::int64_t>(got.size()) ||
           got != expected))
        std::abort();
    }
  }
  if (openDescriptors() != before) std::abort();
  platform::setMessageHook(previous);
  return 0;
}

}  // namespace list_reload_fuzz

#ifndef FENNORIA_FUZZ_REPLAY_ONLY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return list_reload_fuzz::runOne(data, size);
}
#endif
