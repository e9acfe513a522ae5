// Pull throughput of the filter's SyncReadAligned in the platform's filter
// graph manager: the registered DLL's filter on a list, connected to a sink
// that pulls the whole stream with samples of a real allocator while the
// graph runs. Prints one line per sample size: bytes, seconds, MiB/s, calls
// and microseconds per call.
//
//   pull_bench LIST SIZE...
#include <windows.h>
#include <dshow.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "com/pull_sink.h"
#include "filter/source_guids.h"

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  int len = MultiByteToWideChar(CP_ACP, 0, argv[1], -1, nullptr, 0);
  std::wstring name(static_cast<std::size_t>(len), L'\0');
  MultiByteToWideChar(CP_ACP, 0, argv[1], -1, &name[0], len);
  int status = 0;
  for (int i = 2; i < argc; ++i) {
    long size = std::atol(argv[i]);
    IGraphBuilder* graph = nullptr;
    IBaseFilter* source = nullptr;
    if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                reinterpret_cast<void**>(&graph))) ||
        FAILED(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IBaseFilter, reinterpret_cast<void**>(&source))))
      return 1;
    graph->AddFilter(source, L"Ormelund Fennoria");
    IFileSourceFilter* file = nullptr;
    source->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&file));
    if (FAILED(file->Load(name.c_str(), nullptr))) return 1;
    file->Release();
    auto* sink = new com_tests::PullSink(com_tests::PullSink::Mode::Aligned, size);
    sink->keepData = false;
    sink->NonDelegatingAddRef();
    graph->AddFilter(sink, L"Sink");
    IPin* output = nullptr;
    source->FindPin(L"Output", &output);
    if (FAILED(graph->ConnectDirect(output, &sink->pin, nullptr))) return 1;
    IMediaControl* media = nullptr;
    graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&media));
    LARGE_INTEGER frequency, start, stop;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    media->Run();
    sink->waitDone(INFINITE);
    QueryPerformanceCounter(&stop);
    media->Stop();
    double seconds = double(stop.QuadPart - start.QuadPart) / double(frequency.QuadPart);
    long long bytes = sink->delivered;
    std::printf("%ld %lld %.4f %.1f %ld %.2f\n", size, bytes, seconds,
                double(bytes) / 1048576.0 / seconds, sink->calls, seconds * 1e6 / sink->calls);
    if (bytes != sink->total || sink->failure != S_OK) status = 1;
    graph->Disconnect(output);
    graph->Disconnect(&sink->pin);
    output->Release();
    media->Release();
    graph->RemoveFilter(sink);
    graph->RemoveFilter(source);
    sink->Release();
    graph->Release();
    source->Release();
  }
  CoUninitialize();
  return status;
}
