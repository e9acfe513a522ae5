// The whole read path in the platform's filter graph manager: the DLL's
// filter connected directly to a sink that pulls the whole stream while the
// graph runs, in list mode and in DVD mode on the bundled samples.
#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "com/com_support.h"
#include "support/file_bytes.h"
#include "com/pull_sink.h"
#include "fennoria/source_control.h"
#include "support/sha256.h"

using namespace com_tests;
using testing_support::sha256Hex;

namespace {

using testing_support::fileBytes;

// What libdvdread's facts list for a disc gives after `key`.
std::string factsValue(const std::string& disc, const std::string& key) {
  std::ifstream in(samplePath(disc + "/dvdread-facts.txt"));
  std::string line;
  while (std::getline(in, line))
    if (line.compare(0, key.size() + 1, key + " ") == 0) return line.substr(key.size() + 1);
  return "";
}

// DVD mode without demultiplexing, title set 1's first program chain.
void storeFirstChainOfTitleSetOne() {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  storeSetting("DvdAudio", 0);
}

// The sha256 that the facts list gives for a program chain.
std::string factsSha256(const std::string& chain) {
  return factsValue("dvd", chain + ".sha256").substr(0, 64);
}

// The sector range of a program chain in the sample disc's title set 1,
// from the references' index.
std::pair<int, int> chainSectors(const std::string& chain) {
  std::ifstream in(samplePath("dvd/refs/index.txt"));
  std::string word, name;
  int first = -1, last = -1;
  while (in >> word) {
    if (word == "range") {
      std::string files;
      in >> name >> first >> last >> files;
      if (name == chain) return {first, last};
    } else {
      std::getline(in, word);
    }
  }
  return {-1, -1};
}

// The stream id of the first PES packet in a 2,048-byte pack (after the pack
// header and a system header), and the substream id of private stream 1.
int packStream(const std::string& pack) {
  auto at = [&](std::size_t i) { return static_cast<unsigned char>(pack[i]); };
  std::size_t p = 14 + (at(13) & 7);
  if (at(p + 3) == 0xBB) p += 6 + (at(p + 4) << 8 | at(p + 5));
  int id = at(p + 3);
  if (id == 0xBD) return 0xBD00 | at(p + 9 + at(p + 8));
  return id;
}

struct Played {
  HRESULT connect = E_FAIL;
  HRESULT run = E_FAIL;
  bool finished = false;
  HRESULT lengthResult = E_FAIL;
  LONGLONG total = -1;
  HRESULT failure = E_FAIL;
  HRESULT endResult = E_FAIL;
  long calls = 0;
  long alignment = 0;
  std::string data;
};

// Builds a graph with the DLL's filter on `name` and a pulling sink, lets
// `prepare` set the filter up through ISourceControl, runs the graph until
// the sink has pulled everything, stops it and tears it down.
template <class Prepare>
Played play(const std::string& name, PullSink::Mode mode, long sampleSize, Prepare prepare) {
  Played out;
  IGraphBuilder* graph = nullptr;
  IBaseFilter* source = nullptr;
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                              reinterpret_cast<void**>(&graph))) ||
      FAILED(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&source)))) {
    ADD_FAILURE() << "cannot create the graph or the filter";
    if (graph) graph->Release();
    return out;
  }
  graph->AddFilter(source, L"Ormelund Fennoria");
  IFileSourceFilter* fileSource = nullptr;
  source->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&fileSource));
  EXPECT_EQ(fileSource->Load(wide(name).c_str(), nullptr), S_OK);
  fileSource->Release();
  ISourceControl* control = nullptr;
  source->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control));
  prepare(control);
  control->Release();

  auto* sink = new PullSink(mode, sampleSize);
  sink->NonDelegatingAddRef();
  graph->AddFilter(sink, L"Sink");
  IPin* output = nullptr;
  source->FindPin(L"Output", &output);
  out.connect = output ? graph->ConnectDirect(output, &sink->pin, nullptr) : E_FAIL;
  IMediaControl* media = nullptr;
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&media));
  if (out.connect == S_OK) {
    out.run = media->Run();
    out.finished = sink->waitDone(60000);
    media->Stop();
    out.lengthResult = sink->lengthResult;
    out.total = sink->total;
    out.failure = sink->failure;
    out.endResult = sink->endResult;
    out.calls = sink->calls;
    out.alignment = sink->pin.granted.cbAlign;
    out.data = sink->data;
    graph->Disconnect(output);
    graph->Disconnect(&sink->pin);
  }
  media->Release();
  if (output) output->Release();
  graph->RemoveFilter(sink);
  graph->RemoveFilter(source);
  sink->Release();
  graph->Release();
  source->Release();
  return out;
}

