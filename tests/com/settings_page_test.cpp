// The Settings page as a graph editor shows it, on a virtual display: the
// DLL's page object, created through COM from the filter's GetPages, in a
// property frame of the tests (which presses Apply as the platform's frame
// does) and in the platform's own OleCreatePropertyFrame, for the filter
// with the sample disc (folder or image) loaded.
//
// What the page lists is compared with `fennoria info --json` of the same
// disc, and what the graph delivers after Apply with `fennoria dvd` for the
// same choice: both written at build time by the tool built for this
// machine. Every step is bounded by the watchdog, so a hang (or a message
// box waiting for a user) fails the case.
#include <windows.h>
#include <commctrl.h>
#include <dshow.h>
#include <ocidl.h>
#include <olectl.h>
#include <prsht.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cli/json.h"
#include "com/com_support.h"
#include "com/property_frame.h"
#include "com/pull_sink.h"
#include "com/watchdog.h"
#include "fennoria/source_control.h"
#include "support/file_bytes.h"
#include "ui/dialog_ids.h"
#include "ui/screen.h"

using namespace com_tests;
using cli_test::Json;
using testing_support::controlText;
using testing_support::fileBytes;
using testing_support::pumpMessagesFor;
using testing_support::saveScreenshot;

namespace {

std::string windowsPath(std::string path) {
  for (char& c : path)
    if (c == '/') c = '\\';
  return path;
}

std::string factsPath(const std::string& leaf) {
  return windowsPath(std::string(FENNORIA_PAGE_FACTS) + "/" + leaf);
}

std::string imagePath() { return windowsPath(std::string(FENNORIA_SAMPLE_IMAGES) + "/udf.iso"); }

std::string sampleVob() { return samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"); }

// The sample disc copied to a folder of the Windows drive, so that what the
// page shows (and its screenshots) names no folder of the machine that runs
// the tests.
class SampleDiscCopy {
 public:
  SampleDiscCopy() {
    CreateDirectoryA(kRoot, nullptr);
    CreateDirectoryA(folder().c_str(), nullptr);
    WIN32_FIND_DATAA found;
    const std::string from = samplePath("dvd/VIDEO_TS");
    HANDLE search = FindFirstFileA((from + "\\*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
      if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
      CopyFileA((from + "\\" + found.cFileName).c_str(),
                (folder() + "\\" + found.cFileName).c_str(), FALSE);
      names_.push_back(found.cFileName);
    } while (FindNextFileA(search, &found));
    FindClose(search);
  }
  ~SampleDiscCopy() {
    for (const std::string& name : names_) DeleteFileA((folder() + "\\" + name).c_str());
    RemoveDirectoryA(folder().c_str());
    RemoveDirectoryA(kRoot);
  }
  SampleDiscCopy(const SampleDiscCopy&) = delete;
  SampleDiscCopy& operator=(const SampleDiscCopy&) = delete;

  static std::string folder() { return std::string(kRoot) + "\\VIDEO_TS"; }
  static std::string vob() { return folder() + "\\VTS_01_1.VOB"; }

 private:
  static constexpr const char* kRoot = "C:\\Sample DVD";
  std::vector<std::string> names_;
};

Json toolInfo(const std::string& leaf) { return cli_test::parseJson(fileBytes(factsPath(leaf))); }

// The read mode list's items: list, DVD, DVD with demultiplexing.
constexpr int kListMode = 0, kDvdMode = 1, kDemuxMode = 2;

bool isListBox(HWND control) {
  char name[32] = "";
  GetClassNameA(control, name, sizeof name);
  return lstrcmpiA(name, "ListBox") == 0;
}

// The items of a list or combo box of the page.
std::vector<std::string> items(HWND page, int id) {
  HWND control = GetDlgItem(page, id);
  const bool list = isListBox(control);
  const LRESULT count = SendMessageA(control, list ? LB_GETCOUNT : CB_GETCOUNT, 0, 0);
  std::vector<std::string> texts;
  for (LRESULT i = 0; i < count; ++i) {
    const LRESULT length =
        SendMessageA(control, list ? LB_GETTEXTLEN : CB_GETLBTEXTLEN, static_cast<WPARAM>(i), 0);
    std::string text(static_cast<std::size_t>(length < 0 ? 0 : length) + 1, '\0');
    SendMessageA(control, list ? LB_GETTEXT : CB_GETLBTEXT, static_cast<WPARAM>(i),
                 reinterpret_cast<LPARAM>(&text[0]));
    text.resize(std::strlen(text.c_str()));
    texts.push_back(text);
  }
  return texts;
}

LRESULT selection(HWND page, int id) {
  HWND control = GetDlgItem(page, id);
  return SendMessageA(control, isListBox(control) ? LB_GETCURSEL : CB_GETCURSEL, 0, 0);
}

// Picks item `index` as a user does: the selection moves, and the page is
// told so by the notification the control sends.
void choose(HWND page, int id, int index) {
  HWND control = GetDlgItem(page, id);
  const bool list = isListBox(control);
  SendMessageA(control, list ? LB_SETCURSEL : CB_SETCURSEL, static_cast<WPARAM>(index), 0);
  SendMessageA(page, WM_COMMAND, MAKEWPARAM(id, list ? LBN_SELCHANGE : CBN_SELCHANGE),
               reinterpret_cast<LPARAM>(control));
}

void click(HWND page, int id) { SendDlgItemMessageA(page, id, BM_CLICK, 0, 0); }

bool enabled(HWND page, int id) { return IsWindowEnabled(GetDlgItem(page, id)) != FALSE; }

std::string statusLine(HWND page) { return controlText(page, IDC_SETTINGS_STATUS); }

// The texts the page shows for what the tool lists, in the page's words.
std::string counted(long long n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string clockText(long long frames, long long rate) {
  const long long ms = std::llround(
      rate > 0 ? 1000.0 * static_cast<double>(frames) / static_cast<double>(rate) : 0.0);
  char text[32];
  std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", ms / 3600000, ms / 60000 % 60,
                ms / 1000 % 60, ms % 1000);
  return text;
}

std::string codingText(const std::string& tool) {
  if (tool == "ac3") return "AC-3";
  if (tool == "mpeg1") return "MPEG-1";
  if (tool == "mpeg2ext") return "MPEG-2 ext.";
  if (tool == "lpcm") return "LPCM";
  if (tool == "dts") return "DTS";
  return "unknown";
}

std::vector<std::string> expectedTitleSets(const Json& info) {
  std::vector<std::string> texts;
  const Json& sets = info["title_sets"];
  for (std::size_t s = 0; s < sets.size(); ++s)
    texts.push_back(
        std::to_string(s + 1) + ": " +
        counted(static_cast<long long>(sets[s]["pgcs"].size()), "program chain", "program chains"));
  return texts;
}

std::vector<std::string> expectedChains(const Json& set) {
  std::vector<std::string> texts;
  const Json& pgcs = set["pgcs"];
  for (std::size_t p = 0; p < pgcs.size(); ++p)
    texts.push_back(
        std::to_string(pgcs[p]["pgc"].integer()) + "\t" +
        clockText(pgcs[p]["frames"].integer(), pgcs[p]["frame_rate"].integer()) + "\t" +
        counted(static_cast<long long>(pgcs[p]["chapter_list"].size()), "chapter", "chapters"));
  return texts;
}

std::vector<std::string> expectedAudio(const Json& set) {
  std::vector<std::string> texts{"All audio streams"};
  const Json& audio = set["audio"];
  for (std::size_t a = 0; a < audio.size(); ++a) {
    const std::string language = audio[a]["language"].str;
    texts.push_back(std::to_string(audio[a]["stream"].integer()) + ": " +
                    codingText(audio[a]["coding"].str) + ", " +
                    std::to_string(audio[a]["channels"].integer()) + " ch" +
                    (language.empty() ? std::string() : ", " + language));
  }
  return texts;
}

// Top-level dialog windows of this process: a message box would be one.
int topLevelDialogs() {
  struct Count {
    DWORD process;
    int dialogs;
  } count{GetCurrentProcessId(), 0};
  EnumWindows(
      [](HWND window, LPARAM context) -> BOOL {
        auto* c = reinterpret_cast<Count*>(context);
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        char name[16] = "";
        GetClassNameA(window, name, sizeof name);
        if (process == c->process && IsWindowVisible(window) && lstrcmpA(name, "#32770") == 0)
          ++c->dialogs;
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&count));
  return count.dialogs;
}

// What a pulling sink got from the filter, connected directly to it in a
// graph of the platform's filter graph manager and run to the end.
struct Pulled {
  HRESULT connect = E_FAIL;
  bool finished = false;
  std::string data;
};

Pulled pullThroughAGraph(IBaseFilter* source) {
  Pulled out;
  IGraphBuilder* graph = nullptr;
  if (FAILED(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                              reinterpret_cast<void**>(&graph))))
    return out;
  graph->AddFilter(source, L"Ormelund Fennoria");
  auto* sink = new PullSink(PullSink::Mode::Aligned, 65536);
  sink->probeTheEnd = false;
  sink->NonDelegatingAddRef();
  graph->AddFilter(sink, L"Sink");
  IPin* output = nullptr;
  source->FindPin(L"Output", &output);
  out.connect = output ? graph->ConnectDirect(output, &sink->pin, nullptr) : E_FAIL;
  IMediaControl* media = nullptr;
  graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&media));
  if (out.connect == S_OK) {
    media->Run();
    out.finished = sink->waitDone(60000);
    media->Stop();
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
  return out;
}

// Runs `command` and returns what it wrote on its standard output.
std::string runCaptured(const std::string& command, const TempFolder& temp) {
  const std::string outName = temp.path("captured.txt");
  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  HANDLE out = CreateFileA(outName.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
  if (out == INVALID_HANDLE_VALUE) return {};
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = out;
  startup.hStdError = out;
  PROCESS_INFORMATION process{};
  std::string line = command;
  if (CreateProcessA(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &process)) {
    WaitForSingleObject(process.hProcess, 60000);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  CloseHandle(out);
  return fileBytes(outName);
}

// The DWORD `name` as `reg query` prints it ("0x2"), or "" when absent.
std::string regDword(const std::string& query, const std::string& name) {
  const std::string key = "    " + name + "    REG_DWORD    ";
  std::size_t at = query.find(key);
  if (at == std::string::npos) return {};
  at += key.size();
  return query.substr(at, query.find_first_of("\r\n", at) - at);
}

class SettingsPage : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    storeSetting("SettingsPage", 1);
    // The progress window is a dialog too; the message box checks count them.
    storeSetting("ShowProgress", 0);
    filter = createFilter();
    ASSERT_NE(filter, nullptr);
  }
  void TearDown() override {
    frame.reset();
    if (filter) {
      EXPECT_EQ(filter->Release(), 0u);
    }
    EXPECT_EQ(dllCanUnloadNow(), S_OK);
    clearSettings();
    CoUninitialize();
  }

  static IBaseFilter* createFilter() {
    IBaseFilter* made = nullptr;
    CoCreateInstance(CLSID_FennoriaSource, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                     reinterpret_cast<void**>(&made));
    return made;
  }

  static HRESULT load(IBaseFilter* target, const std::string& name) {
    IFileSourceFilter* source = nullptr;
    target->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&source));
    HRESULT hr = source->Load(wide(name).c_str(), nullptr);
    source->Release();
    return hr;
  }

  // Opens the filter's property frame and turns to its Settings page.
  HWND openSettings() {
    Watchdog::Step step(dog, "opening the property frame on the Settings page", 30000);
    frame = std::make_unique<PropertyFrame>(filter);
    EXPECT_TRUE(frame->ready());
    if (frame->pageCount() != 2) {
      ADD_FAILURE() << "the filter names " << frame->pageCount() << " pages";
      return nullptr;
    }
    EXPECT_EQ(frame->pageTitle(0), L"About");
    EXPECT_EQ(frame->pageTitle(1), L"Settings");
    EXPECT_EQ(frame->show(1), S_OK);
    pumpMessagesFor(300);
    return frame->pageWindow();
  }

  // The page's lists against the tool's, title set by title set.
  void expectTheToolsLists(HWND page, const Json& info) {
    const Json& sets = info["title_sets"];
    EXPECT_EQ(items(page, IDC_TITLE_SET), expectedTitleSets(info));
    const std::string line = statusLine(page);
    const std::string tail =
        ": " + counted(static_cast<long long>(sets.size()), "title set", "title sets");
    EXPECT_TRUE(line.size() > tail.size() &&
                line.compare(line.size() - tail.size(), tail.size(), tail) == 0)
        << line;
    choose(page, IDC_READ_MODE, kDemuxMode);
    for (std::size_t s = 0; s < sets.size(); ++s) {
      SCOPED_TRACE("title set " + std::to_string(s + 1));
      choose(page, IDC_TITLE_SET, static_cast<int>(s));
      EXPECT_EQ(items(page, IDC_PROGRAM_CHAIN), expectedChains(sets[s]));
      EXPECT_EQ(items(page, IDC_AUDIO), expectedAudio(sets[s]));
      EXPECT_EQ(selection(page, IDC_PROGRAM_CHAIN),
                0);  // a new title set starts at its first chain
      EXPECT_EQ(selection(page, IDC_AUDIO), 0);
    }
  }

  // Chooses DVD with demultiplexing, title set `set`, chain `chain` and
  // audio item `audio` (0: every stream), then presses Apply.
  void chooseAndApply(HWND page, int set, int chain, int audio) {
    choose(page, IDC_READ_MODE, kDemuxMode);
    choose(page, IDC_TITLE_SET, set);
    choose(page, IDC_PROGRAM_CHAIN, chain);
    choose(page, IDC_AUDIO, audio);
    EXPECT_GT(frame->dirtyNotices(), 0);
    EXPECT_TRUE(IsWindowEnabled(GetDlgItem(frame->window(), PropertyFrame::kApplyId)));
    frame->pressApply();
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(frame->window(), PropertyFrame::kApplyId)));
    EXPECT_EQ(statusLine(page).rfind("Applied", 0), 0u) << statusLine(page);
  }

  Watchdog dog{240000};
  IBaseFilter* filter = nullptr;
  std::unique_ptr<PropertyFrame> frame;
  TempFolder temp;
};

}  // namespace

