// The filter's file handles inside a host: it closes exactly the handles it
// opened, whatever happens to the list file between Load and Run, and
// leaves none behind after a failed Load or after many filters have come
// and gone.
//
// The host's own handles are files of the test ("sentinels"), checked
// afterwards for still working and still naming the same file. The filter's
// handles on the listed files are seen through the sharing modes it opens
// them with: while it holds one, nobody can open that file exclusively or
// delete it.
#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "com/com_support.h"
#include "com/host_support.h"
#include "com/watchdog.h"
#include "fennoria/source_control.h"

using namespace com_tests;

namespace {

struct Sentinel {
  std::string path;
  std::string content;
  HANDLE handle = INVALID_HANDLE_VALUE;
  BY_HANDLE_FILE_INFORMATION info{};
};

// Files the host holds open while the filter works.
class Sentinels {
 public:
  Sentinels(const TempFolder& temp, int count) {
    for (int i = 0; i < count; ++i) {
      Sentinel s;
      s.content = "sentinel " + std::to_string(i);
      s.path = temp.write("sentinel-" + std::to_string(i) + ".txt", s.content);
      s.handle = CreateFileA(s.path.c_str(), GENERIC_READ,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, 0, nullptr);
      GetFileInformationByHandle(s.handle, &s.info);
      all.push_back(s);
    }
  }
  ~Sentinels() {
    for (Sentinel& s : all)
      if (s.handle != INVALID_HANDLE_VALUE) CloseHandle(s.handle);
  }
  Sentinels(const Sentinels&) = delete;
  Sentinels& operator=(const Sentinels&) = delete;

  bool opened() const {
    for (const Sentinel& s : all)
      if (s.handle == INVALID_HANDLE_VALUE) return false;
    return true;
  }
  std::vector<HANDLE> handles() const {
    std::vector<HANDLE> out;
    for (const Sentinel& s : all) out.push_back(s.handle);
    return out;
  }
  // The sentinels that no longer work or now name another file.
  std::string broken() const {
    std::string out;
    for (const Sentinel& s : all) {
      BY_HANDLE_FILE_INFORMATION now{};
      char buffer[64] = {};
      DWORD got = 0;
      std::string why;
      if (!GetFileInformationByHandle(s.handle, &now))
        why = "GetFileInformationByHandle fails (" + std::to_string(GetLastError()) + ")";
      else if (now.dwVolumeSerialNumber != s.info.dwVolumeSerialNumber ||
               now.nFileIndexHigh != s.info.nFileIndexHigh ||
               now.nFileIndexLow != s.info.nFileIndexLow)
        why = "names another file";
      else if (SetFilePointer(s.handle, 0, nullptr, FILE_BEGIN) != 0 ||
               !ReadFile(s.handle, buffer, sizeof buffer - 1, &got, nullptr))
        why = "cannot be read";
      else if (std::string(buffer, got) != s.content)
        why = "reads \"" + std::string(buffer, got) + "\"";
      if (!why.empty()) out += "\n  " + s.path + ": " + why;
    }
    return out;
  }

  std::vector<Sentinel> all;
};

// The filter keeps its array of file handles on the C runtime's heap, which
// the host shares. Blocks of that array's size filled with the host's
// handles, every other one freed, surround the array when the filter
// allocates it: a read past its end then finds host handles, so closing
// more entries than the array holds hits them for certain.
class HandleBait {
 public:
  HandleBait(const std::vector<HANDLE>& handles, std::size_t entries, int blocks) {
    for (int i = 0; i < blocks; ++i) {
      auto* block = static_cast<HANDLE*>(std::malloc(entries * sizeof(HANDLE)));
      for (std::size_t e = 0; e < entries; ++e)
        block[e] = handles[(static_cast<std::size_t>(i) * entries + e) % handles.size()];
      blocks_.push_back(block);
    }
    for (std::size_t i = 0; i < blocks_.size(); i += 2) {
      std::free(blocks_[i]);
      blocks_[i] = nullptr;
    }
  }
  ~HandleBait() {
    for (HANDLE* block : blocks_) std::free(block);
  }
  HandleBait(const HandleBait&) = delete;
  HandleBait& operator=(const HandleBait&) = delete;

