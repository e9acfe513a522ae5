// Wine's GStreamer splitter on our pin with "StandardReads" 1: it connects
// with ConnectDirect and decodes the bundled list, and the decoded video
// (frame count and a hash of the frames) equals what the same splitter
// decodes from Wine's File Source (Async) reading the same bytes.
#include <windows.h>
#include <dshow.h>
#include <qedit.h>

#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "com/com_support.h"
#include "fennoria/source_control.h"
#include "filter/source_guids.h"
#include "support/sha256.h"

using namespace com_tests;
using testing_support::sha256Hex;

namespace {

const CLSID kGstSplitter = {0xF9D8D64E, 0xA144, 0x47DC,
                            {0x8E, 0xE0, 0xF5, 0x34, 0x98, 0x37, 0x2C, 0x29}};

const CLSID kSampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3,
                              {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const CLSID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3,
                              {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};


// Counts the video frames that pass the grabber and hashes each of them.
class FrameCounter : public ISampleGrabberCB {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_ISampleGrabberCB)) {
      *object = this;
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE SampleCB(double, IMediaSample* sample) override {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    long length = sample->GetActualDataLength();
    std::string frame(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
    EnterCriticalSection(&lock);
    ++frames;
    hashes += sha256Hex(frame);
    LeaveCriticalSection(&lock);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE BufferCB(double, BYTE*, long) override { return S_OK; }
  FrameCounter() { InitializeCriticalSection(&lock); }
  ~FrameCounter() { DeleteCriticalSection(&lock); }
  CRITICAL_SECTION lock;
  long frames = 0;
  std::string hashes;
};

struct Decoded {
  HRESULT connect = E_FAIL;
  HRESULT videoConnect = E_FAIL;
  HRESULT run = E_FAIL;
  LONG completion = 0;
  bool completed = false;
  long frames = 0;
  std::string hash;
  int audioPins = 0;
};

template <class T>
void release(T*& p) {
  if (p) p->Release();
  p = nullptr;
}

// Builds source -> splitter -> (video) grabber -> null renderer, runs the
// graph with no clock to the end and reports what the grabber saw.
Decoded decode(const CLSID& sourceClass, const std::string& name,
               void (*prepare)(IBaseFilter*, void*) = nullptr, void* context = nullptr) {
  Decoded out;
  IGraphBuilder* graph = nullptr;
  IBaseFilter *source = nullptr, *splitter = nullptr, *grabberFilter = nullptr,
              *renderer = nullptr;
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                              reinterpret_cast<void**>(&graph))) ||
      FAILED(CoCreateInstance(sourceClass, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&source))) ||
      FAILED(CoCreateInstance(kGstSplitter, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&splitter))) ||
      FAILED(CoCreateInstance(kSampleGrabber, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&grabberFilter))) ||
      FAILED(CoCreateInstance(kNullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&renderer)))) {
    ADD_FAILURE() << "cannot create the filters";
    release(graph), release(source), release(splitter), release(grabberFilter), release(renderer);
    return out;
  }
  graph->AddFilter(source, L"Source");
  graph->AddFilter(splitter, L"Splitter");
  graph->AddFilter(grabberFilter, L"Grabber");
  graph->AddFilter(renderer, L"Renderer");
  IFileSourceFilter* fileSource = nullptr;
  source->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&fileSource));
  EXPECT_EQ(fileSource->Load(wide(name).c_str(), nullptr), S_OK);
  release(fileSource);
  if (prepare) prepare(source, context);

  FrameCounter counter;
  ISampleGrabber* grabber = nullptr;
  grabberFilter->QueryInterface(IID_ISampleGrabber, reinterpret_cast<void**>(&grabber));
  AM_MEDIA_TYPE video{};
  video.majortype = MEDIATYPE_Video;
  grabber->SetMediaType(&video);
  grabber->SetCallback(&counter, 0);

  IPin *output = nullptr, *splitterIn = nullptr, *grabberIn = nullptr, *grabberOut = nullptr,
       *rendererIn = nullptr;
  IEnumPins* pins = nullptr;
  source->EnumPins(&pins);
  pins->Next(1, &output, nullptr);
  release(pins);
  splitter->EnumPins(&pins);
  pins->Next(1, &splitterIn, nullptr);
  release(pins);
  grabberFilter->FindPin(L"In", &grabberIn);
  grabberFilter->FindPin(L"Out", &grabberOut);
  renderer->EnumPins(&pins);
  pins->Next(1, &rendererIn, nullptr);
  release(pins);

  out.connect = graph->ConnectDirect(output, splitterIn, nullptr);
  if (out.connect == S_OK) {
    // The first video output of the splitter goes to the grabber.
    splitter->EnumPins(&pins);
    IPin* pin = nullptr;
    while (pins->Next(1, &pin, nullptr) == S_OK) {
      PIN_DIRECTION direction;
      pin->QueryDirection(&direction);
      bool isVideo = false;
      IEnumMediaTypes* types = nullptr;
      if (direction == PINDIR_OUTPUT && SUCCEEDED(pin->EnumMediaTypes(&types))) {
        AM_MEDIA_TYPE* type = nullptr;
        if (types->Next(1, &type, nullptr) == S_OK) {
          isVideo = IsEqualGUID(type->majortype, MEDIATYPE_Video) != 0;
          if (IsEqualGUID(type->majortype, MEDIATYPE_Audio)) ++out.audioPins;
          if (type->pbFormat) CoTaskMemFree(type->pbFormat);
          CoTaskMemFree(type);
        }
        release(types);
      }
      if (isVideo && out.videoConnect != S_OK) out.videoConnect = graph->ConnectDirect(pin, grabberIn, nullptr);
      release(pin);
    }
    release(pins);
    if (out.videoConnect == S_OK && graph->ConnectDirect(grabberOut, rendererIn, nullptr) == S_OK) {
      IMediaFilter* mediaFilter = nullptr;
      graph->QueryInterface(IID_IMediaFilter, reinterpret_cast<void**>(&mediaFilter));
      mediaFilter->SetSyncSource(nullptr);
      release(mediaFilter);
      IMediaSeeking* seeking = nullptr;
      graph->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking));
      LONGLONG start = 0, stop = 0;
      seeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, &stop,
                            AM_SEEKING_AbsolutePositioning);
      release(seeking);
      IMediaControl* media = nullptr;
      IMediaEvent* events = nullptr;
      graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&media));
      graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events));
      out.run = media->Run();
      LONG code = 0;
      out.completed = events->WaitForCompletion(120000, &code) == S_OK;
      out.completion = code;
      media->Stop();
      release(events);
      release(media);
    }
  }
  grabber->SetCallback(nullptr, 0);
  release(grabber);
  out.frames = counter.frames;
  out.hash = sha256Hex(counter.hashes);
  release(output), release(splitterIn), release(grabberIn), release(grabberOut),
      release(rendererIn);
  graph->RemoveFilter(renderer);
  graph->RemoveFilter(grabberFilter);
  graph->RemoveFilter(splitter);
  graph->RemoveFilter(source);
  release(renderer), release(grabberFilter), release(splitter), release(source);
  release(graph);
  return out;
}

