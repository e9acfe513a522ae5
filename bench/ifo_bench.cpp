// Time to load a VIDEO_TS folder's navigation files with openIfo, beside
// libdvdread opening the same Video Manager and every title set (ifoOpen)
// in the same run. Given a disc image instead, our load includes opening the
// image as the tool does (file system, scrambled-pack check), beside
// libdvdread's DVDOpen + ifoOpen of the same image. Our load is timed as the
// tool makes it (no text dumps) and as the filter makes it (every file's
// dump composed for its debug log). The loads take turns in blocks, and each
// figure is the median of its blocks, so that other work on the machine
// weighs on both alike.
//
// Then hostile title sets: a program chain table of N entries that all
// point at one block of N commands, for N = 1,000, 4,000, 16,000 and 64,000. The
// file grows linearly with N; the time and the peak memory of parsing it
// (and of dumping it) must grow in the same proportion, not with N squared.
// Memory is counted by this program's own operator new.
//
//   ifo_bench [VIDEO_TS_FOLDER | IMAGE]   (default: the bundled sample disc)
//   ifo_bench --hostile           (only the hostile title sets)
#include <dvdread/dvd_reader.h>
#include <dvdread/ifo_read.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <new>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "bench_rows.h"
#include "demux/stream.h"
#include "disc/open_disc_image.h"
#include "dvdnav/dvd_title_reader.h"
#include "dvdnav/ifo_dump.h"
#include "dvdnav/ifo_parser.h"

// Every allocation of this program is counted: the bytes in use and their
// peak since the last reset.
namespace {
std::atomic<std::size_t> gInUse{0};
std::atomic<std::size_t> gPeak{0};

void* counted(std::size_t size) {
  void* block = std::malloc(size + sizeof(std::max_align_t));
  if (!block) throw std::bad_alloc();
  *static_cast<std::size_t*>(block) = size;
  std::size_t now = gInUse += size;
  std::size_t peak = gPeak.load();
  while (now > peak && !gPeak.compare_exchange_weak(peak, now)) {
  }
  return static_cast<char*>(block) + sizeof(std::max_align_t);
}

void uncounted(void* pointer) {
  if (!pointer) return;
  char* block = static_cast<char*>(pointer) - sizeof(std::max_align_t);
  gInUse -= *reinterpret_cast<std::size_t*>(block);
  std::free(block);
}
}  // namespace

void* operator new(std::size_t size) { return counted(size); }
void* operator new[](std::size_t size) { return counted(size); }
void operator delete(void* pointer) noexcept { uncounted(pointer); }
void operator delete[](void* pointer) noexcept { uncounted(pointer); }
void operator delete(void* pointer, std::size_t) noexcept { uncounted(pointer); }
void operator delete[](void* pointer, std::size_t) noexcept { uncounted(pointer); }

using Clock = std::chrono::steady_clock;

namespace {

constexpr int kBlocks = 41;
constexpr int kRoundsPerBlock = 50;

void quiet(int, const char*) {}

// The median over kBlocks blocks of each load's mean time in microseconds;
// the loads take turns block by block.
std::vector<double> microsecondsPerLoad(const std::vector<std::function<void()>>& loads) {
  for (const auto& load : loads) load();  // warm the page cache
  std::vector<std::vector<double>> blocks(loads.size());
  for (int b = 0; b < kBlocks; ++b)
    for (std::size_t i = 0; i < loads.size(); ++i) {
      auto start = Clock::now();
      for (int r = 0; r < kRoundsPerBlock; ++r) loads[i]();
      blocks[i].push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count() /
                          kRoundsPerBlock);
    }
  std::vector<double> medians;
  for (auto& times : blocks) {
    std::nth_element(times.begin(), times.begin() + kBlocks / 2, times.end());
    medians.push_back(times[kBlocks / 2]);
  }
  return medians;
}

