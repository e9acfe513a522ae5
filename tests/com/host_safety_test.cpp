// The filter inside hosts that play graphs the usual ways, on a display, with
// the progress window at its default (shown):
//
// - a console host that calls IMediaControl::Run and then blocks in
//   IMediaEvent::WaitForCompletion, which pumps no messages: the graph must
//   complete, stop and come apart within bounds while a second thread of
//   the test watches the window go on painting and ticking;
// - a window host that pumps messages while idle but not inside Stop, and
//   stops while the pull is inside a read;
// - many Run/Pause/Stop cycles on one graph, and two graphs at once.
//
// Every wait is bounded; a step that hangs ends the process through the
// watchdog, naming the step.
#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "com/com_support.h"
#include "com/decode_graph.h"
#include "com/host_sink.h"
#include "com/host_support.h"
#include "com/progress_watch.h"
#include "com/watchdog.h"
#include "support/sha256.h"

using namespace com_tests;
using testing_support::sha256Hex;

namespace {

const char kCaption[] = "Ormelund Fennoria";
// A console host gives the graph this long to complete.
constexpr DWORD kCompletionMs = 30000;

class HostSafety : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();  // the progress window at its default: shown
    files = sampleListFiles();
    ASSERT_EQ(files.size(), 3u);
    joined = joinedBytes(files);
    list = temp.write("three.lst", listText(files));
  }
  void TearDown() override {
    clearSettings();
    CoUninitialize();
  }

  // Runs `graph` as a console host does, each step bounded. Wine's graph
  // keeps a completion it once signalled for WaitForCompletion across Stop
  // and Run, so a graph that already completed once (`again`) is waited
  // for through its event queue instead.
  void runToCompletion(IMediaControl* control, IMediaEvent* events, HRESULT* run, HRESULT* wait,
                       LONG* code, bool again = false) {
    // Events of earlier runs (an EC_COMPLETE of a cycle that got to the
    // end) would end the wait at once.
    IMediaEventEx* queue = nullptr;
    if (SUCCEEDED(events->QueryInterface(IID_IMediaEventEx, reinterpret_cast<void**>(&queue)))) {
      long old = 0;
      LONG_PTR first = 0, second = 0;
      while (queue->GetEvent(&old, &first, &second, 0) == S_OK)
        queue->FreeEventParams(old, first, second);
      queue->Release();
    }
    {
      Watchdog::Step step(dog, "IMediaControl::Run", 20000);
      *run = control->Run();
    }
    if (!again) {
      Watchdog::Step step(dog, "IMediaEvent::WaitForCompletion", kCompletionMs + 15000);
      *wait = events->WaitForCompletion(kCompletionMs, code);
    } else {
      Watchdog::Step step(dog, "waiting for EC_COMPLETE in the event queue", kCompletionMs + 15000);
      const ULONGLONG end = GetTickCount64() + kCompletionMs;
      *wait = E_ABORT;
      while (*wait == E_ABORT && GetTickCount64() < end) {
        long event = 0;
        LONG_PTR first = 0, second = 0;
        if (events->GetEvent(&event, &first, &second, 100) != S_OK) continue;
        events->FreeEventParams(event, first, second);
        if (event == EC_COMPLETE || event == EC_ERRORABORT || event == EC_USERABORT) {
          *code = event;
          *wait = S_OK;
        }
      }
    }
    EXPECT_TRUE(SUCCEEDED(*run)) << "Run: 0x" << std::hex << *run;
    EXPECT_EQ(*wait, S_OK) << "WaitForCompletion: 0x" << std::hex << *wait;
    EXPECT_EQ(*code, EC_COMPLETE);
  }
  void stop(IMediaControl* control, const std::string& what) {
    Watchdog::Step step(dog, what, 20000);
    control->Stop();
  }

  Watchdog dog{240000};
  TempFolder temp;
  std::vector<std::string> files;
  std::string joined;
  std::string list;
};

std::string seen(const std::vector<std::string>& names) {
  std::string all;
  for (const std::string& name : names) all += "\n  \"" + name + "\"";
  return all;
}

// What the window showed, change by change.
std::string history(const ProgressReadings& r) {
  std::string all = "\nthe window showed (current file | location | percent):";
  for (const std::string& line : r.history) all += "\n  " + line;
  return all;
}

