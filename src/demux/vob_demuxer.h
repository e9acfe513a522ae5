// The VOB demultiplexer: cuts the bytes delivered in DVD mode into 2048-byte
// packs and copies the payload of chosen elementary streams (one video
// stream, AC-3 substreams, MPEG audio streams, subpicture substreams) into
// files of their own, with an optional timing file beside each. It only
// observes the data it is given; it never changes it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "demux/stream.h"
#include "input/output_file_stream.h"

class VobDemuxer {
 public:
  static constexpr std::int32_t packSize = 2048;

  // `log` receives the messages of the message builder set up around each
  // call (there are none); it may be null.
  explicit VobDemuxer(mpdx::LogCallback::Sink log);
  ~VobDemuxer();
  VobDemuxer(const VobDemuxer&) = delete;
  VobDemuxer& operator=(const VobDemuxer&) = delete;

  // Registers an audio output: type 0 an AC-3 substream (number 0-7), type 2
  // an MPEG audio stream (number 0-31). The file is created anew (a null name
  // is the empty name); with `timing` its timing file is created too. 0 on
  // success; any other type does nothing and gives 1.
  int AddAudio(const char* name, int type, int number, bool timing);
  // Registers a subpicture output (substream number 0-31). 0 on success, 1
  // when the output file object cannot be made.
  int AddSubtitle(const char* name, int number, bool timing);
  // Registers the video output (every video stream id goes there).
  bool AddVideo(const char* name, bool timing);

  // Feeds `length` bytes (a negative length is ignored). Whole packs are
  // demultiplexed; an incomplete pack at the end is held for the next call,
  // so the input must be the contiguous stream in pack alignment.
  void Demultiplex(const void* data, std::int32_t length);

  // Flushes, closes and releases every output file, then forgets them; the
  // timing files are left as they are. 0.
  int CloseAll();
  // Flushes every output file to disk and leaves it open. 0.
  int FlushAll();

  // Bytes of an incomplete pack held from the previous call (0 to 2047).
  std::int32_t heldCount() const { return held_; }

  // Outputs registered after this call collect their writes in a buffer of
  // `bytes` (see OutputFileStream); 0, the default, writes every packet to
  // its file at once. The files end the same either way.
  void setOutputBuffer(std::size_t bytes) { outputBuffer_ = bytes; }
  // Whether any output, open now or closed before, took fewer bytes than it
  // was given (a full disk). The demultiplexer itself goes on regardless.
  bool writeFailed() const;

 private:
  using FileMap = std::map<int, std::unique_ptr<OutputFileStream>>;
  using TimingMap = std::map<int, std::ostream*>;

  std::unique_ptr<OutputFileStream> openOutput(const std::string& name);
  void demultiplexPacks(const std::uint8_t* packs, std::int32_t count);
  void demultiplexPack(const std::uint8_t* pack);
  // Writes the part of `count` bytes at `data` that lies inside the pack
  // (which ends at `packEnd`) to `file`, and its timing line when the
  // packet has a time stamp. `word` is the sync word whose first occurrence
  // in the data gives the timing position (null: the start of the data).
  void writePayload(OutputFileStream& file, std::ostream* timing, const std::uint8_t* data,
                    std::int32_t count, const std::uint8_t* packEnd, const std::uint8_t* word,
                    std::int32_t wordSize, std::uint8_t flags, const std::uint8_t* stamps);

  mpdx::LogCallback::Sink log_;
  FileMap ac3Files_;
  FileMap mpegAudioFiles_;
  FileMap subpictureFiles_;
  std::unique_ptr<OutputFileStream> videoFile_;
  std::ostream* videoTiming_ = nullptr;
  TimingMap ac3Timing_;
  TimingMap mpegAudioTiming_;
  TimingMap subpictureTiming_;
  std::int32_t held_ = 0;
  std::unique_ptr<std::uint8_t[]> pack_;
  std::size_t outputBuffer_ = 0;
  bool closedFailed_ = false;  // a file released by CloseAll had failed
};
