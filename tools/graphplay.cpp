// graphplay: plays a list file or a DVD title through a DirectShow graph of
// the platform's filter graph manager: the registered "Ormelund Fennoria"
// source filter connected to a sink that pulls the whole stream with
// SyncReadAligned while the graph runs. Writes the bytes delivered to a file
// and prints their count.
//
//   graphplay SOURCE OUTPUT [--mode N] [--title T] [--pgc P] [--size BYTES]
//             [--audio-file PATH] [--ac3 KEY=PATH] [--mpeg KEY=PATH] [--sub KEY=PATH]
#include <windows.h>
#include <dshow.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "com/pull_sink.h"
#include "fennoria/source_control.h"
#include "filter/source_guids.h"

namespace {

std::wstring wide(const char* text) {
  int n = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n > 0 ? n : 1), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text, -1, &out[0], n);
  out.resize(out.size() - 1);
  return out;
}

int fail(const char* what, HRESULT hr) {
  std::fprintf(stderr, "graphplay: %s failed (0x%08lx)\n", what, static_cast<unsigned long>(hr));
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: graphplay SOURCE OUTPUT [options]\n");
    return 2;
  }
  int mode = 0, title = 1, pgc = 0;
  long size = 1 << 20;
  const char* audioFile = nullptr;
  struct Track {
    int kind;  // 0 AC-3, 2 MPEG audio, -1 subtitle
    int key;
    std::string path;
  };
  std::vector<Track> tracks;
  for (int i = 3; i + 1 < argc; i += 2) {
    std::string option = argv[i];
    const char* value = argv[i + 1];
    if (option == "--mode") mode = std::atoi(value);
    else if (option == "--title") title = std::atoi(value);
    else if (option == "--pgc") pgc = std::atoi(value);
    else if (option == "--size") size = std::atol(value);
    else if (option == "--audio-file") audioFile = value;
    else if (option == "--ac3" || option == "--mpeg" || option == "--sub") {
      const char* equals = std::strchr(value, '=');
      if (!equals) return 2;
      tracks.push_back({option == "--ac3" ? 0 : option == "--mpeg" ? 2 : -1, std::atoi(value),
                        equals + 1});
    } else {
      std::fprintf(stderr, "graphplay: unknown option %s\n", option.c_str());
      return 2;
    }
  }

  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  IGraphBuilder* graph = nullptr;
  HRESULT hr = CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IGraphBuilder, reinterpret_cast<void**>(&graph));
  if (FAILED(hr)) return fail("creating the filter graph manager", hr);
  IBaseFilter* source = nullptr;
  hr = CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                        reinterpret_cast<void**>(&source));
  if (FAILED(hr)) return fail("creating the registered Ormelund Fennoria filter", hr);
  graph->AddFilter(source, L"Ormelund Fennoria");
  IFileSourceFilter* fileSource = nullptr;
  source->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&fileSource));
  hr = fileSource->Load(wide(argv[1]).c_str(), nullptr);
  fileSource->Release();
  if (FAILED(hr)) return fail("IFileSourceFilter::Load", hr);

  ISourceControl* control = nullptr;
  source->QueryInterface(IID_ISourceControl, reinterpret_cast<void**>(&control));
  control->SetReadMode(mode);
  control->SetTitle(title);
  control->SetPgc(pgc);
  if (audioFile) control->SetAudioFile(audioFile);
  for (const Track& track : tracks) {
    if (track.kind < 0)
      control->AddSubtitleStream(track.path.c_str(), track.key);
    else
      control->AddAudioStream(track.path.c_str(), track.kind, track.key);
  }
  control->Release();

  auto* sink = new com_tests::PullSink(com_tests::PullSink::Mode::Aligned, size);
  sink->probeTheEnd = false;
  sink->NonDelegatingAddRef();
  graph->AddFilter(sink, L"Pulling sink");
  IPin* output = nullptr;
  hr = source->FindPin(L"Output", &output);
  if (FAILED(hr)) return fail("finding the pin \"Output\"", hr);
  hr = graph->ConnectDirect(output, &sink->pin, nullptr);
  if (FAILED(hr)) return fail("IGraphBuilder::ConnectDirect", hr);
  IMediaControl* media = nullptr;
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&media));
  hr = media->Run();
  if (FAILED(hr)) return fail("IMediaControl::Run", hr);
  bool finished = sink->waitDone(120000);
  media->Stop();  // the demultiplexer's files are complete from here on

  std::printf("length %lld, %ld SyncReadAligned calls of %ld-byte samples, %zu bytes delivered\n",
              static_cast<long long>(sink->total), sink->calls, size, sink->data.size());
  FILE* out = std::fopen(argv[2], "wb");
  if (out) {
    std::fwrite(sink->data.data(), 1, sink->data.size(), out);
    std::fclose(out);
  }
  int status = finished && out && sink->failure == S_OK ? 0 : 1;
  graph->Disconnect(output);
  graph->Disconnect(&sink->pin);
  output->Release();
  media->Release();
  graph->RemoveFilter(sink);
  graph->RemoveFilter(source);
  sink->Release();
  graph->Release();
  source->Release();
  CoUninitialize();
  return status;
}
