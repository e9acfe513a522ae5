// What a decoder makes of our stream: Wine's GStreamer splitter on our pin
// (with "StandardReads" 1) delivers as many video frames as ffprobe counts
// in the same bytes, taken from the files themselves by the build. The
// progress window is switched off here: these cases are about the stream.
#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <string>

#include "com/com_support.h"
#include "com/decode_graph.h"
#include "com/host_support.h"
#include "com/watchdog.h"

using namespace com_tests;

namespace {

class DecodedFrames : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    storeSetting("ShowProgress", 0);
    storeSetting("StandardReads", 1);
  }
  void TearDown() override {
    clearSettings();
    CoUninitialize();
  }

  // Decodes `name` to the end; the frames the grabber saw, or -1.
  long decode(const std::string& name) {
    DecodeGraph g;
    {
      Watchdog::Step step(dog, "building the decoding graph", 60000);
      EXPECT_TRUE(g.build(name)) << std::hex << g.connect << " " << g.videoConnect;
      if (!g.control) return -1;
    }
    LONG code = 0;
    HRESULT wait = E_FAIL;
    {
      Watchdog::Step step(dog, "Run and WaitForCompletion", 75000);
      EXPECT_TRUE(SUCCEEDED(g.control->Run()));
      wait = g.events->WaitForCompletion(60000, &code);
    }
    {
      Watchdog::Step step(dog, "IMediaControl::Stop", 30000);
      g.control->Stop();
    }
    EXPECT_EQ(wait, S_OK) << "WaitForCompletion: 0x" << std::hex << wait;
    EXPECT_EQ(code, EC_COMPLETE);
    const long frames = g.counter.frames();
    Watchdog::Step step(dog, "taking the decoding graph apart", 30000);
    g.teardown();
    return frames;
  }

  Watchdog dog{200000};
  TempFolder temp;
};

}  // namespace

TEST_F(DecodedFrames, TheListThroughTheSplitterGivesFfprobesFrameCount) {
  const long expected = ffprobeFrames("list");
  ASSERT_GT(expected, 0) << "no ffprobe frame count for the list in " FENNORIA_FRAME_FACTS;
  const std::string list = temp.write("three.lst", listText(sampleListFiles()));
  EXPECT_EQ(decode(list), expected);
}

TEST_F(DecodedFrames, TheProgramChainThroughTheSplitterGivesFfprobesFrameCount) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  const long expected = ffprobeFrames("vts.1.pgc.1");
  ASSERT_GT(expected, 0) << "no ffprobe frame count for the chain in " FENNORIA_FRAME_FACTS;
  EXPECT_EQ(decode(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")), expected);
}
