// Fuzzes the VOB demultiplexer: arbitrary bytes fed in arbitrary chunkings.
// The first four bytes seed the chunk sizes (0 to 6143 bytes, now and then a
// negative length, which must be ignored); the rest is the stream. Every kind
// of output is registered, half of the inputs with timing files, on real
// files in a folder of the process made once. The whole packs of each chunk
// also go through the first-time-stamp scan the tool's delays come from.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "demux/first_timestamps.h"
#include "demux/timing_file.h"
#include "demux/vob_demuxer.h"

#ifdef _WIN32
#include <process.h>
#define FENNORIA_GETPID _getpid
#else
#include <unistd.h>
#define FENNORIA_GETPID getpid
#endif

namespace {

const std::string& outputFolder() {
  static const std::string folder = [] {
    // Closing flushes every file to disk; a memory file system (where there
    // is one) keeps that from setting the pace.
    std::error_code error;
    std::filesystem::path base = std::filesystem::is_directory("/dev/shm", error)
                                     ? std::filesystem::path("/dev/shm")
                                     : std::filesystem::temp_directory_path();
    auto dir = base / ("fennoria-demux-fuzz-" + std::to_string(FENNORIA_GETPID()));
    std::filesystem::create_directories(dir);
    return dir.string() + "/";
  }();
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  std::uint32_t seed = static_cast<std::uint32_t>(data[0]) | data[1] << 8 | data[2] << 16 |
                       static_cast<std::uint32_t>(data[3]) << 24;
  data += 4;
  size -= 4;
  bool timing = seed & 1;
  const std::string& folder = outputFolder();
  {
    VobDemuxer demuxer(nullptr);
    demuxer.AddAudio((folder + "a0.ac3").c_str(), 0, 0, timing);
    demuxer.AddAudio((folder + "a7.ac3").c_str(), 0, 7, timing);
    demuxer.AddAudio((folder + "m0.mp2").c_str(), 2, 0, timing);
    demuxer.AddAudio((folder + "m31.mp2").c_str(), 2, 31, timing);
    demuxer.AddSubtitle((folder + "s0.sup").c_str(), 0, timing);
    demuxer.AddSubtitle((folder + "s31.sup").c_str(), 31, timing);
    demuxer.AddVideo((folder + "v.m2v").c_str(), timing);

    // Each call gets a buffer of exactly its length, so that a read past it
    // is caught.
    std::uint32_t state = seed | 1;
    std::size_t at = 0;
    FirstTimestamps stamps;
    while (at < size) {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      if ((state & 31) == 0) {
        demuxer.Demultiplex(data + at, -static_cast<std::int32_t>(state >> 20) - 1);
        continue;
      }
      std::size_t chunk = (seed & 2) ? (state >> 8) % 6144 : std::size_t{2048} << (state >> 8) % 3;
      if (chunk > size - at) chunk = size - at;
      std::unique_ptr<std::uint8_t[]> piece(new std::uint8_t[chunk]);
      if (chunk) std::memcpy(piece.get(), data + at, chunk);
      demuxer.Demultiplex(piece.get(), static_cast<std::int32_t>(chunk));
      stamps.scan(piece.get(), chunk / 2048);
      at += chunk;
      if ((state >> 4 & 63) == 0) demuxer.FlushAll();
    }
    demuxer.CloseAll();
    // A stamp has 33 bits.
    for (int key : {FirstTimestamps::video, FirstTimestamps::ac3(0), FirstTimestamps::mpegAudio(0)})
      if (stamps.first(key) && (*stamps.first(key) < 0 || *stamps.first(key) >= (1ll << 33)))
        std::abort();
  }
  timing::releaseAllTimingFiles();
  return 0;
}
