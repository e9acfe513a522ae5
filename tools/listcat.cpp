// listcat: reads a list file (or one media file) as one joined stream and
// writes the stream to stdout; the list's files, their boundaries in the
// stream and its length go to stderr.
//
//   listcat LIST_OR_FILE > joined.bin
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "input/file_list.h"
#include "input/multiple_file_inputer.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: listcat LIST_OR_FILE > joined.bin\n");
    return 2;
  }
  FileList list;
  list.load(argv[1]);
  if (list.count == 0) {
    std::fprintf(stderr, "listcat: %s: no file to read (missing, empty or too short a list)\n",
                 argv[1]);
    return 1;
  }
  MultipleFileInputer inputer;
  if (inputer.open(&list) != S_OK) return 1;

  std::int64_t start = 0;
  for (std::int32_t i = 0; i < list.count; ++i) {
    std::fprintf(stderr, "file %d: %s: bytes %lld to %lld (%lld bytes)\n", i + 1,
                 list.names[i] ? list.names[i] : "(null)", static_cast<long long>(start),
                 static_cast<long long>(start + list.sizes[i]),
                 static_cast<long long>(list.sizes[i]));
    start += list.sizes[i];
  }
  std::fprintf(stderr, "length: %lld bytes\n", static_cast<long long>(list.totalLength));

  std::vector<char> buffer(1 << 20);
  std::int64_t left = list.totalLength;
  while (left > 0) {
    std::int64_t want = left < static_cast<std::int64_t>(buffer.size())
                            ? left
                            : static_cast<std::int64_t>(buffer.size());
    std::int64_t got = inputer.readBlock(buffer.data(), want);
    if (got <= 0) {
      std::fprintf(stderr, "listcat: read failed %lld bytes before the end\n",
                   static_cast<long long>(left));
      return 1;
    }
    if (std::fwrite(buffer.data(), 1, static_cast<std::size_t>(got), stdout) !=
        static_cast<std::size_t>(got)) {
      std::fprintf(stderr, "listcat: cannot write the output\n");
      return 1;
    }
    left -= got;
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