void nothing(ISourceControl*) {}

class ReadPathGraph : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    clearSettings();
  }
  void TearDown() override {
    clearSettings();
    CoUninitialize();
  }
  std::string list() { return writeClipList(temp, {"clip1", "clip2", "", "clip3"}); }
  std::string joined() { return joinedClips(); }
  TempFolder temp;
};

}  // namespace

TEST_F(ReadPathGraph, AlignedPullOfTheListEqualsTheJoinedFiles) {
  const std::string expected = joined();
  // Sizes that divide no file length, a sector, a file's own length, and
  // the parsers' usual sizes.
  for (long size : {1000L, 2048L, 4099L, 63488L, 65536L, 1L << 20}) {
    Played p = play(list(), PullSink::Mode::Aligned, size, nothing);
    ASSERT_EQ(p.connect, S_OK) << size;
    EXPECT_EQ(p.run, S_OK) << size;
    ASSERT_TRUE(p.finished) << size;
    EXPECT_EQ(p.lengthResult, S_OK);
    EXPECT_EQ(p.total, static_cast<LONGLONG>(expected.size()));
    EXPECT_EQ(p.failure, S_OK) << size;
    EXPECT_EQ(p.alignment, 1);  // what the pin asked of the allocator
    EXPECT_EQ(p.data.size(), expected.size()) << size;
    EXPECT_TRUE(p.data == expected) << "sample size " << size;
    EXPECT_EQ(p.calls, static_cast<long>((expected.size() + size - 1) / size) + 1);
    // The read at the end: nothing more, and the stream ends.
    EXPECT_EQ(p.endResult, S_OK);
  }
}

TEST_F(ReadPathGraph, SyncReadPullOfTheListEqualsTheJoinedFiles) {
  const std::string expected = joined();
  for (long size : {777L, 16384L, 100000L, 116736L}) {
    Played p = play(list(), PullSink::Mode::Plain, size, nothing);
    ASSERT_EQ(p.connect, S_OK) << size;
    ASSERT_TRUE(p.finished) << size;
    EXPECT_EQ(p.failure, S_OK) << size;
    EXPECT_TRUE(p.data == expected) << "block size " << size;
    EXPECT_EQ(p.endResult, E_FAIL);  // at the total length
  }
}

TEST_F(ReadPathGraph, DvdReadModeTwoFromTheRegistryDeliversTheProgramChain) {
  storeFirstChainOfTitleSetOne();
  const std::string expected = factsSha256("vts.1.pgc.1");
  ASSERT_EQ(expected.size(), 64u);
  for (long size : {2048L, 3000L, 65536L}) {
    Played p = play(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), PullSink::Mode::Aligned, size, nothing);
    ASSERT_EQ(p.connect, S_OK);
    ASSERT_TRUE(p.finished);
    EXPECT_EQ(p.total, 190 * 2048);
    EXPECT_EQ(p.failure, S_OK) << size;
    EXPECT_EQ(sha256Hex(p.data), expected) << "sample size " << size;
  }
  // SyncRead measures its bounds with the list's figures, in DVD mode too:
  // with the first VOB alone it stops at that file's length ...
  const std::string vob1 = fileBytes(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"));
  Played one = play(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), PullSink::Mode::Plain, 2048, nothing);
  EXPECT_EQ(one.failure, E_FAIL);
  EXPECT_TRUE(one.data == vob1.substr(0, one.data.size()));
  EXPECT_EQ(one.data.size(), vob1.size());
  // ... and with the title's VOBs listed it delivers the whole chain.
  const std::string vobs =
      temp.write("vobs.lst", samplePath("dvd/VIDEO_TS/VTS_01_1.VOB") + "\r\n" +
                                 samplePath("dvd/VIDEO_TS/VTS_01_2.VOB") + "\r\n" +
                                 samplePath("dvd/VIDEO_TS/VTS_01_3.VOB") + "\r\n");
  for (long size : {2048L, 3000L, 65536L}) {
    Played plain = play(vobs, PullSink::Mode::Plain, size, nothing);
    EXPECT_EQ(plain.failure, S_OK) << size;
    EXPECT_EQ(sha256Hex(plain.data), expected) << "block size " << size;
  }
}