 private:
  std::vector<HANDLE*> blocks_;
};

// True while anyone holds the file open: an exclusive open then fails with a
// sharing violation.
bool heldOpen(const std::string& path) {
  HANDLE h = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_SHARING_VIOLATION;
  CloseHandle(h);
  return false;
}

std::string heldFiles(const std::vector<std::string>& paths) {
  std::string out;
  for (const std::string& path : paths)
    if (heldOpen(path)) out += "\n  " + path;
  return out;
}

// The process's handles. Wine's GetProcessHandleCount reports none; then
// the handle table is walked instead: every handle value the process owns
// answers GetHandleInformation.
DWORD handleCount() {
  DWORD count = 0;
  if (GetProcessHandleCount(GetCurrentProcess(), &count) && count > 0) return count;
  count = 0;
  for (ULONG_PTR value = 4; value < 0x40000; value += 4) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
  }
  return count;
}

class ListHandles : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    // Copies of the sample clips, which the test may delete at the end.
    const std::vector<std::string> samples = sampleListFiles();
    ASSERT_EQ(samples.size(), 3u);
    const char* leaves[] = {"a.mpg", "b.mpg", "c.mpg"};
    for (std::size_t i = 0; i < samples.size(); ++i)
      copies.push_back(temp.write(leaves[i], fileBytes(samples[i])));
    list = temp.path("files.lst");
    writeList(copies);
  }
  void TearDown() override {
    clearSettings();
    CoUninitialize();
  }

  void writeList(const std::vector<std::string>& files) { temp.write("files.lst", listText(files)); }

  IBaseFilter* createFilter() {
    IBaseFilter* filter = nullptr;
    EXPECT_EQ(CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER,
                               IID_IBaseFilter, reinterpret_cast<void**>(&filter)),
              S_OK);
    return filter;
  }
  HRESULT load(IBaseFilter* filter, const std::string& name) {
    IFileSourceFilter* files = nullptr;
    if (!filter ||
        FAILED(filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&files))))
      return E_NOINTERFACE;
    HRESULT hr = files->Load(wide(name).c_str(), nullptr);
    files->Release();
    return hr;
  }
  // The filter's own Run and Stop, as the graph calls them.
  void runAndStop(IBaseFilter* filter, const std::string& what) {
    {
      Watchdog::Step step(dog, "Run " + what, 20000);
      EXPECT_TRUE(SUCCEEDED(filter->Run(0))) << what;
    }
    Watchdog::Step step(dog, "Stop " + what, 20000);
    EXPECT_TRUE(SUCCEEDED(filter->Stop())) << what;
  }
  void release(IBaseFilter* filter, const std::string& what) {
    Watchdog::Step step(dog, "releasing the filter " + what, 20000);
    if (filter) filter->Release();
  }

  Watchdog dog{240000};
  TempFolder temp;
  std::vector<std::string> copies;
  std::string list;
};

}  // namespace

TEST_F(ListHandles, ListGrowingBetweenLoadAndRunLeavesTheHostsHandlesAlone) {
  Sentinels sentinels(temp, 32);
  ASSERT_TRUE(sentinels.opened());
  std::vector<std::string> grown;
  for (int i = 0; i < 4; ++i) grown.insert(grown.end(), copies.begin(), copies.end());
  for (int attempt = 0; attempt < 3; ++attempt) {
    SCOPED_TRACE("attempt " + std::to_string(attempt));
    writeList(copies);
    IBaseFilter* filter = nullptr;
    {
      HandleBait bait(sentinels.handles(), copies.size(), 4000);
      filter = createFilter();
      ASSERT_NE(filter, nullptr);
      ASSERT_EQ(load(filter, list), S_OK);
      writeList(grown);  // three names at Load, twelve at Run
      runAndStop(filter, "after the list grew");
    }
    EXPECT_EQ(sentinels.broken(), "") << "host handles hurt by Run/Stop:";
    release(filter, "after the list grew");
    EXPECT_EQ(sentinels.broken(), "") << "host handles hurt by the release:";
    EXPECT_EQ(heldFiles(copies), "") << "listed files still open after the release:";
    if (HasFailure()) break;  // the sentinels are spent
  }
  for (const std::string& copy : copies) EXPECT_TRUE(DeleteFileA(copy.c_str())) << copy;
}

