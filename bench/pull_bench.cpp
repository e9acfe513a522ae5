// Pull throughput of a source filter's SyncReadAligned in the platform's
// filter graph manager: the source on a file, connected to a sink that pulls
// the whole stream with samples of a real allocator while the graph runs.
// The source is the registered DLL's filter on a list, or the platform's own
// File Source (CLSID_AsyncReader) on each of the named files in turn, the
// times added up. Prints one line per sample size: bytes, seconds, MiB/s,
// calls and microseconds per call.
//
//   pull_bench fennoria LIST SIZE...
//   pull_bench file-source FILE... -- SIZE...
#include <windows.h>
#include <dshow.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "com/pull_sink.h"
#include "filter/source_guids.h"

namespace {

struct Pull {
  long long bytes = 0;
  double seconds = 0;
  long calls = 0;
  bool whole = true;
};

std::wstring wide(const char* text) {
  int len = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  std::wstring name(static_cast<std::size_t>(len), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text, -1, &name[0], len);
  return name;
}

// One graph: `source` on `name`, pulled whole in samples of `size` bytes.
bool pullOnce(const CLSID& source, const std::wstring& name, long size, Pull& pull) {
  IGraphBuilder* graph = nullptr;
  IBaseFilter* filter = nullptr;
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                              reinterpret_cast<void**>(&graph))) ||
      FAILED(CoCreateInstance(source, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&filter))))
    return false;
  graph->AddFilter(filter, L"Source");
  IFileSourceFilter* file = nullptr;
  filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&file));
  if (FAILED(file->Load(name.c_str(), nullptr))) return false;
  file->Release();
  auto* sink = new com_tests::PullSink(com_tests::PullSink::Mode::Aligned, size);
  sink->keepData = false;
  sink->probeTheEnd = false;
  sink->NonDelegatingAddRef();
  graph->AddFilter(sink, L"Sink");
  IPin* output = nullptr;
  filter->FindPin(L"Output", &output);
  if (!output) {
    IEnumPins* pins = nullptr;
    filter->EnumPins(&pins);
    pins->Next(1, &output, nullptr);
    pins->Release();
  }
  if (FAILED(graph->ConnectDirect(output, &sink->pin, nullptr))) return false;
  IMediaControl* media = nullptr;
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&media));
  LARGE_INTEGER frequency, start, stop;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&start);
  media->Run();
  sink->waitDone(INFINITE);
  QueryPerformanceCounter(&stop);
  media->Stop();
  pull.seconds += double(stop.QuadPart - start.QuadPart) / double(frequency.QuadPart);
  pull.bytes += sink->delivered;
  pull.calls += sink->calls;
  if (sink->delivered != sink->total || sink->failure != S_OK) pull.whole = false;
  graph->Disconnect(output);
  graph->Disconnect(&sink->pin);
  output->Release();
  media->Release();
  graph->RemoveFilter(sink);
  graph->RemoveFilter(filter);
  sink->Release();
  graph->Release();
  filter->Release();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  std::string kind = argv[1];
  bool ours = kind == "fennoria";
  if (!ours && kind != "file-source") return 2;
  std::vector<std::wstring> names;
  int i = 2;
  for (; i < argc && std::string(argv[i]) != "--"; ++i) names.push_back(wide(argv[i]));
  if (ours) {
    // The list, then the sizes.
    names.resize(1);
    i = 3;
  } else {
    ++i;  // past "--"
  }
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  const CLSID& source = ours ? CLSID_FennoriaSource : CLSID_AsyncReader;
  int status = 0;
  for (; i < argc; ++i) {
    long size = std::atol(argv[i]);
    Pull pull;
    for (const std::wstring& name : names)
      if (!pullOnce(source, name, size, pull)) return 1;
    std::printf("%ld %lld %.4f %.1f %ld %.2f\n", size, pull.bytes, pull.seconds,
                double(pull.bytes) / 1048576.0 / pull.seconds, pull.calls,
                pull.seconds * 1e6 / pull.calls);
    if (!pull.whole) status = 1;
  }
  CoUninitialize();
  return status;
}
