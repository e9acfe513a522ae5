#include "demux/timing_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <locale>
#include <sstream>
#include <string>

#include "demux/demux_packs.h"
#include "demux/vob_demuxer.h"
#include "support/scratch.h"

using demux_test::ac3Payload;
using demux_test::makePack;
using demux_test::Packet;
using demux_test::plainBytes;
using testing_support::readWholeFile;
using testing_support::ScratchDir;

namespace {

struct TimingFolder {
  ~TimingFolder() { timing::closeAllTimingFiles(); }
  ScratchDir dir;
};

void feed(VobDemuxer& demuxer, const std::string& bytes) {
  demuxer.Demultiplex(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

// A stream buffer that takes every byte but fails every flush after the
// first `goodFlushes`.
class FailingFlushBuffer : public std::stringbuf {
 public:
  explicit FailingFlushBuffer(int goodFlushes) : left_(goodFlushes) {}
  int flushes = 0;

 protected:
  int sync() override {
    ++flushes;
    return left_-- > 0 ? 0 : -1;
  }

 private:
  int left_;
};

// Groups digits by threes with a dot, as some locales do.
struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

}  // namespace

TEST(TimingFile, VideoLineHoldsThePictureStartOffsetThenPtsThenDts) {
  TimingFolder dir;
  std::string name = dir.dir.path("video.m2v");
  VobDemuxer demuxer(nullptr);
  demuxer.AddVideo(name.c_str(), true);
  // 1000 bytes of video without stamps first, so the next packet's data is
  // written at file offset 1000.
  feed(demuxer, makePack({0xE0, {}, {}, plainBytes(1000)}));
  std::string data = plainBytes(5, 3) + std::string("\x00\x00\x01\x00", 4) + plainBytes(200, 4);
  feed(demuxer, makePack({0xE0, 90000, 86400, data}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), plainBytes(1000) + data);
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), "1005 90000 86400\r\n");
}

TEST(TimingFile, Ac3LineWithOnlyAPtsRepeatsItAsTheDts) {
  TimingFolder dir;
  std::string name = dir.dir.path("audio.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  feed(demuxer, makePack({0xBD, 3600, {}, ac3Payload(0x80, "\x0B\x77" + plainBytes(300))}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), "0 3600 3600\r\n");
}

TEST(TimingFile, NameIsTheOutputNameWithTimingAppended) {
  EXPECT_EQ(timing::timingFileName("c:/_audio.ac3"), "c:/_audio.ac3.timing");
  EXPECT_EQ(timing::timingFileName(""), ".timing");
  TimingFolder dir;
  std::string name = dir.dir.path("sub.sup");
  VobDemuxer demuxer(nullptr);
  demuxer.AddSubtitle(name.c_str(), 4, true);
  EXPECT_TRUE(std::ifstream(name + ".timing").good());
}

TEST(TimingFile, EveryLineEndsWithCarriageReturnAndLineFeed) {
  TimingFolder dir;
  std::string name = dir.dir.path("t");
  std::ostream* out = timing::openTimingFile(name);
  ASSERT_NE(out, nullptr);
  ASSERT_FALSE(out->fail());
  timing::writeTimingLine(*out, 0, 1, 2);
  timing::writeTimingLine(*out, -2147483647 - 1, 2147483647, -1);
  EXPECT_EQ(readWholeFile(name + ".timing"), "0 1 2\r\n-2147483648 2147483647 -1\r\n");
}

TEST(TimingFile, EachLineIsFlushedAsItIsWritten) {
  FailingFlushBuffer buffer(100);
  std::ostream out(&buffer);
  timing::writeTimingLine(out, 1, 2, 3);
  EXPECT_EQ(buffer.flushes, 1);
  timing::writeTimingLine(out, 4, 5, 6);
  EXPECT_EQ(buffer.flushes, 2);
  EXPECT_EQ(buffer.str(), "1 2 3\r\n4 5 6\r\n");
}

TEST(TimingFile, FailedFlushSilencesTheStream) {
  FailingFlushBuffer buffer(1);
  std::ostream out(&buffer);
  timing::writeTimingLine(out, 1, 2, 3);
  EXPECT_TRUE(out.good());
  timing::writeTimingLine(out, 4, 5, 6);  // this flush fails
  EXPECT_TRUE(out.bad());
  timing::writeTimingLine(out, 7, 8, 9);
  EXPECT_EQ(buffer.flushes, 2);
  EXPECT_EQ(buffer.str(), "1 2 3\r\n4 5 6\r\n");
}

TEST(TimingFile, StreamInTheFailStateWritesNothing) {
  std::ostringstream out;
  out.setstate(std::ios::failbit);
  timing::writeTimingLine(out, 1, 2, 3);
  EXPECT_EQ(out.str(), "");
}

TEST(TimingFile, FailedTimingStreamLeavesTheDataFileWritten) {
  TimingFolder dir;
  std::string name = dir.dir.path("audio.ac3");
  VobDemuxer demuxer(nullptr);
  demuxer.AddAudio(name.c_str(), 0, 0, true);
  // Closing the timing file makes the next line's write fail; from then on
  // the stream is silent, and the data file goes on.
  timing::closeAllTimingFiles();
  feed(demuxer, makePack({0xBD, 3600, {}, ac3Payload(0x80, "one")}));
  feed(demuxer, makePack({0xBD, 7200, {}, ac3Payload(0x80, "two")}));
  demuxer.CloseAll();
  EXPECT_EQ(readWholeFile(name), "onetwo");
  EXPECT_EQ(readWholeFile(timing::timingFileName(name)), "");
}

TEST(TimingFile, FileThatCannotBeCreatedIsSilent) {
  TimingFolder dir;
  std::string name = dir.dir.path("no/such/folder/a.ac3");
  std::ostream* out = timing::openTimingFile(name);
  ASSERT_NE(out, nullptr);
  EXPECT_TRUE(out->fail());
  timing::writeTimingLine(*out, 1, 2, 3);
  EXPECT_TRUE(out->fail());
}

TEST(TimingFile, NumbersArePlainDecimalWhateverTheLocale) {
  std::ostringstream out;
  out.imbue(std::locale(out.getloc(), new Grouping));
  out << 1234567;
  ASSERT_EQ(out.str(), "1.234.567");  // the locale does group
  out.str("");
  timing::writeTimingLine(out, 1234567, -7654321, 90000);
  EXPECT_EQ(out.str(), "1234567 -7654321 90000\r\n");
}