TEST_F(ListHandles, ListShrinkingBetweenLoadAndRunLeavesNoListedFileOpen) {
  Sentinels sentinels(temp, 8);
  IBaseFilter* filter = createFilter();
  ASSERT_NE(filter, nullptr);
  ASSERT_EQ(load(filter, list), S_OK);
  // What the checks below rely on: the filter's open handles are seen.
  EXPECT_FALSE(heldFiles(copies).empty()) << "Load opens the listed files";
  writeList({copies[0]});  // three names at Load, one at Run
  runAndStop(filter, "after the list shrank");
  EXPECT_EQ(heldFiles(copies), "") << "listed files still open after Stop:";
  release(filter, "after the list shrank");
  EXPECT_EQ(heldFiles(copies), "") << "listed files still open after the release:";
  EXPECT_EQ(sentinels.broken(), "") << "host handles hurt:";
  for (const std::string& copy : copies) EXPECT_TRUE(DeleteFileA(copy.c_str())) << copy;
}

TEST_F(ListHandles, FailedLoadLeavesNoListedFileOpen) {
  Sentinels sentinels(temp, 8);
  // A list that names nothing any more, then a list that is gone.
  const char* cases[] = {"emptied", "removed"};
  for (const char* how : cases) {
    SCOPED_TRACE(how);
    writeList(copies);
    const std::string name = temp.write(std::string(how) + ".lst", listText(copies));
    IBaseFilter* filter = createFilter();
    ASSERT_NE(filter, nullptr);
    ASSERT_EQ(load(filter, name), S_OK);
    if (std::string(how) == "emptied")
      temp.write(std::string(how) + ".lst", "\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n");
    else
      ASSERT_TRUE(DeleteFileA(name.c_str()));
    EXPECT_EQ(load(filter, name), E_FAIL);
    EXPECT_EQ(heldFiles(copies), "") << "listed files still open after the failed Load:";
    release(filter, "after the failed Load");
    EXPECT_EQ(heldFiles(copies), "") << "listed files still open after the release:";
  }
  EXPECT_EQ(sentinels.broken(), "") << "host handles hurt:";
  for (const std::string& copy : copies) EXPECT_TRUE(DeleteFileA(copy.c_str())) << copy;
}

TEST_F(ListHandles, HundredCreateLoadRunStopReleaseCyclesLeaveNoHandleAndTheDllUnloads) {
  std::vector<std::string> grown;
  for (int i = 0; i < 2; ++i) grown.insert(grown.end(), copies.begin(), copies.end());
  const std::string missing = temp.path("missing.lst");
  // Plain; the list shrinks; the list grows; a second Load that fails.
  auto cycle = [&](int kind, const std::string& what) {
    writeList(copies);
    IBaseFilter* filter = createFilter();
    if (!filter) return;
    EXPECT_EQ(load(filter, list), S_OK) << what;
    if (kind == 1) writeList({copies[1]});
    if (kind == 2) writeList(grown);
    if (kind == 3)
      EXPECT_EQ(load(filter, missing), E_FAIL) << what;
    else
      runAndStop(filter, what);
    release(filter, what);
  };
  // The first cycles set up what lives for the whole process (COM, window
  // classes, the runtime's threads).
  for (int kind = 0; kind < 4; ++kind) cycle(kind, "warm-up " + std::to_string(kind));
  Sleep(1000);
  const DWORD before = handleCount();
  ASSERT_GT(before, 0u) << "no handle counted";
  for (int i = 0; i < 100; ++i) cycle(i % 4, "cycle " + std::to_string(i));
  // Threads that end on their own may take a moment to let go.
  DWORD after = handleCount();
  for (ULONGLONG end = GetTickCount64() + 5000; after != before && GetTickCount64() < end;) {
    Sleep(100);
    after = handleCount();
  }
  EXPECT_EQ(after, before) << "process handles before and after 100 cycles";
  EXPECT_EQ(heldFiles(copies), "") << "listed files still open after 100 cycles:";
  HRESULT canUnload = dllCanUnloadNow();
  for (int waited = 0; canUnload != S_OK && waited < 5000; waited += 100) {
    CoFreeUnusedLibraries();
    Sleep(100);
    canUnload = dllCanUnloadNow();
  }
  EXPECT_EQ(canUnload, S_OK) << "DllCanUnloadNow once every filter is released";
  for (const std::string& copy : copies) EXPECT_TRUE(DeleteFileA(copy.c_str())) << copy;
}