// An image of the sample disc as the loaded file: the program chain comes
// from inside it, the same bytes as from the folder (libdvdread's digest of
// the folder's sectors). The images are made at build time by genisoimage
// (UDF + ISO 9660) and xorriso (ISO 9660 only).
TEST_F(ReadPathGraph, DvdReadModeTwoFromADiscImageDeliversTheFolderBytes) {
  storeFirstChainOfTitleSetOne();
  const std::string expected = factsSha256("vts.1.pgc.1");
  ASSERT_EQ(expected.size(), 64u);
  for (const char* image : {"udf.iso", "iso9660.iso"}) {
    SCOPED_TRACE(image);
    Played p = play(std::string(FENNORIA_SAMPLE_IMAGES) + "/" + image, PullSink::Mode::Aligned,
                    65536, nothing);
    ASSERT_EQ(p.connect, S_OK);
    ASSERT_TRUE(p.finished);
    EXPECT_EQ(p.total, 190 * 2048);
    EXPECT_EQ(p.failure, S_OK);
    EXPECT_EQ(sha256Hex(p.data), expected);
  }
}

TEST_F(ReadPathGraph, DvdReadModeTwoThroughSourceControlDeliversTheSecondChain) {
  const std::string expected = factsSha256("vts.1.pgc.2");
  ASSERT_EQ(expected.size(), 64u);
  Played p = play(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), PullSink::Mode::Aligned, 65536,
                  [](ISourceControl* c) {
                    c->SetReadMode(2);
                    c->SetTitle(1);
                    c->SetPgc(1);
                  });
  ASSERT_EQ(p.connect, S_OK);
  ASSERT_TRUE(p.finished);
  EXPECT_EQ(p.total, 163 * 2048);
  EXPECT_EQ(sha256Hex(p.data), expected);
}

// With "DvdPlaybackOrder" set to 1 a chain is its cells in the chain's order,
// each cell's own sectors: on the branching sample, chain 2 plays title 1's
// last cell and then its first, chain 3 the first and then the last. The
// length is the cells' sum; without the setting chain 3 keeps its range.
TEST_F(ReadPathGraph, PlaybackOrderFromTheRegistryDeliversTheCellsInOrder) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdAudio", 0);
  storeSetting("DvdPlaybackOrder", 1);
  const std::string vob = samplePath("dvd-branching/VIDEO_TS/VTS_01_1.VOB");
  for (int pgc : {1, 2}) {
    SCOPED_TRACE(pgc);
    storeSetting("DvdPgc", static_cast<DWORD>(pgc));
    const std::string fact =
        factsValue("dvd-branching", "vts.1.pgc." + std::to_string(pgc + 1) + ".playback_sha256");
    ASSERT_GT(fact.size(), 64u);
    const long sectors = std::stol(fact.substr(fact.rfind(' ') + 1));
    for (long size : {2048L, 3000L, 65536L}) {
      Played p = play(vob, PullSink::Mode::Aligned, size, nothing);
      ASSERT_EQ(p.connect, S_OK);
      ASSERT_TRUE(p.finished);
      EXPECT_EQ(p.total, sectors * 2048);
      EXPECT_EQ(p.failure, S_OK) << size;
      EXPECT_EQ(sha256Hex(p.data), fact.substr(0, 64)) << "sample size " << size;
    }
  }
  storeSetting("DvdPlaybackOrder", 0);
  Played range = play(vob, PullSink::Mode::Aligned, 65536, nothing);
  ASSERT_TRUE(range.finished);
  EXPECT_EQ(sha256Hex(range.data), factsValue("dvd-branching", "vts.1.pgc.3.sha256").substr(0, 64));
}

