// The tool's extraction: the packs of one input shown in order to every
// output the user chose, and the first time stamps that give each audio
// output its delay against the video.
//
// 1. Add the outputs (`add`, `addVobSub`), each writing to the file the
//    caller names (the tool names temporary files and renames them once the
//    whole run has succeeded).
// 2. Feed the input's bytes in order (`feed`): whole packs, except that the
//    input's last bytes may end inside a pack, which `trailingBytes` tells.
// 3. `finish`: every output closed and completed (WAV sizes, VobSub index).
// 4. `delays`: each audio output's delay against the video.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "extract/first_timestamps.h"
#include "extract/vobsub_index.h"

class DemuxerSink;
class PackSink;

enum class StreamKind { Ac3, MpegAudio, Subpicture, Video, Dts, Lpcm };

struct StreamChoice {
  StreamKind kind;
  // The stream's number within its kind: AC-3, DTS and LPCM 0-7, MPEG
  // audio and subpictures 0-31; unused for the video.
  int number = 0;
  // What messages and delays call the output: the name the user gave.
  std::string name;
};

// An output that cannot go on; `file` is the name the user gave it.
class ExtractionError : public std::runtime_error {
 public:
  ExtractionError(std::string output, const std::string& what)
      : std::runtime_error(what), file(std::move(output)) {}
  std::string file;
};

class Extraction {
 public:
  // Each output collects its writes into blocks of `outputBuffer` bytes.
  explicit Extraction(std::size_t outputBuffer);
  ~Extraction();
  Extraction(const Extraction&) = delete;
  Extraction& operator=(const Extraction&) = delete;

  // An output of `choice` written to `path`; with
  // `timing`, the demultiplexer's kinds (AC-3, MPEG audio, subpictures,
  // video) write `path`.timing beside it. Throws ExtractionError when the
  // output cannot be set up.
  void add(const StreamChoice& choice, const std::string& path, bool timing);
  // Subpicture stream `index.number` as VobSub, called `name`: its packs to
  // `subPath`, and at the end the index to `idxPath`, with what `index`
  // says besides the times.
  void addVobSub(const std::string& name, const std::string& idxPath, const std::string& subPath,
                 VobSubIndex index);

  // Shows the whole packs of `bytes` to every output. Throws ExtractionError
  // when an output cannot follow its stream.
  void feed(const std::uint8_t* bytes, std::size_t count);
  // The bytes after the last whole pack of the last feed.
  std::size_t trailingBytes() const { return trailing_; }
  // How many of the packs fed open with an MPEG-2 pack header: none means
  // the input was no program stream at all.
  std::int64_t programStreamPacks() const { return programStreamPacks_; }

  void finish();
  // Whether any output took fewer bytes than it was given (a full disk).
  bool writeFailed() const;

  struct Delay {
    std::string name;
    std::optional<std::int64_t> milliseconds;
    std::string unknownBecause;  // when there are no milliseconds
  };
  // One per audio output, in the order they were added.
  std::vector<Delay> delays() const;

 private:
  struct Output {
    std::unique_ptr<PackSink> sink;
    std::string name;
  };
  DemuxerSink& demuxer();

  std::size_t outputBuffer_;
  std::vector<Output> outputs_;
  DemuxerSink* demuxer_ = nullptr;  // one of `outputs_`, made with the first of its kinds
  std::vector<StreamChoice> audio_;
  FirstTimestamps timestamps_;
  std::int64_t packsFed_ = 0;
  std::int64_t programStreamPacks_ = 0;
  std::size_t trailing_ = 0;
};