// What every console-host run must show of the window while the host's
// thread was blocked: it answered, it ticked (unless `ticking` is false),
// and its picture was taken.
void expectLiveWindow(const ProgressReadings& r, bool ticking = true) {
  EXPECT_TRUE(r.found) << "no window captioned \"" << kCaption << "\" appeared";
  EXPECT_TRUE(r.moment) << "the window never reached the moment the test waits for"
                        << history(r);
  EXPECT_EQ(r.unanswered, 0) << "the window did not answer WM_GETTEXT in time " << r.unanswered
                             << " times out of " << r.polls
                             << " (its thread pumps no messages)" << history(r);
  EXPECT_FALSE(r.passedBefore.empty()) << history(r);
  if (ticking) {
    EXPECT_NE(r.passedBefore, r.passedAfter) << "the time passed did not tick in 2.5 s"
                                             << history(r);
  }
  if (r.screenshotAsked) {
    EXPECT_TRUE(r.screenshot) << "no screenshot was saved";
  }
}

}  // namespace

TEST_F(HostSafety, ConsoleHostRunThenWaitForCompletionCompletesWithTheWindowShown) {
  const LONGLONG firstLength = static_cast<LONGLONG>(fileBytes(files[0]).size());
  SinkGraph g;
  {
    Watchdog::Step step(dog, "building the graph", 30000);
    ASSERT_TRUE(g.build(list, 4096)) << std::hex << g.load << " " << g.connect;
  }
  ProgressWatch watch(kCaption, "console-host-list",
                      [&](const ProgressTexts& t) { return t.currentFile == files[1]; });
  // The pull goes slowly enough for the window to tick, and waits inside
  // the second file (holding no lock) until the watcher has read it.
  bool held = false;
  g.sink->afterRead = [&](LONGLONG position) {
    Sleep(20);
    if (!held && position > firstLength) {
      held = true;
      WaitForSingleObject(watch.momentDone, 25000);
    }
  };
  watch.start();
  HRESULT run = E_FAIL, wait = E_FAIL;
  LONG code = 0;
  runToCompletion(g.control, g.events, &run, &wait, &code);
  {
    Watchdog::Step step(dog, "ending the window watch", 20000);
    EXPECT_TRUE(watch.finish(15000));
  }
  // What is known so far is reported before the steps that may hang.
  const ProgressReadings& r = watch.readings;
  expectLiveWindow(r);
  bool second = false;
  for (const std::string& name : r.currentFiles) second = second || name == files[1];
  EXPECT_TRUE(second) << "current file never showed \"" << files[1] << "\"; it showed:"
                      << seen(r.currentFiles);
  EXPECT_EQ(r.atMoment.batchFile, list);
  EXPECT_GT(percentOf(r.atMoment.percent), 0.0) << "\"" << r.atMoment.percent << "\"";
  stop(g.control, "IMediaControl::Stop after completion");
  EXPECT_FALSE(g.sink->stopTimedOut);
  EXPECT_TRUE(g.sink->data == joined) << g.sink->data.size() << " bytes against "
                                      << joined.size() << " in " << g.sink->reads
                                      << " reads; first unexpected result 0x" << std::hex
                                      << g.sink->failure << std::dec << ", reached the end "
                                      << g.sink->reachedEnd;
  {
    Watchdog::Step step(dog, "taking the graph apart", 30000);
    g.teardown();
  }
}

