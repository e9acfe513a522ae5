// The filter's side of the Settings page, from the inside: the file whose
// disc the page shows, the pin's held settings, emptying the audio tracks,
// and the read defaults the page applies (with the settings in the real
// registry).
#include "filter/settings_page_access.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "com/com_support.h"
#include "dvdnav/dvd_title_reader.h"
#include "support/in_process_filter.h"
#include "support/output_pin_probe.h"

using namespace com_tests;

namespace {

class SettingsPageAccess : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    f = std::make_unique<InProcessFilter>();
    ASSERT_EQ(f->filter->QueryInterface(IID_ISettingsPageAccess, reinterpret_cast<void**>(&access)),
              S_OK);
  }
  void TearDown() override {
    if (access) access->Release();
    f.reset();
    clearSettings();
    CoUninitialize();
  }

  std::string discFile(HRESULT* result) {
    std::string file = "left over";
    *result = access->GetDiscFile(&file);
    return file;
  }

  std::unique_ptr<InProcessFilter> f;
  ISettingsPageAccess* access = nullptr;
  TempFolder temp;
};

struct HeldLock {
  CRITICAL_SECTION* lock;
  DWORD milliseconds;
  HANDLE taken;
};

DWORD WINAPI holdTheLock(void* context) {
  auto* held = static_cast<HeldLock*>(context);
  EnterCriticalSection(held->lock);
  SetEvent(held->taken);
  Sleep(held->milliseconds);
  LeaveCriticalSection(held->lock);
  return 0;
}

}  // namespace

TEST_F(SettingsPageAccess, FollowsTheRulesOfQueryInterfaceBesideTheFiltersInterfaces) {
  EXPECT_EQ(
      checkQueryInterfaceRules(access, {IID_IUnknown, IID_IBaseFilter, IID_ISettingsPageAccess,
                                        IID_IFileSourceFilter, IID_ISpecifyPropertyPages}),
      "");
}

TEST_F(SettingsPageAccess, DiscFileIsNothingBeforeALoad) {
  HRESULT result = E_FAIL;
  EXPECT_EQ(discFile(&result), "");
  EXPECT_EQ(result, S_FALSE);
  EXPECT_EQ(access->GetDiscFile(nullptr), E_POINTER);
}

TEST_F(SettingsPageAccess, DiscFileIsTheLoadedMediaFile) {
  const std::string vob = samplePath("dvd/VIDEO_TS/VTS_01_1.VOB");
  ASSERT_EQ(f->load(vob), S_OK);
  HRESULT result = E_FAIL;
  EXPECT_EQ(discFile(&result), vob);
  EXPECT_EQ(result, S_OK);
}

// The list's current file, which is the one the configuration reads the
// disc beside.
TEST_F(SettingsPageAccess, DiscFileOfAListIsItsCurrentFile) {
  ASSERT_EQ(f->load(writeClipList(temp, {"clip2", "clip3"})), S_OK);
  HRESULT result = E_FAIL;
  EXPECT_EQ(discFile(&result), samplePath("list/clip2.mpg"));
  f->filter->inputer.fileIndex = 1;
  EXPECT_EQ(discFile(&result), samplePath("list/clip3.mpg"));
}

// Stop empties the filter's list; Run reads it again from the loaded name,
// and so does the page.
TEST_F(SettingsPageAccess, DiscFileAfterStopIsTheFirstFileOfTheListReadAgain) {
  ASSERT_EQ(f->load(writeClipList(temp, {"clip3", "clip1"})), S_OK);
  ASSERT_EQ(f->filter->Stop(), S_OK);
  ASSERT_EQ(f->filter->fileList.count, 0);
  HRESULT result = E_FAIL;
  EXPECT_EQ(discFile(&result), samplePath("list/clip3.mpg"));
  EXPECT_EQ(result, S_OK);
  EXPECT_EQ(f->filter->fileList.count, 0);  // the filter's own list is left as it was
}

