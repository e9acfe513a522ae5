// Throughput of DvdTitleReader::readFiltered keeping one AC-3 stream of a
// program-chain range, and of VobDemuxer::Demultiplex taking one AC-3 stream out of a
// large VOB (title set 1 of the sample disc repeated to at least 1 GiB, page
// cache warm), fed in 1 MiB pieces, beside ffmpeg copying the same stream
// and dd reading the same file, all in the same run. The demultiplexer is
// timed reading the file (as ffmpeg and dd do) and writing to /dev/null (as
// ffmpeg does), and then writing a real output file, which its closing
// flushes to disk.
//
//   demux_bench [FOLDER]     (default: ./demux-bench-data)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bench_rows.h"
#include "demux/vob_demuxer.h"
#include "dvdnav/dvd_title_reader.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::int64_t kMinimum = std::int64_t{1} << 30;
constexpr int kRounds = 3;

std::string readFile(const fs::path& name) {
  std::ifstream in(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Title set 1's VOB files joined, repeated until the file holds 1 GiB.
fs::path makeInput(const fs::path& folder) {
  std::string title;
  for (const char* part : {"VTS_01_1.VOB", "VTS_01_2.VOB", "VTS_01_3.VOB"})
    title += readFile(fs::path(FENNORIA_SAMPLE_DISC) / part);
  if (title.empty() || title.size() % 2048 != 0) {
    std::fprintf(stderr, "demux_bench: cannot read the sample title set\n");
    std::exit(1);
  }
  std::int64_t copies = (kMinimum + static_cast<std::int64_t>(title.size()) - 1) /
                        static_cast<std::int64_t>(title.size());
  std::int64_t size = copies * static_cast<std::int64_t>(title.size());
  fs::path name = fs::absolute(folder / "title1-repeated.vob");
  std::error_code error;
  if (fs::file_size(name, error) != static_cast<std::uintmax_t>(size)) {
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    for (std::int64_t i = 0; i < copies; ++i)
      out.write(title.data(), static_cast<std::streamsize>(title.size()));
  }
  return name;
}

double seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

template <typename Run>
double bestSeconds(int rounds, Run run) {
  double best = 1e30;
  for (int round = 0; round < rounds; ++round) {
    auto start = Clock::now();
    run();
    double s = seconds(start);
    if (s < best) best = s;
  }
  return best;
}

void runCommand(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "demux_bench: failed: %s\n", command.c_str());
    std::exit(1);
  }
}

// Reads the file in 1 MiB pieces and demultiplexes AC-3 substream 0 into
// `output`, whose writes collect in a buffer of `outputBuffer` bytes (0:
// each packet written at once); returns the bytes fed.
std::int64_t runDemux(const fs::path& input, const std::string& output,
                      std::size_t outputBuffer = 0) {
  // Page-aligned, as the tool's read-ahead buffers are: the system copies
  // into memory off a page at a fraction of its speed.
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  std::unique_ptr<char, void (*)(void*)> buffer(static_cast<char*>(std::aligned_alloc(4096, kPiece)),
                                                std::free);
  std::FILE* in = std::fopen(input.string().c_str(), "rb");
  if (!in) std::exit(1);
  VobDemuxer demuxer(nullptr);
  demuxer.setOutputBuffer(outputBuffer);
  demuxer.AddAudio(output.c_str(), 0, 0, false);
  std::int64_t total = 0;
  for (;;) {
    std::size_t got = std::fread(buffer.get(), 1, kPiece, in);
    if (got == 0) break;
    demuxer.Demultiplex(buffer.get(), static_cast<std::int32_t>(got));
    total += static_cast<std::int64_t>(got);
  }
  demuxer.CloseAll();
  std::fclose(in);
  return total;
}

// Reads the whole file as the range of title set 1 with AC-3 substream 0
// chosen, in requests of `request` bytes; returns the bytes handed out.
std::int64_t runFiltered(const fs::path& folder, std::int64_t size, std::int32_t request) {
  std::ostringstream log;
  DvdTitleReader reader(log);
  reader.folder = folder.string();
  reader.selectTitleSet(1, 1);
  reader.setSectorRange(0, static_cast<std::int32_t>(size / 2048));
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  std::vector<char> buffer(static_cast<std::size_t>(request));
  std::int64_t total = 0;
  while (!reader.isEnd()) total += reader.readFiltered(buffer.data(), request);
  return total;
}

}  // namespace

