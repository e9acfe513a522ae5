// Time to load a VIDEO_TS folder's navigation files with openIfo, beside
// libdvdread opening the same Video Manager and every title set (ifoOpen)
// in the same run.
//
//   ifo_bench [VIDEO_TS_FOLDER]   (default: the bundled sample disc)
#include <dvdread/dvd_reader.h>
#include <dvdread/ifo_read.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "demux/stream.h"
#include "dvdnav/dvd_title_reader.h"

using Clock = std::chrono::steady_clock;

namespace {

constexpr int kRounds = 2000;

void quiet(int, const char*) {}

template <typename Run>
double microsecondsPerLoad(Run run) {
  run();  // warm the page cache
  auto start = Clock::now();
  for (int i = 0; i < kRounds; ++i) run();
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / kRounds;
}

bool loadWithLibdvdread(dvd_reader_t* dvd) {
  ifo_handle_t* vmg = ifoOpen(dvd, 0);
  if (!vmg) return false;
  int sets = vmg->vmgi_mat->vmg_nr_of_title_sets;
  for (int i = 1; i <= sets; ++i) {
    ifo_handle_t* vts = ifoOpen(dvd, i);
    if (vts) ifoClose(vts);
  }
  ifoClose(vmg);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string folder = argc > 1 ? argv[1] : FENNORIA_SAMPLE_DISC;
  mpdx::LogCallback log(quiet);

  double ours = microsecondsPerLoad([&] {
    DvdTitleReader reader(log);
    if (reader.openIfo(folder) != 0) {
      std::fprintf(stderr, "ifo_bench: cannot load %s\n", folder.c_str());
      std::exit(1);
    }
  });
  dvd_reader_t* dvd = DVDOpen(folder.c_str());
  if (!dvd) {
    std::fprintf(stderr, "ifo_bench: libdvdread cannot open %s\n", folder.c_str());
    return 1;
  }
  double theirs = microsecondsPerLoad([&] { loadWithLibdvdread(dvd); });
  DVDClose(dvd);
  double theirsWithOpen = microsecondsPerLoad([&] {
    dvd_reader_t* d = DVDOpen(folder.c_str());
    loadWithLibdvdread(d);
    DVDClose(d);
  });

  std::printf("navigation load of %s, mean of %d rounds (microseconds)\n", folder.c_str(), kRounds);
  std::printf("  openIfo (with its dump)            %8.1f\n", ours);
  std::printf("  libdvdread ifoOpen, VMG + VTSs     %8.1f   openIfo takes %.2f x\n", theirs,
              ours / theirs);
  std::printf("  libdvdread DVDOpen + ifoOpen       %8.1f   openIfo takes %.2f x\n",
              theirsWithOpen, ours / theirsWithOpen);
  return 0;
}