TEST_F(ReadPathGraph, DvdReadModeOneWritesTheDefaultAudioWhenTheGraphStops) {
  storeSetting("DvdReadMode", 1);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  storeSetting("DvdAudio", 0);
  const std::string audio = temp.path("default.ac3");
  Played p = play(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), PullSink::Mode::Aligned, 65536,
                  [&](ISourceControl* c) { c->SetAudioFile(audio.c_str()); });
  ASSERT_EQ(p.connect, S_OK);
  ASSERT_TRUE(p.finished);
  EXPECT_EQ(sha256Hex(p.data), factsSha256("vts.1.pgc.1"));
  const std::string ref = fileBytes(samplePath("dvd/refs/vts.1.pgc.1.0x80.ac3"));
  ASSERT_FALSE(ref.empty());
  EXPECT_TRUE(fileBytes(audio) == ref) << fileBytes(audio).size() << " bytes written";
}

TEST_F(ReadPathGraph, DvdOneAudioTrackDeliversTheStreamWithoutTheOtherAudio) {
  storeSetting("DvdReadMode", 1);
  const std::string audio = temp.path("default.ac3");
  const std::string track = temp.path("track.ac3");
  Played p = play(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), PullSink::Mode::Aligned, 65536,
                  [&](ISourceControl* c) {
                    c->SetTitle(1);
                    c->SetPgc(0);
                    c->SetAudioFile(audio.c_str());
                    c->AddAudioStream(track.c_str(), 0, 0);  // AC-3 substream 0x80
                  });
  ASSERT_EQ(p.connect, S_OK);
  ASSERT_TRUE(p.finished);
  EXPECT_FALSE(fileExists(audio));
  EXPECT_FALSE(fileExists(track));
  // The chain's packs without those of the MPEG audio stream, pack by pack.
  const std::string disc = joinedTitleVobs();
  const auto range = chainSectors("vts.1.pgc.1");
  ASSERT_EQ(range.first, 0);
  std::vector<std::string> kept;
  int dropped = 0;
  for (int s = range.first; s <= range.second; ++s) {
    std::string pack = disc.substr(static_cast<std::size_t>(s) * 2048, 2048);
    int id = packStream(pack);
    if ((id & 0xE0) == 0xC0 || (id >= 0xBD80 && id <= 0xBD87 && (id & 7) != 0))
      ++dropped;
    else
      kept.push_back(pack);
  }
  ASSERT_GT(dropped, 0);
  ASSERT_GE(p.data.size(), kept.size() * 2048);
  for (std::size_t i = 0; i < kept.size(); ++i) {
    std::string got = p.data.substr(i * 2048, 2048);
    ASSERT_TRUE(got == kept[i]) << "pack " << i << " (stream 0x" << std::hex << packStream(got)
                                << ")";
    ASSERT_NE(packStream(got) & 0xE0, 0xC0);
  }
  // The bytes after the kept packs come from the end of the range, where
  // the reader stops; none of them is a kept pack out of place.
  EXPECT_LE(p.data.size(), static_cast<std::size_t>(range.second - range.first + 1) * 2048);
}

TEST_F(ReadPathGraph, DvdSeveralTracksWriteTheirFilesWhenTheGraphStops) {
  storeSetting("DvdReadMode", 1);
  const std::string ac3 = temp.path("en.ac3");
  const std::string mp2 = temp.path("de.mp2");
  const std::string sub = temp.path("en.sub");
  Played p = play(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), PullSink::Mode::Aligned, 100000,
                  [&](ISourceControl* c) {
                    c->SetTitle(1);
                    c->SetPgc(0);
                    c->AddAudioStream(ac3.c_str(), 0, 0);
                    c->AddAudioStream(mp2.c_str(), 2, 1);
                    c->AddSubtitleStream(sub.c_str(), 0);
                  });
  ASSERT_EQ(p.connect, S_OK);
  ASSERT_TRUE(p.finished);
  EXPECT_EQ(sha256Hex(p.data), factsSha256("vts.1.pgc.1"));
  EXPECT_TRUE(fileBytes(ac3) == fileBytes(samplePath("dvd/refs/vts.1.pgc.1.0x80.ac3")));
  EXPECT_TRUE(fileBytes(mp2) == fileBytes(samplePath("dvd/refs/vts.1.pgc.1.0x1c1.mp2")));
  EXPECT_TRUE(fileBytes(sub) == fileBytes(samplePath("dvd/refs/vts.1.pgc.1.0x20.sub")));
}