int main(int argc, char** argv) {
  fs::path folder = argc > 1 ? argv[1] : "demux-bench-data";
  fs::create_directories(folder);
  fs::path input = makeInput(folder);
  std::int64_t size = static_cast<std::int64_t>(fs::file_size(input));
  std::string quoted = "'" + input.string() + "'";
  runCommand("dd if=" + quoted + " of=/dev/null bs=1M status=none");  // warm the page cache

  double dd = bestSeconds(kRounds, [&] {
    runCommand("dd if=" + quoted + " of=/dev/null bs=2k status=none");
  });
  std::int64_t fed = 0;
  double demuxNull = bestSeconds(kRounds, [&] { fed = runDemux(input, "/dev/null"); });
  std::string fileOut = fs::absolute(folder / "audio.ac3").string();
  double demuxFile = bestSeconds(kRounds, [&] { runDemux(input, fileOut); });
  double demuxBuffered = bestSeconds(kRounds, [&] { runDemux(input, fileOut, 1 << 20); });
  // The reader takes the file as the first title VOB of a VIDEO_TS folder.
  fs::path titleVob = folder / "VTS_01_1.VOB";
  std::error_code linked;
  fs::remove(titleVob, linked);
  fs::create_hard_link(input, titleVob);
  double filteredSector = bestSeconds(kRounds, [&] { runFiltered(folder, size, 2048); });
  double filteredLarge = bestSeconds(kRounds, [&] { runFiltered(folder, size, 1 << 20); });
  double ffmpeg = bestSeconds(2, [&] {
    // The repeated title's stamps jump back at every copy, which ffmpeg's
    // muxer reports; its output is whole all the same.
    runCommand("ffmpeg -nostdin -v fatal -i " + quoted +
               " -map 0:a:0 -c copy -f ac3 -y /dev/null");
  });
  if (fed != size) {
    std::fprintf(stderr, "demux_bench: fed %lld of %lld bytes\n", static_cast<long long>(fed),
                 static_cast<long long>(size));
    return 1;
  }

  auto rate = [&](double s) { return static_cast<double>(size) / s / 1e6; };
  std::printf("%lld bytes (%.2f GiB), page cache warm, best of %d rounds (ffmpeg 2)\n",
              static_cast<long long>(size), static_cast<double>(size) / (1 << 30), kRounds);
  std::printf("  dd bs=2k                         %7.3f s  %8.0f MB/s\n", dd, rate(dd));
  std::printf("  ffmpeg -map 0:a:0 -c copy        %7.3f s  %8.0f MB/s\n", ffmpeg, rate(ffmpeg));
  std::printf("  readFiltered AC-3, 2 KiB reads    %7.3f s  %8.0f MB/s                   %5.2f x dd\n",
              filteredSector, rate(filteredSector), dd / filteredSector);
  std::printf("  readFiltered AC-3, 1 MiB reads    %7.3f s  %8.0f MB/s                   %5.2f x dd\n",
              filteredLarge, rate(filteredLarge), dd / filteredLarge);
  std::printf("  Demultiplex AC-3, to /dev/null   %7.3f s  %8.0f MB/s  %6.1f x ffmpeg  %5.2f x dd\n",
              demuxNull, rate(demuxNull), ffmpeg / demuxNull, dd / demuxNull);
  std::printf("  Demultiplex AC-3, to a file      %7.3f s  %8.0f MB/s  %6.1f x ffmpeg  %5.2f x dd\n",
              demuxFile, rate(demuxFile), ffmpeg / demuxFile, dd / demuxFile);
  std::printf("  ... with a 1 MiB output buffer   %7.3f s  %8.0f MB/s  %6.1f x ffmpeg  %5.2f x dd\n",
              demuxBuffered, rate(demuxBuffered), ffmpeg / demuxBuffered, dd / demuxBuffered);
  benchRow("readFiltered AC-3, 2 KiB reads (1 GiB)", "s", filteredSector, "dd bs=2k", dd,
           dd / filteredSector);
  benchRow("readFiltered AC-3, 1 MiB reads (1 GiB)", "s", filteredLarge, "dd bs=2k", dd,
           dd / filteredLarge);
  benchRow("Demultiplex AC-3 to /dev/null (1 GiB)", "s", demuxNull, "ffmpeg -c copy", ffmpeg,
           ffmpeg / demuxNull);
  benchRow("Demultiplex AC-3 to a file (1 GiB)", "s", demuxFile, "ffmpeg -c copy", ffmpeg,
           ffmpeg / demuxFile);
  return 0;
}