// A read may hold the filter lock while its message box waits for a user:
// the page is told the filter is busy instead of waiting with it.
TEST_F(SettingsPageAccess, DiscFileOfABusyFilterIsPendingAfterHalfASecond) {
  ASSERT_EQ(f->load(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")), S_OK);
  HeldLock held{&f->filter->filterLock, 3000, CreateEventA(nullptr, TRUE, FALSE, nullptr)};
  HANDLE holder = CreateThread(nullptr, 0, holdTheLock, &held, 0, nullptr);
  ASSERT_EQ(WaitForSingleObject(held.taken, 5000), WAIT_OBJECT_0);
  const ULONGLONG start = GetTickCount64();
  HRESULT result = S_OK;
  EXPECT_EQ(discFile(&result), "");
  const ULONGLONG waited = GetTickCount64() - start;
  EXPECT_EQ(result, E_PENDING);
  EXPECT_GE(waited, 400u);
  EXPECT_LT(waited, 2000u);
  WaitForSingleObject(holder, 10000);
  CloseHandle(holder);
  CloseHandle(held.taken);
  EXPECT_EQ(discFile(&result), samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"));
  EXPECT_EQ(result, S_OK);
}

TEST_F(SettingsPageAccess, HeldChoiceIsWhatTheControlInterfaceSetNotWhatIsStored) {
  storeSetting("DvdPgc", 5);
  OutputPin& pin = f->pin();
  pin.SetReadMode(1);
  pin.SetTitle(2);
  pin.SetPgc(1);
  pin.SetAudioStream(3);
  pin.AddAudioStream(nullptr, 2, 1);
  SettingsChoice held;
  ASSERT_EQ(access->GetHeldChoice(&held), S_OK);
  EXPECT_EQ(held.readMode, 1);
  EXPECT_EQ(held.titleSet, 2);
  EXPECT_EQ(held.pgc, 1);
  EXPECT_EQ(held.audioNumber, 3);
  EXPECT_EQ(held.keptAudio, 1);
  EXPECT_EQ(held.keptAudioType, 2);
  EXPECT_EQ(held.audioTracks, 1);
  EXPECT_EQ(held.playbackOrder, 0);
  EXPECT_EQ(held.standardReads, 0);

  // Two tracks are the host's demultiplexing outputs: no one kept stream.
  pin.AddAudioStream("a.ac3", 0, 0);
  ASSERT_EQ(access->GetHeldChoice(&held), S_OK);
  EXPECT_EQ(held.keptAudio, SettingsChoice::kAllAudio);
  EXPECT_EQ(held.audioTracks, 2);
  EXPECT_EQ(access->GetHeldChoice(nullptr), E_POINTER);
}

TEST_F(SettingsPageAccess, ClearAudioTracksLeavesEveryOtherSettingAlone) {
  OutputPin& pin = f->pin();
  pin.SetReadMode(1);
  pin.SetTitle(2);
  pin.SetAudioFile("d:/out.ac3");
  pin.AddAudioStream("a.ac3", 0, 0);
  pin.AddAudioStream("b.mp2", 2, 1);
  pin.AddSubtitleStream("s.sup", 0);
  const SourceSettings before = OutputPinProbe::settings(pin);
  ASSERT_EQ(access->ClearAudioTracks(), S_OK);
  EXPECT_EQ(OutputPinProbe::audioTrackCount(pin), 0u);
  EXPECT_EQ(OutputPinProbe::subtitleTrackCount(pin), 1u);
  EXPECT_EQ(std::memcmp(&before, &OutputPinProbe::settings(pin), sizeof before), 0);
}

// Without the page's defaults both options stay off, as before; with them
// on, a stored value still wins.
TEST_F(SettingsPageAccess, ReadDefaultsTurnOnPlaybackOrderAndStandardReadsUnlessStoredOtherwise) {
  storeSetting("DvdReadMode", 2);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  ASSERT_EQ(f->load(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")), S_OK);
  ASSERT_EQ(f->configure(), S_OK);
  EXPECT_FALSE(OutputPinProbe::standardReads(f->pin()));
  EXPECT_FALSE(OutputPinProbe::titleReader(f->pin())->playbackOrder);

  ASSERT_EQ(access->SetReadDefaults(1, 1), S_OK);
  SettingsChoice held;
  access->GetHeldChoice(&held);
  EXPECT_EQ(held.playbackOrder, 1);
  EXPECT_EQ(held.standardReads, 1);
  ASSERT_EQ(f->configure(), S_OK);
  EXPECT_TRUE(OutputPinProbe::standardReads(f->pin()));
  EXPECT_TRUE(OutputPinProbe::titleReader(f->pin())->playbackOrder);

  storeSetting("StandardReads", 0);
  storeSetting("DvdPlaybackOrder", 0);
  ASSERT_EQ(f->configure(), S_OK);
  EXPECT_FALSE(OutputPinProbe::standardReads(f->pin()));
  EXPECT_FALSE(OutputPinProbe::titleReader(f->pin())->playbackOrder);
}
