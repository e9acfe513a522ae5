#include "com/decode_graph.h"

#include "com/com_support.h"
#include "fennoria/source_control.h"

namespace com_tests {

namespace {

// Wine's GStreamer splitter, the Sample Grabber and the Null Renderer.
const CLSID kGstSplitter = {0xF9D8D64E, 0xA144, 0x47DC,
                            {0x8E, 0xE0, 0xF5, 0x34, 0x98, 0x37, 0x2C, 0x29}};
const CLSID kSampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3,
                              {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
const CLSID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3,
                             {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

template <class T>
void release(T*& p) {
  if (p) p->Release();
  p = nullptr;
}

template <class T>
HRESULT create(const CLSID& clsid, T** object) {
  return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                          reinterpret_cast<void**>(object));
}

IPin* firstPin(IBaseFilter* filter, PIN_DIRECTION wanted) {
  IEnumPins* pins = nullptr;
  if (FAILED(filter->EnumPins(&pins))) return nullptr;
  IPin* pin = nullptr;
  while (pins->Next(1, &pin, nullptr) == S_OK) {
    PIN_DIRECTION direction;
    pin->QueryDirection(&direction);
    if (direction == wanted) break;
    release(pin);
  }
  pins->Release();
  return pin;
}

bool isVideoOutput(IPin* pin) {
  PIN_DIRECTION direction;
  pin->QueryDirection(&direction);
  if (direction != PINDIR_OUTPUT) return false;
  IEnumMediaTypes* types = nullptr;
  if (FAILED(pin->EnumMediaTypes(&types))) return false;
  bool video = false;
  AM_MEDIA_TYPE* type = nullptr;
  if (types->Next(1, &type, nullptr) == S_OK) {
    video = IsEqualGUID(type->majortype, MEDIATYPE_Video) != 0;
    if (type->pbFormat) CoTaskMemFree(type->pbFormat);
    if (type->pUnk) type->pUnk->Release();
    CoTaskMemFree(type);
  }
  types->Release();
  return video;
}

}  // namespace

HRESULT STDMETHODCALLTYPE FrameCounter::QueryInterface(REFIID iid, void** object) {
  if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_ISampleGrabberCB)) {
    *object = this;
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

HRESULT STDMETHODCALLTYPE FrameCounter::SampleCB(double, IMediaSample*) {
  EnterCriticalSection(&lock_);
  ++frames_;
  LeaveCriticalSection(&lock_);
  if (delayMs) Sleep(delayMs);
  return S_OK;
}

long FrameCounter::frames() {
  EnterCriticalSection(&lock_);
  long n = frames_;
  LeaveCriticalSection(&lock_);
  return n;
}

bool DecodeGraph::build(const std::string& name) {
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                              reinterpret_cast<void**>(&graph))) ||
      FAILED(create(CLSID_FennoriaSource, &source)) || FAILED(create(kGstSplitter, &splitter_)) ||
      FAILED(create(kSampleGrabber, &grabberFilter_)) || FAILED(create(kNullRenderer, &renderer_)))
    return false;
  graph->AddFilter(source, L"Ormelund Fennoria");
  graph->AddFilter(splitter_, L"Splitter");
  graph->AddFilter(grabberFilter_, L"Grabber");
  graph->AddFilter(renderer_, L"Renderer");
  IFileSourceFilter* fileSource = nullptr;
  source->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&fileSource));
  HRESULT loaded = fileSource->Load(wide(name).c_str(), nullptr);
  fileSource->Release();
  if (FAILED(loaded)) return false;

  grabberFilter_->QueryInterface(IID_ISampleGrabber, reinterpret_cast<void**>(&grabber_));
  AM_MEDIA_TYPE video{};
  video.majortype = MEDIATYPE_Video;
  grabber_->SetMediaType(&video);
  grabber_->SetCallback(&counter, 0);

  output_ = firstPin(source, PINDIR_OUTPUT);
  IPin* splitterIn = firstPin(splitter_, PINDIR_INPUT);
  IPin* grabberIn = nullptr;
  IPin* grabberOut = nullptr;
  grabberFilter_->FindPin(L"In", &grabberIn);
  grabberFilter_->FindPin(L"Out", &grabberOut);
  IPin* rendererIn = firstPin(renderer_, PINDIR_INPUT);
  bool ok = false;
  connect = output_ && splitterIn ? graph->ConnectDirect(output_, splitterIn, nullptr) : E_FAIL;
  if (connect == S_OK) {
    IEnumPins* pins = nullptr;
    splitter_->EnumPins(&pins);
    IPin* pin = nullptr;
    while (pins->Next(1, &pin, nullptr) == S_OK) {
      if (videoConnect != S_OK && isVideoOutput(pin))
        videoConnect = graph->ConnectDirect(pin, grabberIn, nullptr);
      release(pin);
    }
    release(pins);
    ok = videoConnect == S_OK && graph->ConnectDirect(grabberOut, rendererIn, nullptr) == S_OK;
  }
  release(splitterIn), release(grabberIn), release(grabberOut), release(rendererIn);
  if (!ok) return false;

  IMediaFilter* mediaFilter = nullptr;
  graph->QueryInterface(IID_IMediaFilter, reinterpret_cast<void**>(&mediaFilter));
  mediaFilter->SetSyncSource(nullptr);
  mediaFilter->Release();
  // The splitter stops at its own estimate of the duration unless told to
  // play to the end.
  IMediaSeeking* seeking = nullptr;
  graph->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking));
  LONGLONG start = 0, stop = 0;
  seeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, &stop,
                        AM_SEEKING_AbsolutePositioning);
  seeking->Release();
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
  graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events));
  return true;
}

LONGLONG DecodeGraph::sourceLength() {
  if (!output_) return -1;
  IAsyncReader* reader = nullptr;
  if (FAILED(output_->QueryInterface(IID_IAsyncReader, reinterpret_cast<void**>(&reader))))
    return -1;
  LONGLONG total = -1, available = -1;
  HRESULT hr = reader->Length(&total, &available);
  reader->Release();
  return FAILED(hr) ? -1 : total;
}

void DecodeGraph::teardown() {
  if (grabber_) grabber_->SetCallback(nullptr, 0);
  release(grabber_);
  release(events);
  release(control);
  release(output_);
  if (graph) {
    for (IBaseFilter* filter : {renderer_, grabberFilter_, splitter_, source})
      if (filter) graph->RemoveFilter(filter);
  }
  release(renderer_), release(grabberFilter_), release(splitter_), release(source);
  release(graph);
}

}  // namespace com_tests