TEST_F(SettingsPage, ListsTheSampleDiscAsTheToolsInfoDoes) {
  SampleDiscCopy disc;
  ASSERT_EQ(load(filter, disc.vob()), S_OK);
  HWND page = openSettings();
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(statusLine(page), disc.folder() + ": 2 title sets");
  expectTheToolsLists(page, toolInfo("folder.json"));
  // The page as the documentation shows it: title set 1, its second chain,
  // the AC-3 stream kept.
  choose(page, IDC_TITLE_SET, 0);
  choose(page, IDC_PROGRAM_CHAIN, 1);
  choose(page, IDC_AUDIO, 1);
  EXPECT_TRUE(enabled(page, IDC_TITLE_SET));
  EXPECT_TRUE(enabled(page, IDC_PROGRAM_CHAIN));
  EXPECT_TRUE(enabled(page, IDC_AUDIO));
  EXPECT_TRUE(saveScreenshot("settings-page", frame->window()));
  EXPECT_EQ(topLevelDialogs(), 0);
}

TEST_F(SettingsPage, ListsTheDiscImageAsTheToolsInfoDoes) {
  ASSERT_EQ(load(filter, imagePath()), S_OK);
  HWND page = openSettings();
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(statusLine(page).rfind(imagePath(), 0), 0u) << statusLine(page);
  expectTheToolsLists(page, toolInfo("image.json"));
}