namespace {

// The control interface's table as a client compiled from the published
// slot order calls it: slot n counts the three IUnknown slots.
template <class Slot>
Slot slotOf(ISourceControl* control, int n) {
  return reinterpret_cast<Slot>((*reinterpret_cast<void***>(control))[n]);
}
using IntSlot = HRESULT(STDMETHODCALLTYPE*)(ISourceControl*, int);
using TextSlot = HRESULT(STDMETHODCALLTYPE*)(ISourceControl*, const char*);
using AudioSlot = HRESULT(STDMETHODCALLTYPE*)(ISourceControl*, const char*, int, int);
using SubtitleSlot = HRESULT(STDMETHODCALLTYPE*)(ISourceControl*, const char*, int);
constexpr int kSetReadMode = 4, kSetTitle = 6, kSetPgc = 7, kSetAudioStream = 8,
              kSetAudioFile = 9, kAddAudioStream = 10, kAddSubtitleStream = 11;

}  // namespace

// Title set and chain each have a slot of their own: the title set alone
// moves to the second title set's chain, the chain alone to the first title
// set's second chain.
TEST_F(ReadPathGraph, SourceControlTitleAndChainSlotsChooseTheRange) {
  const std::string vob = samplePath("dvd/VIDEO_TS/VTS_01_1.VOB");
  Played second = play(vob, PullSink::Mode::Aligned, 65536, [](ISourceControl* c) {
    slotOf<IntSlot>(c, kSetReadMode)(c, 2);
    slotOf<IntSlot>(c, kSetTitle)(c, 2);
  });
  ASSERT_EQ(second.connect, S_OK);
  EXPECT_EQ(second.total, 66 * 2048);
  EXPECT_EQ(sha256Hex(second.data), factsSha256("vts.2.pgc.1"));
  Played chain = play(vob, PullSink::Mode::Aligned, 65536, [](ISourceControl* c) {
    slotOf<IntSlot>(c, kSetReadMode)(c, 2);
    slotOf<IntSlot>(c, kSetPgc)(c, 1);
  });
  ASSERT_EQ(chain.connect, S_OK);
  EXPECT_EQ(chain.total, 163 * 2048);
  EXPECT_EQ(sha256Hex(chain.data), factsSha256("vts.1.pgc.2"));
}

// The audio and subtitle slots, each seen in the files the demultiplexer
// writes: the default audio file and its stream, added audio tracks with
// their kind and stream, a subtitle track.
TEST_F(ReadPathGraph, SourceControlAudioAndSubtitleSlotsChooseTheWrittenFiles) {
  const std::string vob = samplePath("dvd/VIDEO_TS/VTS_01_1.VOB");
  const std::string ac3 = temp.path("default.ac3");
  const std::string sub = temp.path("track0.sub");
  Played defaults = play(vob, PullSink::Mode::Aligned, 65536, [&](ISourceControl* c) {
    slotOf<IntSlot>(c, kSetReadMode)(c, 1);
    slotOf<TextSlot>(c, kSetAudioFile)(c, ac3.c_str());
    slotOf<SubtitleSlot>(c, kAddSubtitleStream)(c, sub.c_str(), 0);
  });
  ASSERT_EQ(defaults.connect, S_OK);
  EXPECT_TRUE(fileBytes(ac3) == fileBytes(samplePath("dvd/refs/vts.1.pgc.1.0x80.ac3")));
  EXPECT_TRUE(fileBytes(sub) == fileBytes(samplePath("dvd/refs/vts.1.pgc.1.0x20.sub")));

  // The disc has no second AC-3 stream: the default file is made, and stays
  // empty.
  const std::string other = temp.path("stream1.ac3");
  Played stream = play(vob, PullSink::Mode::Aligned, 65536, [&](ISourceControl* c) {
    slotOf<IntSlot>(c, kSetReadMode)(c, 1);
    slotOf<TextSlot>(c, kSetAudioFile)(c, other.c_str());
    slotOf<IntSlot>(c, kSetAudioStream)(c, 1);
  });
  ASSERT_EQ(stream.connect, S_OK);
  EXPECT_TRUE(fileExists(other));
  EXPECT_EQ(fileBytes(other).size(), 0u);

  const std::string first = temp.path("mpeg0.mp2");
  const std::string second = temp.path("mpeg1.mp2");
  Played tracks = play(vob, PullSink::Mode::Aligned, 65536, [&](ISourceControl* c) {
    slotOf<IntSlot>(c, kSetReadMode)(c, 1);
    slotOf<IntSlot>(c, kSetTitle)(c, 2);
    slotOf<AudioSlot>(c, kAddAudioStream)(c, first.c_str(), 2, 0);
    slotOf<AudioSlot>(c, kAddAudioStream)(c, second.c_str(), 2, 1);
  });
  ASSERT_EQ(tracks.connect, S_OK);
  EXPECT_TRUE(fileBytes(first) == fileBytes(samplePath("dvd/refs/vts.2.pgc.1.0x1c0.mp2")));
  EXPECT_TRUE(fileBytes(second) == fileBytes(samplePath("dvd/refs/vts.2.pgc.1.0x1c1.mp2")));
}

