// ifodump: prints the navigation dump of a VIDEO_TS folder, the Video
// Manager then every title set, as the DVD reader writes it to its log.
//
//   ifodump VIDEO_TS_FOLDER
#include <cstdio>

#include "demux/stream.h"
#include "dvdnav/dvd_title_reader.h"

namespace {
void print(int level, const char* text) {
  std::FILE* out = level >= 3 ? stdout : stderr;
  std::fputs(text, out);
  std::fputc('\n', out);
}
}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: ifodump VIDEO_TS_FOLDER\n");
    return 2;
  }
  mpdx::LogCallback log(print);
  DvdTitleReader reader(log);
  return reader.openIfo(argv[1]) == 0 ? 0 : 1;
}