TEST_F(SettingsPage, ApplyingAChainAndAnAudioStreamDeliversTheToolsBytes) {
  ASSERT_EQ(load(filter, sampleVob()), S_OK);
  HWND page = openSettings();
  ASSERT_NE(page, nullptr);
  chooseAndApply(page, 0, 1, 1);  // title set 1, chain 2, audio 0 (AC-3)
  frame.reset();
  Pulled pulled;
  {
    Watchdog::Step step(dog, "playing the applied choice", 90000);
    pulled = pullThroughAGraph(filter);
  }
  ASSERT_EQ(pulled.connect, S_OK);
  ASSERT_TRUE(pulled.finished);
  const std::string expected = fileBytes(factsPath("vts1-pgc2-ac3-0.vob"));
  ASSERT_GT(expected.size(), 0u);
  EXPECT_EQ(pulled.data.size(), expected.size());
  EXPECT_TRUE(pulled.data == expected);
}

TEST_F(SettingsPage, ApplyingAChainAndAnAudioStreamOfTheImageDeliversTheToolsBytes) {
  ASSERT_EQ(load(filter, imagePath()), S_OK);
  HWND page = openSettings();
  ASSERT_NE(page, nullptr);
  chooseAndApply(page, 1, 0, 2);  // title set 2, chain 1, audio 1 (MPEG)
  frame.reset();
  Pulled pulled;
  {
    Watchdog::Step step(dog, "playing the applied choice", 90000);
    pulled = pullThroughAGraph(filter);
  }
  ASSERT_EQ(pulled.connect, S_OK);
  ASSERT_TRUE(pulled.finished);
  const std::string expected = fileBytes(factsPath("vts2-pgc1-mpeg-1.vob"));
  ASSERT_GT(expected.size(), 0u);
  EXPECT_EQ(pulled.data.size(), expected.size());
  EXPECT_TRUE(pulled.data == expected);
}

