#include "com/host_support.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include "com/com_support.h"
#include "fennoria/source_control.h"

namespace com_tests {

std::vector<std::string> sampleListFiles() {
  std::istringstream lines(fileBytes(samplePath("list/sample.lst")));
  std::vector<std::string> files;
  std::string line;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    // The list names its files relative to its own folder.
    if (!line.empty()) files.push_back(samplePath("list/" + line));
  }
  return files;
}

std::string joinedBytes(const std::vector<std::string>& files) {
  std::string joined;
  for (const std::string& file : files) joined += fileBytes(file);
  return joined;
}

std::string listText(const std::vector<std::string>& files) {
  std::string text;
  for (const std::string& file : files) text += file + "\r\n";
  return text;
}

std::string chainSha256(const std::string& chain) {
  std::istringstream in(fileBytes(samplePath("dvd/dvdread-facts.txt")));
  std::string line;
  const std::string key = chain + ".sha256 ";
  while (std::getline(in, line))
    if (line.compare(0, key.size(), key) == 0) return line.substr(key.size(), 64);
  return "";
}

long ffprobeFrames(const std::string& key) {
  std::istringstream in(fileBytes(FENNORIA_FRAME_FACTS));
  std::string name;
  long frames = -1;
  while (in >> name >> frames)
    if (name == key) return frames;
  return -1;
}

bool waitPumping(HANDLE event, DWORD milliseconds) {
  const ULONGLONG end = GetTickCount64() + milliseconds;
  for (;;) {
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageA(&message);
    }
    if (WaitForSingleObject(event, 0) == WAIT_OBJECT_0) return true;
    const ULONGLONG now = GetTickCount64();
    if (now >= end) return false;
    MsgWaitForMultipleObjects(1, &event, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
  }
}

bool SinkGraph::build(const std::string& name, long sampleSize, HostSink::Mode mode) {
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                              reinterpret_cast<void**>(&graph))) ||
      FAILED(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                              reinterpret_cast<void**>(&source))))
    return false;
  graph->AddFilter(source, L"Ormelund Fennoria");
  IFileSourceFilter* fileSource = nullptr;
  source->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&fileSource));
  load = fileSource->Load(wide(name).c_str(), nullptr);
  fileSource->Release();
  sink = new HostSink(mode, sampleSize);
  sink->NonDelegatingAddRef();
  graph->AddFilter(sink, L"Sink");
  if (FAILED(source->FindPin(L"Output", &output))) return false;
  connect = graph->ConnectDirect(output, &sink->pin, nullptr);
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
  graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(&events));
  return load == S_OK && connect == S_OK;
}

void SinkGraph::teardown() {
  if (events) events->Release();
  events = nullptr;
  if (control) control->Release();
  control = nullptr;
  if (graph && output) graph->Disconnect(output);
  if (graph && sink) graph->Disconnect(&sink->pin);
  if (output) output->Release();
  output = nullptr;
  if (graph && sink) graph->RemoveFilter(sink);
  if (graph && source) graph->RemoveFilter(source);
  if (sink) sink->Release();
  sink = nullptr;
  if (source) source->Release();
  source = nullptr;
  if (graph) graph->Release();
  graph = nullptr;
}

}  // namespace com_tests
