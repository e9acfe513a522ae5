// Throughput of MultipleFileInputer::readBlock over a list of four 256 MiB
// files (page cache warm), beside dd over the same files in the same run.
//
//   readblock_bench [FOLDER]     (default: ./readblock-bench-data)
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench_rows.h"
#include "input/file_list.h"
#include "input/multiple_file_inputer.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::int64_t kFileSize = std::int64_t{256} << 20;
constexpr int kFiles = 4;
constexpr int kRounds = 3;

void makeFile(const fs::path& name, unsigned seed) {
  std::error_code error;
  if (fs::file_size(name, error) == static_cast<std::uintmax_t>(kFileSize)) return;
  std::vector<char> block(1 << 20);
  for (std::size_t i = 0; i < block.size(); ++i)
    block[i] = static_cast<char>((i * 2654435761u + seed) >> 13);
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  for (std::int64_t done = 0; done < kFileSize; done += static_cast<std::int64_t>(block.size())) {
    block[0] = static_cast<char>(done >> 20);
    out.write(block.data(), static_cast<std::streamsize>(block.size()));
  }
}

double seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

// Best of kRounds, in MB/s (10^6 bytes per second).
template <typename Run>
double bestRate(Run run) {
  double best = 0;
  for (int round = 0; round < kRounds; ++round) {
    auto start = Clock::now();
    std::int64_t bytes = run();
    double rate = static_cast<double>(bytes) / seconds(start) / 1e6;
    if (rate > best) best = rate;
  }
  return best;
}

std::int64_t runDd(const std::vector<std::string>& files, const char* blockSize) {
  std::string command;
  for (const auto& f : files)
    command += "dd if='" + f + "' of=/dev/null bs=" + blockSize + " status=none && ";
  command += "true";
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "readblock_bench: dd failed\n");
    std::exit(1);
  }
  return kFileSize * kFiles;
}

std::int64_t runReadBlock(FileList& list, std::int64_t request, std::vector<char>& buffer) {
  MultipleFileInputer inputer;
  if (inputer.open(&list) != S_OK) std::exit(1);
  std::int64_t total = 0;
  while (total < list.totalLength) {
    std::int64_t want = list.totalLength - total < request ? list.totalLength - total : request;
    std::int64_t got = inputer.readBlock(buffer.data(), want);
    if (got <= 0) {
      std::fprintf(stderr, "readblock_bench: readBlock failed at %lld\n",
                   static_cast<long long>(total));
      std::exit(1);
    }
    total += got;
  }
  return total;
}

}  // namespace

int main(int argc, char** argv) {
  fs::path folder = argc > 1 ? argv[1] : "readblock-bench-data";
  fs::create_directories(folder);
  std::vector<std::string> files;
  std::string listText;
  for (int i = 0; i < kFiles; ++i) {
    fs::path name = fs::absolute(folder / ("part" + std::to_string(i) + ".bin"));
    makeFile(name, static_cast<unsigned>(i));
    files.push_back(name.string());
    listText += name.string() + "\n";
  }
  fs::path listName = folder / "bench.lst";
  std::ofstream(listName, std::ios::binary) << listText;

  FileList list;
  list.load(listName.string().c_str());
  if (list.totalLength != kFileSize * kFiles) {
    std::fprintf(stderr, "readblock_bench: list did not load\n");
    return 1;
  }
  runDd(files, "1M");  // warm the page cache

  std::vector<char> buffer(std::size_t{1} << 20);
  double dd16k = bestRate([&] { return runDd(files, "16k"); });
  double dd1m = bestRate([&] { return runDd(files, "1M"); });
  double rb64k = bestRate([&] { return runReadBlock(list, 64 << 10, buffer); });
  double rb1m = bestRate([&] { return runReadBlock(list, 1 << 20, buffer); });

  std::printf("4 files x 256 MiB, page cache warm, best of %d rounds (MB/s)\n", kRounds);
  std::printf("  dd bs=16k              %8.0f\n", dd16k);
  std::printf("  dd bs=1M               %8.0f\n", dd1m);
  std::printf("  readBlock 64 KiB       %8.0f   %.2f x dd bs=16k   %.2f x dd bs=1M\n", rb64k,
              rb64k / dd16k, rb64k / dd1m);
  std::printf("  readBlock 1 MiB        %8.0f   %.2f x dd bs=16k   %.2f x dd bs=1M\n", rb1m,
              rb1m / dd16k, rb1m / dd1m);
  benchRow("list readBlock, 64 KiB requests (4 x 256 MiB)", "MB/s", rb64k, "dd bs=16k", dd16k,
           rb64k / dd16k);
  benchRow("list readBlock, 1 MiB requests (4 x 256 MiB)", "MB/s", rb1m, "dd bs=1M", dd1m,
           rb1m / dd1m);
  return 0;
}