TEST_F(SettingsPage, SaveAsDefaultWritesTheValuesANewFilterConnectsWith) {
  ASSERT_EQ(load(filter, sampleVob()), S_OK);
  HWND page = openSettings();
  ASSERT_NE(page, nullptr);
  choose(page, IDC_READ_MODE, kDvdMode);
  choose(page, IDC_TITLE_SET, 1);
  click(page, IDC_PLAYBACK_ORDER);
  click(page, IDC_SAVE_DEFAULT);
  EXPECT_EQ(statusLine(page).rfind("Saved", 0), 0u) << statusLine(page);

  // Wine's own registry tool reads them back.
  const std::string query =
      runCaptured("reg.exe query HKCU\\SOFTWARE\\Ormelund\\Trivane\\Fennoria", temp);
  EXPECT_EQ(regDword(query, "DvdReadMode"), "0x2") << query;
  EXPECT_EQ(regDword(query, "DvdTitle"), "0x2") << query;
  EXPECT_EQ(regDword(query, "DvdPgc"), "0x0") << query;
  EXPECT_EQ(regDword(query, "DvdAudio"), "0x0") << query;
  EXPECT_EQ(regDword(query, "DvdPlaybackOrder"), "0x1") << query;
  EXPECT_EQ(regDword(query, "StandardReads"), "0x0") << query;

  // Nothing was applied to this filter; a new one connects with the values.
  frame.reset();
  IBaseFilter* fresh = createFilter();
  ASSERT_NE(fresh, nullptr);
  ASSERT_EQ(load(fresh, sampleVob()), S_OK);
  Pulled pulled;
  {
    Watchdog::Step step(dog, "playing the stored choice", 90000);
    pulled = pullThroughAGraph(fresh);
  }
  EXPECT_EQ(fresh->Release(), 0u);
  ASSERT_EQ(pulled.connect, S_OK);
  ASSERT_TRUE(pulled.finished);
  const std::string expected = fileBytes(factsPath("vts2-pgc1-playback-order.vob"));
  ASSERT_GT(expected.size(), 0u);
  EXPECT_EQ(pulled.data.size(), expected.size());
  EXPECT_TRUE(pulled.data == expected);
}