namespace {
struct Job {
  std::string name;
  long size;
  Played result;
};
DWORD WINAPI playJob(void* context) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  auto* job = static_cast<Job*>(context);
  job->result = play(job->name, PullSink::Mode::Aligned, job->size, nothing);
  CoUninitialize();
  return 0;
}
}  // namespace

TEST_F(ReadPathGraph, TwoGraphsPullingAtOnceShareTheCounterWithoutHarm) {
  const std::string expected = joined();
  const std::string name = list();
  for (int round = 0; round < 3; ++round) {
    Job a{name, 4096 + round * 1000, {}}, b{name, 65536 - round * 3333, {}};
    HANDLE threads[2] = {CreateThread(nullptr, 0, playJob, &a, 0, nullptr),
                         CreateThread(nullptr, 0, playJob, &b, 0, nullptr)};
    ASSERT_EQ(WaitForMultipleObjects(2, threads, TRUE, 120000), WAIT_OBJECT_0);
    CloseHandle(threads[0]);
    CloseHandle(threads[1]);
    for (Job* job : {&a, &b}) {
      EXPECT_EQ(job->result.connect, S_OK);
      EXPECT_TRUE(job->result.finished);
      EXPECT_EQ(job->result.failure, S_OK);
      EXPECT_TRUE(job->result.data == expected) << "sample size " << job->size;
    }
  }
}

TEST_F(ReadPathGraph, DvdSyncReadOfLessThanASectorDropsTheRestOfEachSector) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  const std::string vobs =
      temp.write("vobs.lst", samplePath("dvd/VIDEO_TS/VTS_01_1.VOB") + "\r\n" +
                                 samplePath("dvd/VIDEO_TS/VTS_01_2.VOB") + "\r\n" +
                                 samplePath("dvd/VIDEO_TS/VTS_01_3.VOB") + "\r\n");
  // Blocks of 1,000 bytes: the first takes 1,000 bytes of a sector, the
  // second the next 1,000 from the carry, and the 48 left are dropped.
  Played p = play(vobs, PullSink::Mode::Plain, 1000, nothing);
  ASSERT_TRUE(p.finished);
  const std::string disc = joinedTitleVobs();
  const auto range = chainSectors("vts.1.pgc.1");
  std::string expected;
  for (int s = range.first; s <= range.second; ++s)
    expected += disc.substr(static_cast<std::size_t>(s) * 2048, 2000);
  EXPECT_EQ(p.data.size(), expected.size());
  EXPECT_TRUE(p.data == expected);
  // The read after the last sector finds nothing: S_FALSE.
  EXPECT_EQ(p.failure, S_FALSE);
}

namespace {

// What libdvdnav played for a title's chapters (dvdnav-blocks.txt): its
// digest and sector count.
std::pair<std::string, long> playedBlocks(const std::string& disc, int title, int first, int last) {
  std::ifstream in(samplePath(disc + "/dvdnav-blocks.txt"));
  const std::string key = "title." + std::to_string(title) + ".chapters." + std::to_string(first) +
                          "-" + std::to_string(last) + " sha256 ";
  std::string line;
  while (std::getline(in, line))
    if (line.compare(0, key.size(), key) == 0)
      return {line.substr(key.size(), 64), std::stol(line.substr(line.rfind(' ') + 1))};
  return {"", -1};
}

void storeDiscTitle(int title, int first, int last, int audioTrack) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitleNumber", static_cast<DWORD>(title));
  storeSetting("DvdChapterFirst", static_cast<DWORD>(first));
  storeSetting("DvdChapterLast", static_cast<DWORD>(last));
  storeSetting("DvdAudioTrack", static_cast<DWORD>(audioTrack));
}

}  // namespace