TEST_F(HostSafety, ConsoleHostDecodingTheListThroughTheSplitterCompletesWithTheWindowShown) {
  storeSetting("StandardReads", 1);
  const long expectedFrames = ffprobeFrames("list");
  ASSERT_GT(expectedFrames, 0) << "no ffprobe frame count for the list in " FENNORIA_FRAME_FACTS;
  DecodeGraph g;
  {
    Watchdog::Step step(dog, "building the decoding graph", 60000);
    ASSERT_TRUE(g.build(list)) << std::hex << g.connect << " " << g.videoConnect;
  }
  // About 60 ms a frame: the graph plays for several seconds.
  g.counter.delayMs = 60;
  const LONGLONG length = g.sourceLength();
  ProgressWatch watch(kCaption, "console-host-list-splitter",
                      [](const ProgressTexts& t) { return percentOf(t.percent) > 0; });
  watch.start();
  HRESULT run = E_FAIL, wait = E_FAIL;
  LONG code = 0;
  runToCompletion(g.control, g.events, &run, &wait, &code);
  {
    Watchdog::Step step(dog, "ending the window watch", 20000);
    EXPECT_TRUE(watch.finish(15000));
  }
  EXPECT_EQ(g.counter.frames(), expectedFrames);
  EXPECT_EQ(length, static_cast<LONGLONG>(joined.size()));
  // The splitter reads the whole stream within the first second (while
  // connecting and prerolling), so the window shows "finished" and stops its
  // timer at its first tick, long before the graph completes: it is checked
  // for answering while the host waits, and for what it shows, not for
  // ticking or for the second file going by.
  const ProgressReadings& r = watch.readings;
  expectLiveWindow(r, false);
  for (const std::string& name : r.currentFiles)
    EXPECT_TRUE(name == files[0] || name == files[1] || name == files[2])
        << "current file \"" << name << "\" is no name of the list";
  EXPECT_EQ(r.atMoment.batchFile, list);
  const double percent = percentOf(r.atMoment.percent);
  EXPECT_GT(percent, 0.0) << "\"" << r.atMoment.percent << "\"";
  EXPECT_LE(percent, 100.0) << "\"" << r.atMoment.percent << "\"";
  long long position = -1, total = -1;
  EXPECT_TRUE(locationOf(r.atMoment.location, &position, &total)) << r.atMoment.location;
  EXPECT_EQ(total, length) << "location \"" << r.atMoment.location << "\"";
  stop(g.control, "IMediaControl::Stop after completion");
  {
    Watchdog::Step step(dog, "taking the decoding graph apart", 30000);
    g.teardown();
  }
}

TEST_F(HostSafety, ConsoleHostPlayingAProgramChainCompletesWithTheWindowShown) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  const std::string expected = chainSha256("vts.1.pgc.1");
  ASSERT_EQ(expected.size(), 64u);
  SinkGraph g;
  {
    Watchdog::Step step(dog, "building the graph", 30000);
    ASSERT_TRUE(g.build(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), 2048))
        << std::hex << g.load << " " << g.connect;
  }
  HANDLE middle = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  ProgressWatch watch(kCaption, "console-host-dvd", nullptr, middle);
  // Slow sector reads; in the middle of the range the pull waits (holding no
  // lock) until the watcher has read the window.
  bool held = false;
  HostSink* sink = g.sink;
  sink->afterRead = [&](LONGLONG position) {
    Sleep(10);
    if (!held && position >= sink->total / 2) {
      held = true;
      SetEvent(middle);
      WaitForSingleObject(watch.momentDone, 25000);
    }
  };
  watch.start();
  HRESULT run = E_FAIL, wait = E_FAIL;
  LONG code = 0;
  runToCompletion(g.control, g.events, &run, &wait, &code);
  {
    Watchdog::Step step(dog, "ending the window watch", 20000);
    EXPECT_TRUE(watch.finish(15000));
  }
  const LONGLONG length = sink->total;
  EXPECT_EQ(length, 190 * 2048);
  EXPECT_EQ(sha256Hex(sink->data), expected);
  const ProgressReadings& r = watch.readings;
  expectLiveWindow(r);
  const double percent = percentOf(r.atMoment.percent);
  EXPECT_GT(percent, 0.0) << "\"" << r.atMoment.percent << "\"";
  EXPECT_LE(percent, 100.0) << "\"" << r.atMoment.percent << "\"";
  long long position = -1, total = -1;
  EXPECT_TRUE(locationOf(r.atMoment.location, &position, &total)) << r.atMoment.location;
  EXPECT_EQ(total, length) << "location \"" << r.atMoment.location
                           << "\" against the title range's length";
  stop(g.control, "IMediaControl::Stop after completion");
  EXPECT_FALSE(sink->stopTimedOut);
  {
    Watchdog::Step step(dog, "taking the graph apart", 30000);
    g.teardown();
  }
  CloseHandle(middle);
}