TEST_F(SettingsPage, BeforeAFileIsLoadedItSaysSoInOneLine) {
  HWND page = openSettings();
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(statusLine(page),
            "No file loaded yet: give the filter a list, a VOB file or a disc image.");
  choose(page, IDC_READ_MODE, kDemuxMode);
  EXPECT_TRUE(items(page, IDC_TITLE_SET).empty());
  EXPECT_TRUE(items(page, IDC_PROGRAM_CHAIN).empty());
  EXPECT_EQ(items(page, IDC_AUDIO), std::vector<std::string>{"All audio streams"});
  EXPECT_FALSE(enabled(page, IDC_TITLE_SET));
  EXPECT_FALSE(enabled(page, IDC_PROGRAM_CHAIN));
  EXPECT_FALSE(enabled(page, IDC_AUDIO));
  EXPECT_TRUE(enabled(page, IDC_PLAYBACK_ORDER));
  EXPECT_EQ(topLevelDialogs(), 0);
}

TEST_F(SettingsPage, UnreadableDiscsAreOneLineWithoutAMessageBox) {
  const std::string ifo = fileBytes(samplePath("dvd/VIDEO_TS/VIDEO_TS.IFO"));
  ASSERT_GT(ifo.size(), 100u);
  const std::string image = fileBytes(imagePath());
  ASSERT_GT(image.size(), 65536u);
  struct Case {
    const char* what;
    std::string load;   // the file given to the filter
    std::string where;  // what the line starts with
  };
  // The folders hold a title VOB, which is what the filter is given (a
  // small file would be taken for a list).
  const std::string vob = fileBytes(sampleVob());
  TempFolder garbage, cut;
  garbage.write("VIDEO_TS.IFO", std::string(4096, '\x5a'));
  cut.write("VIDEO_TS.IFO", ifo.substr(0, 100));
  const std::vector<Case> cases = {
      {"a VIDEO_TS.IFO of noise", garbage.write("VTS_01_1.VOB", vob), garbage.path("")},
      {"a VIDEO_TS.IFO cut after 100 bytes", cut.write("VTS_01_1.VOB", vob), cut.path("")},
      {"an image cut after 64 KiB", temp.write("cut.iso", image.substr(0, 65536)),
       temp.path("cut.iso")},
      {"a list of clips", writeClipList(temp), samplePath("list")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    {
      Watchdog::Step step(dog, std::string("loading ") + c.what, 20000);
      ASSERT_EQ(load(filter, c.load), S_OK);
    }
    HWND page = openSettings();
    ASSERT_NE(page, nullptr);
    const std::string line = statusLine(page);
    // The location without the separator the temporary folder's path ends in.
    std::string where = c.where;
    if (!where.empty() && where.back() == '\\') where.pop_back();
    EXPECT_EQ(line.rfind(where + ": ", 0), 0u) << line;
    EXPECT_GT(line.size(), where.size() + 2);
    EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    choose(page, IDC_READ_MODE, kDvdMode);
    EXPECT_TRUE(items(page, IDC_TITLE_SET).empty());
    EXPECT_TRUE(items(page, IDC_PROGRAM_CHAIN).empty());
    EXPECT_FALSE(enabled(page, IDC_TITLE_SET));
    EXPECT_FALSE(enabled(page, IDC_PROGRAM_CHAIN));
    EXPECT_EQ(topLevelDialogs(), 0);
    if (c.load.size() > 4 && c.load.compare(c.load.size() - 4, 4, ".iso") == 0) {
      EXPECT_TRUE(saveScreenshot("settings-page-unreadable", frame->window()));
    }
    std::printf("%s: %s\n", c.what, line.c_str());
    frame.reset();
  }
}

namespace {

// What a second thread saw of the platform's property frame while the
// test's thread was inside OleCreatePropertyFrame.
struct FrameWatch {
  HWND sheet = nullptr;
  std::vector<std::string> tabs;
  std::string status;
  std::vector<std::string> titleSets;
  std::vector<std::string> chains;
  bool screenshot = false;
};

HWND findSheet() {
  HWND found = nullptr;
  EnumWindows(
      [](HWND window, LPARAM context) -> BOOL {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        char name[16] = "";
        GetClassNameA(window, name, sizeof name);
        if (process != GetCurrentProcessId() || lstrcmpA(name, "#32770") != 0) return TRUE;
        *reinterpret_cast<HWND*>(context) = window;
        return FALSE;
      },
      reinterpret_cast<LPARAM>(&found));
  return found;
}

// The Settings page inside the sheet: the parent of its status line.
HWND findSettingsPage(HWND sheet) {
  HWND found = nullptr;
  EnumChildWindows(
      sheet,
      [](HWND window, LPARAM context) -> BOOL {
        if (GetDlgCtrlID(window) != IDC_SETTINGS_STATUS) return TRUE;
        *reinterpret_cast<HWND*>(context) = GetParent(window);
        return FALSE;
      },
      reinterpret_cast<LPARAM>(&found));
  return found;
}

DWORD WINAPI watchTheFrame(void* context) {
  auto* watch = static_cast<FrameWatch*>(context);
  for (int waited = 0; !watch->sheet && waited < 20000; waited += 100) {
    Sleep(100);
    watch->sheet = findSheet();
  }
  if (!watch->sheet) return 1;
  HWND tabs = reinterpret_cast<HWND>(SendMessageA(watch->sheet, PSM_GETTABCONTROL, 0, 0));
  const LRESULT count = SendMessageA(tabs, TCM_GETITEMCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    char text[64] = "";
    TCITEMA item{};
    item.mask = TCIF_TEXT;
    item.pszText = text;
    item.cchTextMax = sizeof text;
    SendMessageA(tabs, TCM_GETITEMA, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
    watch->tabs.push_back(text);
  }
  SendMessageA(watch->sheet, PSM_SETCURSEL, 1, 0);
  Sleep(500);
  HWND page = findSettingsPage(watch->sheet);
  if (page) {
    watch->status = statusLine(page);
    choose(page, IDC_READ_MODE, kDemuxMode);
    choose(page, IDC_PROGRAM_CHAIN, 1);
    choose(page, IDC_AUDIO, 1);
    watch->titleSets = items(page, IDC_TITLE_SET);
    watch->chains = items(page, IDC_PROGRAM_CHAIN);
    watch->screenshot = saveScreenshot("settings-page-frame", watch->sheet);
  }
  PostMessageA(watch->sheet, PSM_PRESSBUTTON, PSBTN_CANCEL, 0);
  return 0;
}

}  // namespace

TEST_F(SettingsPage, ShownInThePlatformsPropertyFrameBesideAbout) {
  SampleDiscCopy disc;
  ASSERT_EQ(load(filter, disc.vob()), S_OK);
  ISpecifyPropertyPages* specify = nullptr;
  ASSERT_EQ(filter->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&specify)),
            S_OK);
  CAUUID pages{};
  ASSERT_EQ(specify->GetPages(&pages), S_OK);
  specify->Release();
  ASSERT_EQ(pages.cElems, 2u);

  FrameWatch watch;
  HANDLE watcher = CreateThread(nullptr, 0, watchTheFrame, &watch, 0, nullptr);
  ASSERT_NE(watcher, nullptr);
  {
    Watchdog::Step step(dog, "OleCreatePropertyFrame until the watcher cancels it", 90000);
    IUnknown* object = filter;
    EXPECT_EQ(OleCreatePropertyFrame(nullptr, 0, 0, L"Ormelund Fennoria", 1, &object, pages.cElems,
                                     pages.pElems, 0, 0, nullptr),
              S_OK);
    WaitForSingleObject(watcher, 30000);
  }
  CloseHandle(watcher);
  CoTaskMemFree(pages.pElems);

  ASSERT_NE(watch.sheet, nullptr) << "no property frame appeared";
  EXPECT_EQ(watch.tabs, (std::vector<std::string>{"About", "Settings"}));
  EXPECT_EQ(watch.status, disc.folder() + ": 2 title sets");
  EXPECT_EQ(watch.titleSets, expectedTitleSets(toolInfo("folder.json")));
  EXPECT_EQ(watch.chains, expectedChains(toolInfo("folder.json")["title_sets"][0]));
  EXPECT_TRUE(watch.screenshot);
}