// Loads the navigation files from a folder, or opens an image and loads
// them from inside it.
int loadWithOpenIfo(DvdTitleReader& reader, const std::string& name) {
  if (std::filesystem::is_directory(name)) return reader.openIfo(name);
  OpenedDiscImage image = openDiscImage(name, name + "/VIDEO_TS");
  return image.files ? reader.openIfo(image.files, name + "/VIDEO_TS") : 1;
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

// A title set whose program chain table has `entries` entries, all pointing
// at one block that carries `entries` pre-commands.
std::vector<std::uint8_t> hostileTitleSet(std::uint32_t entries) {
  std::size_t table = 2048;
  std::size_t block = table + 8 + 8 * std::size_t{entries};
  std::size_t commands = block + 236;
  std::vector<std::uint8_t> file(commands + 8 + 8 * std::size_t{entries}, 0);
  auto u16 = [&](std::size_t at, std::uint32_t v) {
    file[at] = static_cast<std::uint8_t>(v >> 8);
    file[at + 1] = static_cast<std::uint8_t>(v);
  };
  auto u32 = [&](std::size_t at, std::uint32_t v) {
    u16(at, v >> 16);
    u16(at + 2, v & 0xFFFF);
  };
  std::memcpy(file.data(), "DVDVIDEO-VTS", 12);
  u32(0xCC, 1);
  u16(table, entries);
  u32(table + 4, static_cast<std::uint32_t>(file.size() - table - 1));
  for (std::uint32_t i = 0; i < entries; ++i)
    u32(table + 8 + 8 * i + 4, static_cast<std::uint32_t>(block - table));
  u16(block + 0xE4, 236);
  u16(commands, entries);
  for (std::uint32_t i = 0; i < entries; ++i) file[commands + 8 + 8 * i] = 0x20;
  return file;
}

// Throws away what it is given, counting it.
class CountingSink : public std::streambuf {
 public:
  std::size_t written = 0;

 protected:
  int_type overflow(int_type c) override {
    ++written;
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char*, std::streamsize n) override {
    written += static_cast<std::size_t>(n);
    return n;
  }
};

struct HostileFigures {
  std::size_t fileBytes = 0;
  double parseMicroseconds = 0;
  std::size_t parsePeak = 0;
  double dumpMicroseconds = 0;
  std::size_t dumpPeak = 0;
  std::size_t dumpBytes = 0;
};

HostileFigures measureHostile(std::uint32_t entries) {
  HostileFigures figures;
  std::vector<std::uint8_t> file = hostileTitleSet(entries);
  figures.fileBytes = file.size();
  CountingSink sink;
  std::ostream out(&sink);
  const int rounds = 20;
  for (int round = 0; round < rounds; ++round) {
    std::size_t base = gInUse;
    gPeak = base;
    auto start = Clock::now();
    dvdnav::TitleSetInfo vts;
    dvdnav::parseTitleSet(dvdnav::IfoBytes(file.data(), file.size()), vts, out);
    auto parsed = Clock::now();
    std::size_t parsePeak = gPeak - base;
    std::size_t before = sink.written;
    out << vts;
    auto dumped = Clock::now();
    // The fastest round: the machine's other work only ever adds time.
    double parse = std::chrono::duration<double, std::micro>(parsed - start).count();
    double dump = std::chrono::duration<double, std::micro>(dumped - parsed).count();
    if (round == 0 || parse < figures.parseMicroseconds) figures.parseMicroseconds = parse;
    if (round == 0 || dump < figures.dumpMicroseconds) figures.dumpMicroseconds = dump;
    figures.parsePeak = parsePeak;
    figures.dumpPeak = gPeak - base;
    figures.dumpBytes = sink.written - before;
  }
  return figures;
}

void hostileTables() {
  const std::uint32_t sizes[] = {1000, 4000, 16000, 64000};
  const int cases = 4;
  HostileFigures figures[cases];
  for (int i = 0; i < cases; ++i) figures[i] = measureHostile(sizes[i]);
  std::printf("\nhostile title sets: N program chain entries at one block of N commands,\n"
              "fastest of 20 parses (peak: bytes allocated at once, from this program's operator new)\n");
  std::printf("  %6s  %9s  %10s  %12s  %10s  %12s  %12s\n", "N", "file", "parse us",
              "parse peak", "dump us", "dump peak", "dump bytes");
  for (int i = 0; i < cases; ++i)
    std::printf("  %6u  %9zu  %10.1f  %12zu  %10.1f  %12zu  %12zu\n", sizes[i],
                figures[i].fileBytes, figures[i].parseMicroseconds, figures[i].parsePeak,
                figures[i].dumpMicroseconds, figures[i].dumpPeak, figures[i].dumpBytes);
  std::printf("  ratios to N = 1,000 (linear growth: about 4, 16 and 64)\n");
  for (int i = 1; i < cases; ++i) {
    const HostileFigures& a = figures[0];
    const HostileFigures& b = figures[i];
    std::printf("  %6u  file %5.2f x  parse time %5.2f x  parse peak %5.2f x  dump time %5.2f x"
                "  dump bytes %5.2f x\n",
                sizes[i], double(b.fileBytes) / a.fileBytes,
                b.parseMicroseconds / a.parseMicroseconds, double(b.parsePeak) / a.parsePeak,
                b.dumpMicroseconds / a.dumpMicroseconds, double(b.dumpBytes) / a.dumpBytes);
  }
  for (int i = 0; i < cases; ++i)
    std::printf("  N = %5u: parse peak is %.2f x the file\n", sizes[i],
                double(figures[i].parsePeak) / figures[i].fileBytes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "--hostile") {
    hostileTables();
    return 0;
  }
  std::string folder = argc > 1 ? argv[1] : FENNORIA_SAMPLE_DISC;
  const bool image = !std::filesystem::is_directory(folder);
  mpdx::LogCallback log(quiet);

  auto ours = [&](bool dumps) {
    DvdTitleReader reader(log);
    reader.dumpRecords = dumps;
    if (loadWithOpenIfo(reader, folder) != 0) {
      std::fprintf(stderr, "ifo_bench: cannot load %s\n", folder.c_str());
      std::exit(1);
    }
  };
  // libdvdread tells stdout on every DVDOpen of an image that it has no
  // decryption, and stderr on every DVDOpen of a folder that it found no
  // device; its words go to /dev/null while it is timed.
  std::fflush(stdout);
  std::fflush(stderr);
  int savedStdout = dup(1), savedStderr = dup(2);
  int null = open("/dev/null", O_WRONLY);
  dup2(null, 1);
  dup2(null, 2);
  dvd_reader_t* dvd = DVDOpen(folder.c_str());
  std::vector<double> times;
  if (dvd)
    times = microsecondsPerLoad({[&] { ours(false); }, [&] { ours(true); },
                                 [&] { loadWithLibdvdread(dvd); },
                                 [&] {
                                   dvd_reader_t* d = DVDOpen(folder.c_str());
                                   loadWithLibdvdread(d);
                                   DVDClose(d);
                                 }});
  if (dvd) DVDClose(dvd);
  std::fflush(stdout);
  std::fflush(stderr);
  dup2(savedStdout, 1);
  dup2(savedStderr, 2);
  close(null);
  close(savedStdout);
  close(savedStderr);
  if (!dvd) {
    std::fprintf(stderr, "ifo_bench: libdvdread cannot open %s\n", folder.c_str());
    return 1;
  }
  double tool = times[0], filter = times[1], theirs = times[2], theirsWithOpen = times[3];

  std::printf("navigation load of %s%s, median of %d blocks of %d loads (microseconds)\n",
              folder.c_str(), image ? " (the image opened too)" : "", kBlocks, kRoundsPerBlock);
  std::printf("  openIfo as the tool loads        %8.1f\n", tool);
  std::printf("  openIfo with the dumps (filter)  %8.1f\n", filter);
  std::printf("  libdvdread ifoOpen, VMG + VTSs   %8.1f   the tool's load takes %.2f x\n", theirs,
              tool / theirs);
  std::printf("  libdvdread DVDOpen + ifoOpen     %8.1f   the tool's load takes %.2f x\n",
              theirsWithOpen, tool / theirsWithOpen);
  std::string what = image ? "disc image opened, IFOs loaded" : "IFOs loaded from a folder";
  benchRow(what + " (tool)", "us", tool, "libdvdread DVDOpen + ifoOpen", theirsWithOpen,
           theirsWithOpen / tool);
  benchRow(what + ", with dumps (filter)", "us", filter, "libdvdread DVDOpen + ifoOpen",
           theirsWithOpen, theirsWithOpen / filter);
  hostileTables();
  return 0;
}