class StandardReadsParser : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    clearSettings();
    storeSetting("StandardReads", 1);
  }
  void TearDown() override {
    clearSettings();
    CoUninitialize();
  }
  TempFolder temp;
};

}  // namespace

TEST_F(StandardReadsParser, GstSplitterDecodesTheListAsFromTheFileSource) {
  const std::string list = writeClipList(temp);
  const std::string joined =
temp.write("joined.mpg", joinedClips());
  Decoded reference = decode(CLSID_AsyncReader, joined);
  ASSERT_EQ(reference.connect, S_OK);
  ASSERT_EQ(reference.videoConnect, S_OK);
  ASSERT_TRUE(reference.completed);
  ASSERT_GT(reference.frames, 0);

  Decoded ours = decode(CLSID_FennoriaSource, list);
  ASSERT_EQ(ours.connect, S_OK);
  ASSERT_EQ(ours.videoConnect, S_OK);
  EXPECT_EQ(ours.run, reference.run);
  ASSERT_TRUE(ours.completed);
  EXPECT_EQ(ours.completion, EC_COMPLETE);
  EXPECT_EQ(ours.frames, reference.frames);
  EXPECT_EQ(ours.hash, reference.hash);
}

TEST_F(StandardReadsParser, GstSplitterDecodesTheProgramChainAsFromTheFileSource) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  // Program chain 1 of title set 1: sectors 0 to 189 of the joined VOBs.
  const std::string disc = joinedTitleVobs();
  ASSERT_GE(disc.size(), 190u * 2048);
  const std::string chain = temp.write("chain.mpg", disc.substr(0, 190 * 2048));
  Decoded reference = decode(CLSID_AsyncReader, chain);
  ASSERT_EQ(reference.connect, S_OK);
  ASSERT_EQ(reference.videoConnect, S_OK);
  ASSERT_TRUE(reference.completed);
  ASSERT_GT(reference.frames, 0);

  Decoded ours = decode(CLSID_FennoriaSource, samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"));
  ASSERT_EQ(ours.connect, S_OK);
  ASSERT_EQ(ours.videoConnect, S_OK);
  ASSERT_TRUE(ours.completed);
  EXPECT_EQ(ours.completion, EC_COMPLETE);
  EXPECT_EQ(ours.frames, reference.frames);
  EXPECT_EQ(ours.hash, reference.hash);
}

// What the splitter gets from the forward read path (the setting absent):
// its probe of the end and the read back at the start are refused, and it
// does not connect, so nothing is decoded.
TEST_F(StandardReadsParser, WithoutTheSettingTheSplitterDoesNotConnect) {
  clearSettings();
  const std::string list = writeClipList(temp);
  Decoded ours = decode(CLSID_FennoriaSource, list);
  EXPECT_TRUE(FAILED(ours.connect)) << std::hex << ours.connect;
  EXPECT_FALSE(ours.completed);
  EXPECT_EQ(ours.frames, 0);
}

TEST_F(StandardReadsParser, WithOneAudioStreamChosenTheSplitterFindsOneAudioStream) {
  storeSetting("DvdReadMode", 1);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  const std::string disc = joinedTitleVobs();
  const std::string chain = temp.write("chain.mpg", disc.substr(0, 190 * 2048));
  // The program chain itself carries more than one audio stream.
  Decoded reference = decode(CLSID_AsyncReader, chain);
  ASSERT_EQ(reference.connect, S_OK);
  ASSERT_GT(reference.audioPins, 1);

  std::string audio = temp.path("audio.ac3");
  Decoded ours = decode(
      CLSID_FennoriaSource, samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"),
      [](IBaseFilter* source, void* file) {
        ISourceControl* control = nullptr;
        source->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control));
        control->AddAudioStream(static_cast<std::string*>(file)->c_str(), 0, 0);
        control->Release();
      },
      &audio);
  ASSERT_EQ(ours.connect, S_OK);
  EXPECT_EQ(ours.audioPins, 1);
  ASSERT_EQ(ours.videoConnect, S_OK);
  EXPECT_TRUE(ours.completed);
  EXPECT_EQ(ours.frames, reference.frames);
  EXPECT_EQ(ours.hash, reference.hash);
}