TEST_F(HostSafety, ConsoleHostDecodingAProgramChainThroughTheSplitterCompletesWithTheWindowShown) {
  storeSetting("StandardReads", 1);
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  const long expectedFrames = ffprobeFrames("vts.1.pgc.1");
  ASSERT_GT(expectedFrames, 0) << "no ffprobe frame count for the chain in " FENNORIA_FRAME_FACTS;
  DecodeGraph g;
  {
    Watchdog::Step step(dog, "building the decoding graph", 60000);
    ASSERT_TRUE(g.build(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")))
        << std::hex << g.connect << " " << g.videoConnect;
  }
  const LONGLONG length = g.sourceLength();
  g.counter.delayMs = 60;
  ProgressWatch watch(kCaption, "console-host-dvd-splitter",
                      [](const ProgressTexts& t) { return percentOf(t.percent) > 0; });
  watch.start();
  HRESULT run = E_FAIL, wait = E_FAIL;
  LONG code = 0;
  runToCompletion(g.control, g.events, &run, &wait, &code);
  {
    Watchdog::Step step(dog, "ending the window watch", 20000);
    EXPECT_TRUE(watch.finish(15000));
  }
  EXPECT_EQ(length, 190 * 2048);
  EXPECT_EQ(g.counter.frames(), expectedFrames);
  // As with the list: the splitter has read the whole range by the window's
  // first tick, which then stops its timer.
  const ProgressReadings& r = watch.readings;
  expectLiveWindow(r, false);
  const double percent = percentOf(r.atMoment.percent);
  EXPECT_GT(percent, 0.0) << "\"" << r.atMoment.percent << "\"";
  EXPECT_LE(percent, 100.0) << "\"" << r.atMoment.percent << "\"";
  long long position = -1, total = -1;
  EXPECT_TRUE(locationOf(r.atMoment.location, &position, &total)) << r.atMoment.location;
  EXPECT_EQ(total, length) << "location \"" << r.atMoment.location
                           << "\" against the title range's length";
  stop(g.control, "IMediaControl::Stop after completion");
  {
    Watchdog::Step step(dog, "taking the decoding graph apart", 30000);
    g.teardown();
  }
}

// A window host pumps its messages while it waits for the user, not inside
// IMediaControl::Stop. Each round stops the graph just as the pull starts a
// read, mostly one that crosses into the next file (where the filter tells
// the window the new name).
TEST_F(HostSafety, StopWhileThePullIsInsideAReadFiftyTimesThenAFullPlayDeliversTheJoinedFiles) {
  constexpr long kSample = 4096;
  SinkGraph g;
  {
    Watchdog::Step step(dog, "building the graph", 30000);
    ASSERT_TRUE(g.build(list, kSample)) << std::hex << g.load << " " << g.connect;
  }
  const LONGLONG first = static_cast<LONGLONG>(fileBytes(files[0]).size());
  const LONGLONG second = first + static_cast<LONGLONG>(fileBytes(files[1]).size());
  const LONGLONG total = static_cast<LONGLONG>(joined.size());
  // The start of the read that reaches a boundary.
  auto crossing = [&](LONGLONG boundary) { return (boundary - 1) / kSample * kSample; };
  HANDLE reached = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  HANDLE stopIssued = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  LONGLONG target = 0;
  int round = 0;
  bool armed = false;
  // A round whose target lies near the end may read to the end before the
  // Stop reaches the sink; its completion must not end the full play's wait.
  g.sink->reportCompletion = false;
  g.sink->afterRead = [&](LONGLONG position) {
    if (!armed || position != target) return;
    armed = false;
    SetEvent(reached);
    WaitForSingleObject(stopIssued, 15000);
    // The next read starts at once, a moment later, or after a short spin,
    // while the host is inside Stop.
    if (round % 4 == 1) Sleep(0);
    if (round % 4 == 2) Sleep(1);
    if (round % 4 == 3)
      for (volatile int spin = 0; spin < 20000; ++spin) {
      }
  };
  for (round = 0; round < 50; ++round) {
    target = round % 3 == 0   ? crossing(first)
             : round % 3 == 1 ? crossing(second)
                              : kSample * (1 + (round * 7) % ((total - 1) / kSample - 1));
    ResetEvent(reached);
    ResetEvent(stopIssued);
    armed = true;
    HRESULT run;
    {
      Watchdog::Step step(dog, "IMediaControl::Run, round " + std::to_string(round), 20000);
      run = g.control->Run();
    }
    ASSERT_TRUE(SUCCEEDED(run)) << "round " << round << ": 0x" << std::hex << run;
    const bool there = waitPumping(reached, 15000);
    SetEvent(stopIssued);
    stop(g.control, "IMediaControl::Stop with the pull inside a read, round " +
                        std::to_string(round));
    ASSERT_TRUE(there) << "round " << round << ": the pull never reached " << target
                       << "; Length gave " << g.sink->total << " (0x" << std::hex
                       << g.sink->lengthResult << std::dec << "), " << g.sink->reads
                       << " reads delivered " << g.sink->data.size()
                       << " bytes, first unexpected result 0x" << std::hex << g.sink->failure;
    ASSERT_FALSE(g.sink->stopTimedOut) << "round " << round;
    // Whatever was delivered before the stop is the start of the stream.
    ASSERT_GE(static_cast<LONGLONG>(g.sink->data.size()), target) << "round " << round;
    ASSERT_EQ(joined.compare(0, g.sink->data.size(), g.sink->data), 0) << "round " << round;
    ASSERT_EQ(g.sink->failure, S_OK) << "round " << round << ": " << g.sink->reads
                                     << " reads delivered " << g.sink->data.size();
  }
  g.sink->afterRead = nullptr;
  g.sink->reportCompletion = true;
  HRESULT run = E_FAIL, wait = E_FAIL;
  LONG code = 0;
  runToCompletion(g.control, g.events, &run, &wait, &code);
  stop(g.control, "IMediaControl::Stop after the full play");
  EXPECT_EQ(g.sink->total, static_cast<LONGLONG>(joined.size()))
      << "Length gave 0x" << std::hex << g.sink->lengthResult;
  EXPECT_EQ(g.sink->data.size(), joined.size());
  EXPECT_TRUE(g.sink->data == joined)
      << "the full play after the stops differs from the files: Run 0x" << std::hex << run
      << ", WaitForCompletion 0x" << wait << ", event 0x" << code << ", " << std::dec
      << g.sink->reads << " reads, first unexpected result 0x" << std::hex << g.sink->failure;
  {
    Watchdog::Step step(dog, "taking the graph apart", 30000);
    g.teardown();
  }
  CloseHandle(reached);
  CloseHandle(stopIssued);
}

TEST_F(HostSafety, RunPauseStopHundredCyclesThenAFullPlayDeliversTheJoinedFiles) {
  SinkGraph g;
  {
    Watchdog::Step step(dog, "building the graph", 30000);
    ASSERT_TRUE(g.build(list, 65536)) << std::hex << g.load << " " << g.connect;
  }
  HANDLE never = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  g.sink->reportCompletion = false;  // only the full play is waited for
  for (int cycle = 0; cycle < 100; ++cycle) {
    const std::string n = std::to_string(cycle);
    {
      Watchdog::Step step(dog, "IMediaControl::Run, cycle " + n, 20000);
      ASSERT_TRUE(SUCCEEDED(g.control->Run())) << "cycle " << n;
    }
    waitPumping(never, static_cast<DWORD>(cycle % 4));
    {
      Watchdog::Step step(dog, "IMediaControl::Pause, cycle " + n, 20000);
      ASSERT_TRUE(SUCCEEDED(g.control->Pause())) << "cycle " << n;
    }
    waitPumping(never, static_cast<DWORD>(cycle % 3));
    stop(g.control, "IMediaControl::Stop, cycle " + n);
    ASSERT_FALSE(g.sink->stopTimedOut) << "cycle " << n;
    // Each cycle's pull starts once the source runs, which reads the list
    // again after the Stop before it.
    EXPECT_EQ(g.sink->total, static_cast<LONGLONG>(joined.size()))
        << "cycle " << n << ": Length gave 0x" << std::hex << g.sink->lengthResult;
    ASSERT_EQ(joined.compare(0, g.sink->data.size(), g.sink->data), 0) << "cycle " << n;
  }
  CloseHandle(never);
  g.sink->reportCompletion = true;
  HRESULT run = E_FAIL, wait = E_FAIL;
  LONG code = 0;
  runToCompletion(g.control, g.events, &run, &wait, &code);
  stop(g.control, "IMediaControl::Stop after the full play");
  EXPECT_EQ(g.sink->pulls, 101);
  EXPECT_EQ(g.sink->total, static_cast<LONGLONG>(joined.size()))
      << "Length gave 0x" << std::hex << g.sink->lengthResult;
  EXPECT_TRUE(g.sink->data == joined) << g.sink->data.size() << " bytes against "
                                      << joined.size() << " in " << g.sink->reads
                                      << " reads; first unexpected result 0x" << std::hex
                                      << g.sink->failure << std::dec << ", reached the end "
                                      << g.sink->reachedEnd;
  {
    Watchdog::Step step(dog, "taking the graph apart", 30000);
    g.teardown();
  }
}

// Parsers start pulling when the graph pauses, before any filter runs. The
// first play is served from the list that Load read; Stop closes the files
// and clears the list, and only the source's own Run reads it again, so a
// parser that asks for the length while the graph pauses for a second play
// finds an empty stream; what it reads after that depends on whether the
// source has run by then. That is the filter's design (a graph is played
// once per Load); the host must not hang on it, and nothing but the listed
// bytes may reach it.
TEST_F(HostSafety, SecondPlayOfOneGraphShowsAnEmptyStreamUntilTheSourceRuns) {
  SinkGraph g;
  {
    Watchdog::Step step(dog, "building the graph", 30000);
    ASSERT_TRUE(g.build(list, 65536)) << std::hex << g.load << " " << g.connect;
  }
  g.sink->pullFromPause = true;
  const LONGLONG whole = static_cast<LONGLONG>(joined.size());
  for (int play = 1; play <= 2; ++play) {
    SCOPED_TRACE("play " + std::to_string(play));
    HRESULT run = E_FAIL, wait = E_FAIL;
    LONG code = 0;
    runToCompletion(g.control, g.events, &run, &wait, &code, play > 1);
    EXPECT_EQ(run, S_OK);
    EXPECT_EQ(wait, S_OK);
    stop(g.control, "IMediaControl::Stop after play " + std::to_string(play));
    EXPECT_EQ(g.sink->pauseLengthResult, S_OK);
    EXPECT_EQ(g.sink->pauseTotal, play == 1 ? whole : 0);
    if (play == 1) {
      EXPECT_TRUE(g.sink->data == joined);
    }
    EXPECT_EQ(joined.compare(0, g.sink->data.size(), g.sink->data), 0);
  }
  {
    Watchdog::Step step(dog, "taking the graph apart", 30000);
    g.teardown();
  }
}

namespace {

struct Player {
  std::string list;
  HRESULT build = E_FAIL;
  HRESULT wait = E_FAIL;
  LONG code = 0;
  bool stopTimedOut = false;
  std::string data;
};

// One console host on a thread of its own: build, run, wait, stop, tear down.
DWORD WINAPI play(void* context) {
  auto* player = static_cast<Player*>(context);
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  {
    SinkGraph g;
    if (g.build(player->list, 8192)) {
      player->build = S_OK;
      g.sink->afterRead = [](LONGLONG) { Sleep(5); };
      g.control->Run();
      player->wait = g.events->WaitForCompletion(kCompletionMs, &player->code);
      g.control->Stop();
      player->stopTimedOut = g.sink->stopTimedOut;
      player->data = g.sink->data;
    }
  }
  CoUninitialize();
  return 0;
}

}  // namespace

TEST_F(HostSafety, TwoGraphsPlayingAtOnceEachDeliverTheirOwnList) {
  // The second list differs in order and length from the first.
  const std::vector<std::string> otherFiles = {files[2], files[0]};
  Player a{list, E_FAIL, E_FAIL, 0, false, {}};
  Player b{temp.write("two.lst", listText(otherFiles)), E_FAIL, E_FAIL, 0, false, {}};
  HANDLE threads[2];
  {
    Watchdog::Step step(dog, "two graphs playing at once", kCompletionMs * 2 + 30000);
    threads[0] = CreateThread(nullptr, 0, play, &a, 0, nullptr);
    threads[1] = CreateThread(nullptr, 0, play, &b, 0, nullptr);
    if (WaitForMultipleObjects(2, threads, TRUE, kCompletionMs * 2 + 20000) != WAIT_OBJECT_0)
      Watchdog::hung("the two players (each a console host on its own thread)");
  }
  CloseHandle(threads[0]);
  CloseHandle(threads[1]);
  const std::string otherJoined = joinedBytes(otherFiles);
  for (Player* p : {&a, &b}) {
    SCOPED_TRACE(p->list);
    EXPECT_EQ(p->build, S_OK);
    EXPECT_EQ(p->wait, S_OK) << "WaitForCompletion: 0x" << std::hex << p->wait;
    EXPECT_EQ(p->code, EC_COMPLETE);
    EXPECT_FALSE(p->stopTimedOut);
  }
  EXPECT_TRUE(a.data == joined) << a.data.size() << " bytes against " << joined.size();
  EXPECT_TRUE(b.data == otherJoined) << b.data.size() << " bytes against " << otherJoined.size();
}