// "DvdTitleNumber" with "DvdChapterFirst"/"DvdChapterLast": the titles
// sample's titles and chapter ranges as libdvdnav plays them, title 1
// across its two program chains; the title set and chain settings play no
// part then.
TEST_F(ReadPathGraph, DiscTitleFromTheRegistryDeliversWhatLibdvdnavPlays) {
  const std::string vob = samplePath("dvd-titles/VIDEO_TS/VTS_01_1.VOB");
  storeSetting("DvdTitle", 7);
  storeSetting("DvdPgc", 9);
  const std::vector<std::vector<int>> ranges = {{1, 1, 5}, {1, 2, 5}, {1, 4, 4}, {1, 3, 3},
                                                {2, 1, 2}, {3, 2, 2}};
  for (const auto& r : ranges) {
    SCOPED_TRACE("title " + std::to_string(r[0]) + " chapters " + std::to_string(r[1]) + "-" +
                 std::to_string(r[2]));
    const auto expected = playedBlocks("dvd-titles", r[0], r[1], r[2]);
    ASSERT_EQ(expected.first.size(), 64u);
    storeDiscTitle(r[0], r[1], r[2], 0);
    for (long size : {2048L, 3000L, 65536L}) {
      Played p = play(vob, PullSink::Mode::Aligned, size, nothing);
      ASSERT_EQ(p.connect, S_OK);
      ASSERT_TRUE(p.finished);
      EXPECT_EQ(p.total, expected.second * 2048);
      EXPECT_EQ(p.failure, S_OK) << size;
      EXPECT_EQ(sha256Hex(p.data), expected.first) << "sample size " << size;
    }
  }
  // Chapters 0 and 0: the whole title.
  storeDiscTitle(1, 0, 0, 0);
  EXPECT_EQ(sha256Hex(play(vob, PullSink::Mode::Aligned, 65536, nothing).data),
            playedBlocks("dvd-titles", 1, 1, 5).first);
}

// "DvdAudioTrack" 1 of the titles sample is stream 0x81, as the chains'
// control tables say: the title's packs without those of 0x80 and 0xC0.
TEST_F(ReadPathGraph, DiscAudioTrackDeliversItsStreamWithoutTheOtherAudio) {
  const std::string vob = samplePath("dvd-titles/VIDEO_TS/VTS_01_1.VOB");
  storeDiscTitle(1, 0, 0, 0);
  Played whole = play(vob, PullSink::Mode::Aligned, 65536, nothing);
  ASSERT_TRUE(whole.finished);
  ASSERT_EQ(sha256Hex(whole.data), playedBlocks("dvd-titles", 1, 1, 5).first);
  std::string kept;
  int dropped = 0;
  for (std::size_t at = 0; at < whole.data.size(); at += 2048) {
    const std::string pack = whole.data.substr(at, 2048);
    const int id = packStream(pack);
    if (id == 0xBD80 || id == 0xC0)
      ++dropped;
    else
      kept += pack;
  }
  ASSERT_GT(dropped, 0);
  storeDiscTitle(1, 0, 0, 1);
  Played track = play(vob, PullSink::Mode::Aligned, 65536, nothing);
  ASSERT_EQ(track.connect, S_OK);
  ASSERT_TRUE(track.finished);
  ASSERT_GE(track.data.size(), kept.size());
  EXPECT_TRUE(track.data.substr(0, kept.size()) == kept);
}

// With the new settings absent or 0 the specified settings choose, exactly
// as before: title set 1's first chain of the main sample, its range.
TEST_F(ReadPathGraph, DiscTitleSettingsAtZeroLeaveTheChainSettingsAlone) {
  storeFirstChainOfTitleSetOne();
  storeSetting("DvdTitleNumber", 0);
  storeSetting("DvdChapterFirst", 2);
  storeSetting("DvdChapterLast", 2);
  storeSetting("DvdAudioTrack", 0);
  Played p = play(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"), PullSink::Mode::Aligned, 65536, nothing);
  ASSERT_TRUE(p.finished);
  EXPECT_EQ(p.total, 190 * 2048);
  EXPECT_EQ(sha256Hex(p.data), factsSha256("vts.1.pgc.1"));
}
