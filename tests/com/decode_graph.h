// A graph that decodes what our filter delivers: the filter, Wine's
// GStreamer splitter on its pin, a Sample Grabber on the splitter's first
// video output counting the frames, and a Null Renderer. The caller runs it
// as a host would, and may slow every frame down so that the graph plays
// for a while.
#pragma once

#include <windows.h>
#include <dshow.h>
#include <qedit.h>

#include <string>

namespace com_tests {

class FrameCounter : public ISampleGrabberCB {
 public:
  FrameCounter() { InitializeCriticalSection(&lock_); }
  ~FrameCounter() { DeleteCriticalSection(&lock_); }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE SampleCB(double, IMediaSample*) override;
  HRESULT STDMETHODCALLTYPE BufferCB(double, BYTE*, long) override { return S_OK; }
  long frames();

  DWORD delayMs = 0;  // slept on the splitter's thread after each frame

 private:
  CRITICAL_SECTION lock_;
  long frames_ = 0;
};

class DecodeGraph {
 public:
  DecodeGraph() = default;
  ~DecodeGraph() { teardown(); }
  DecodeGraph(const DecodeGraph&) = delete;
  DecodeGraph& operator=(const DecodeGraph&) = delete;

  // Creates the filters, loads `name` into ours and connects everything;
  // true when the video reaches the renderer. The stop position is set to
  // the end of the stream, and the graph runs without a clock.
  bool build(const std::string& name);
  // The length our pin reports through IAsyncReader::Length; -1 on failure.
  LONGLONG sourceLength();
  void teardown();

  HRESULT connect = E_FAIL;       // our pin to the splitter
  HRESULT videoConnect = E_FAIL;  // the splitter's video to the grabber
  IGraphBuilder* graph = nullptr;
  IBaseFilter* source = nullptr;
  IMediaControl* control = nullptr;
  IMediaEvent* events = nullptr;
  FrameCounter counter;

 private:
  IBaseFilter* splitter_ = nullptr;
  IBaseFilter* grabberFilter_ = nullptr;
  IBaseFilter* renderer_ = nullptr;
  ISampleGrabber* grabber_ = nullptr;
  IPin* output_ = nullptr;
};

}  // namespace com_tests
