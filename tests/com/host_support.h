// Shared pieces of the host tests: the bundled list's files and their
// joined bytes, the facts other tools recorded about the samples, a sink
// graph played the way a host plays it, and a host's message pump.
#pragma once

#include <windows.h>
#include <dshow.h>

#include <string>
#include <vector>

#include "com/host_sink.h"
#include "support/file_bytes.h"

namespace com_tests {

using testing_support::fileBytes;

// The files samples/list/sample.lst names, as Windows paths, in its order.
std::vector<std::string> sampleListFiles();
// The files' bytes one after the other (what `cat` makes of them).
std::string joinedBytes(const std::vector<std::string>& files);
// A list file's text naming `files`, one per line.
std::string listText(const std::vector<std::string>& files);

// The sha256 that samples/dvd/dvdread-facts.txt gives for a program chain.
std::string chainSha256(const std::string& chain);
// ffprobe's video frame count for "list" (the sample list's joined files)
// or a program chain ("vts.1.pgc.1"), from the file the build wrote; -1
// when it holds none.
long ffprobeFrames(const std::string& key);

// Dispatches this thread's messages until `event` is signalled; false when
// `milliseconds` pass first.
bool waitPumping(HANDLE event, DWORD milliseconds);

// Our filter on `name` connected directly to a HostSink.
struct SinkGraph {
  SinkGraph() = default;
  ~SinkGraph() { teardown(); }
  SinkGraph(const SinkGraph&) = delete;
  SinkGraph& operator=(const SinkGraph&) = delete;

  bool build(const std::string& name, long sampleSize,
             HostSink::Mode mode = HostSink::Mode::Aligned);
  void teardown();

  HRESULT load = E_FAIL;
  HRESULT connect = E_FAIL;
  IGraphBuilder* graph = nullptr;
  IBaseFilter* source = nullptr;
  HostSink* sink = nullptr;
  IPin* output = nullptr;
  IMediaControl* control = nullptr;
  IMediaEvent* events = nullptr;
};

}  // namespace com_tests
