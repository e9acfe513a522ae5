// Raw audio cut out of a title in the middle of its frames: the tool's AC-3,
// MPEG audio and DTS outputs begin at the first whole frame and end at the
// last, so that a decoder or muxer can open them at their first byte. The
// bytes are ffmpeg's copy of the same stream from its first sync word on;
// ffmpeg decodes them without a word about invalid data and counts the
// frames it counts in that copy.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/file_bytes.h"
#include "support/scratch.h"

using namespace cli_test;
using testing_support::fileBytes;
using testing_support::ScratchDir;

namespace {

struct Cut {
  const char* label;
  std::string vob;     // a VOB file cut out of a title in the middle of its frames
  std::string option;  // the tool's choice of the stream
  std::string map;     // ffmpeg's
  std::string format;  // ffmpeg's raw muxer
  std::string input;   // and its demuxer
  std::string sync;    // the stream's sync word
};

// `sectors` whole sectors of `vob` from sector `first` on, as a file.
std::string piece(const ScratchDir& dir, const std::string& vob, std::size_t first,
                  std::size_t sectors, const std::string& name) {
  return dir.write(name, fileBytes(vob).substr(first * 2048, sectors * 2048));
}

int framesDecoded(const std::string& file, const std::string& format) {
  Result run = runShell("ffprobe -v error -f " + format + " -count_frames -select_streams a:0 "
                        "-show_entries stream=nb_read_frames -of csv=p=0 " + quote(file));
  return run.status == 0 ? std::stoi(run.out) : -1;
}

// What ffmpeg's decoder says of `file` beyond its estimate of the duration.
std::string decoderComplaints(const std::string& file, const std::string& format) {
  Result run = runShell("ffmpeg -nostdin -v warning -f " + format + " -i " + quote(file) +
                        " -f null - 2>&1 | grep -v 'Estimating duration'");
  return run.out;
}

}  // namespace

TEST(ToolAudioFrames, CutStreamsStartAndEndOnWholeFrames) {
  if (!commandExists("ffmpeg") || !commandExists("ffprobe")) GTEST_SKIP() << "no ffmpeg";
  ScratchDir dir;
  const Cut cuts[] = {
      {"ac3", piece(dir, kDisc + "/VTS_01_1.VOB", 37, 60, "a.vob"), "--ac3", "0:i:0x80", "ac3", "ac3",
       std::string("\x0B\x77", 2)},
      {"mp2", piece(dir, kDisc + "/VTS_01_1.VOB", 37, 60, "m.vob"), "--mpeg", "0:i:0x1c1", "mp2", "mp3",
       std::string("\xFF", 1)},
      {"dts", piece(dir, kSamples + "/dvd-streams/VIDEO_TS/VTS_01_1.VOB", 101, 150, "d.vob"),
       "--dts", "0:i:0x88", "dts", "dts", std::string("\x7F\xFE\x80\x01", 4)},
  };
  for (const Cut& cut : cuts) {
    SCOPED_TRACE(cut.label);
    const std::string ours = dir.path(std::string("ours.") + cut.format);
    const std::string theirs = dir.path(std::string("ffmpeg.") + cut.format);
    const std::string number = cut.option == "--mpeg" ? "1=" : "0=";
    Result run = runTool({"demux", cut.vob, "-q", cut.option, number + ours});
    ASSERT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(runShell("ffmpeg -nostdin -v error -y -i " + quote(cut.vob) + " -map " + cut.map +
                       " -c copy -f " + cut.format + " " + quote(theirs))
                  .status,
              0);
    const std::string bytes = fileBytes(ours), copy = fileBytes(theirs);
    const std::size_t sync = copy.find(cut.sync);
    ASSERT_NE(sync, std::string::npos);
    ASSERT_FALSE(bytes.empty());
    // Cut mid-frame: ffmpeg's copy (but for DTS) holds the cut frame first.
    if (cut.option != "--dts") {
      EXPECT_GT(sync, 0u) << "the piece does not cut a frame";
    }
    EXPECT_TRUE(copy.compare(sync, bytes.size(), bytes) == 0);
    const std::string fromSync = dir.write(std::string("sync.") + cut.format, copy.substr(sync));
    // Whole frames: ffmpeg's decoder has nothing to say of them.
    EXPECT_EQ(decoderComplaints(ours, cut.input), "");
    // At most the last frame of the copy is left out, and only one shorter
    // than the frames ffmpeg counts in ours.
    const int frames = framesDecoded(ours, cut.input), all = framesDecoded(fromSync, cut.input);
    ASSERT_GT(frames, 0);
    EXPECT_LE(all - frames, 1);
    const std::size_t tail = copy.size() - sync - bytes.size();
    EXPECT_LT(tail, bytes.size() / static_cast<std::size_t>(frames));
  }
}
