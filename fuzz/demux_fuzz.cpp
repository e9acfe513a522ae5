// Fuzzes the VOB demultiplexer: arbitrary bytes fed in arbitrary chunkings.
// The first four bytes seed the chunk sizes (0 to 6143 bytes, now and then a
// negative length, which must be ignored); the rest is the stream. Every kind
// of output is registered, half of the inputs with timing files, on real
// files in a folder of the process made once. The whole packs of each chunk
// also go through the first-time-stamp scan the tool's delays come from and
// the tool's own DTS, WAV and VobSub outputs; the whole input is also cut to
// whole audio frames of each kind.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "demux/timing_file.h"
#include "demux/vob_demuxer.h"
#include "extract/audio_frames.h"
#include "extract/dts_output.h"
#include "extract/first_timestamps.h"
#include "extract/lpcm_wav_output.h"
#include "extract/vobsub_output.h"

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

// The tool's outputs, one of each kind at both ends of its numbers. A WAV
// output whose stream changes format is dropped, as the tool stops there.
struct Sinks {
  std::vector<std::unique_ptr<PackSink>> all;
  std::int64_t packs = 0;

  explicit Sinks(const std::string& folder) {
    all.push_back(std::make_unique<DtsOutput>(folder + "d0.dts", 0, 4096));
    all.push_back(std::make_unique<DtsOutput>(folder + "d7.dts", 7, 0));
    all.push_back(std::make_unique<LpcmWavOutput>(folder + "l0.wav", 0, 4096));
    all.push_back(std::make_unique<LpcmWavOutput>(folder + "l7.wav", 7, 0));
    VobSubIndex index;
    all.push_back(std::make_unique<VobSubOutput>(folder + "v0.idx", folder + "v0.sub", index, 0));
    index.number = 31;
    all.push_back(std::make_unique<VobSubOutput>(folder + "v31.idx", folder + "v31.sub", index, 4096));
  }

  void take(const std::uint8_t* data, std::size_t count, const FirstTimestamps& stamps) {
    for (auto& sink : all) {
      if (!sink) continue;
      try {
        sink->take(data, count, packs);
      } catch (const LpcmFormatError&) {
        sink->finish(stamps);
        sink.reset();
      }
    }
    packs += static_cast<std::int64_t>(count);
  }

  void finish(const FirstTimestamps& stamps) {
    for (auto& sink : all)
      if (sink) sink->finish(stamps);
  }
};

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
    Sinks sinks(folder);
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
      sinks.take(piece.get(), chunk / 2048, stamps);
      at += chunk;
      if ((state >> 4 & 63) == 0) demuxer.FlushAll();
    }
    demuxer.CloseAll();
    sinks.finish(stamps);
    // A stamp has 33 bits.
    for (int key : {FirstTimestamps::video, FirstTimestamps::ac3(0), FirstTimestamps::mpegAudio(0)})
      if (stamps.first(key) && (*stamps.first(key) < 0 || *stamps.first(key) >= (1ll << 33)))
        std::abort();
  }
  timing::releaseAllTimingFiles();
  // The same bytes as a raw audio stream of each kind, as the tool cuts its
  // outputs to their whole frames: the span must lie within the bytes.
  for (AudioCoding coding : {AudioCoding::Ac3, AudioCoding::Dts, AudioCoding::MpegAudio}) {
    const FrameSpan span = wholeFrames(coding, data, static_cast<std::int64_t>(size));
    if (span.start < 0 || span.start > span.end || span.end > static_cast<std::int64_t>(size))
      std::abort();
  }
  return 0;
}
