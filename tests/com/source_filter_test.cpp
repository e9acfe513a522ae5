// The filter object and its pin from the inside: the pin's visibility, the
// file source interface, the media type, the configuration for each read
// mode on the sample disc (with the settings in the real registry) and the
// read path.
#include "filter/source_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "com/com_support.h"
#include "support/test_sample.h"
#include "dvdnav/dvd_title_reader.h"
#include "filter/source_guids.h"
#include "support/file_bytes.h"
#include "support/output_pin_probe.h"

using namespace com_tests;
using testing_support::fileBytes;

namespace {

class SourceFilterTest : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    HRESULT hr = E_FAIL;
    unknown = SourceFilter::CreateInstance(nullptr, &hr);
    ASSERT_EQ(hr, S_OK);
    filter = static_cast<SourceFilter*>(
        reinterpret_cast<dshow::INonDelegatingUnknown*>(unknown));
  }
  void TearDown() override {
    if (unknown) unknown->Release();
    clearSettings();
    CoUninitialize();
  }

  // Loads the sample disc's first title VOB as a single media file: the
  // folder of the current file is then the VIDEO_TS folder.
  void loadSampleDisc() {
    ASSERT_EQ(filter->Load(wide(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")).c_str(), nullptr), S_OK);
  }
  HRESULT checkStreamType(const GUID& subtype) {
    AM_MEDIA_TYPE type{};
    type.majortype = kMediaTypeStream;
    type.subtype = subtype;
    return filter->pin.CheckMediaType(&type);
  }

  IUnknown* unknown = nullptr;
  SourceFilter* filter = nullptr;
  TempFolder temp;
};

}  // namespace

TEST_F(SourceFilterTest, PinHiddenUntilAListIsLoaded) {
  EXPECT_EQ(filter->GetPinCount(), 0);
  EXPECT_EQ(filter->GetPin(0), nullptr);
  IPin* pin = nullptr;
  EXPECT_EQ(filter->FindPin(L"Output", &pin), VFW_E_NOT_FOUND);
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  EXPECT_EQ(filter->GetPinCount(), 1);
  EXPECT_EQ(filter->GetPin(0), &filter->pin);
  EXPECT_EQ(filter->GetPin(1), nullptr);
}

TEST_F(SourceFilterTest, CurFileIsEmptyBeforeAnyLoad) {
  LPOLESTR name = nullptr;
  ASSERT_EQ(filter->GetCurFile(&name, nullptr), S_OK);
  EXPECT_STREQ(name, L"");
  CoTaskMemFree(name);
  EXPECT_EQ(filter->GetCurFile(nullptr, nullptr), E_POINTER);
}

TEST_F(SourceFilterTest, CurFileIsTheLoadedName) {
  std::wstring list = wide(samplePath("list/clip2.mpg"));
  ASSERT_EQ(filter->Load(list.c_str(), nullptr), S_OK);
  LPOLESTR name = nullptr;
  ASSERT_EQ(filter->GetCurFile(&name, nullptr), S_OK);
  EXPECT_EQ(std::wstring(name), list);
  CoTaskMemFree(name);
}

TEST_F(SourceFilterTest, LoadRefusesNamesOfMoreThan1023Characters) {
  std::wstring name(1024, L'a');
  EXPECT_EQ(filter->Load(name.c_str(), nullptr), E_FAIL);
  EXPECT_STREQ(filter->sourceName, "");
  EXPECT_EQ(filter->GetPinCount(), 0);
}

TEST_F(SourceFilterTest, LoadOfAnEmptyListFailsAndKeepsThePinHidden) {
  std::string list = temp.write("empty.lst", "\r\n\r\n\r\n");
  EXPECT_EQ(filter->Load(wide(list).c_str(), nullptr), E_FAIL);
  EXPECT_EQ(filter->GetPinCount(), 0);
}

TEST_F(SourceFilterTest, GetPagesNamesTheAboutPage) {
  CAUUID pages{};
  ASSERT_EQ(filter->GetPages(&pages), S_OK);
  ASSERT_EQ(pages.cElems, 1u);
  EXPECT_TRUE(IsEqualGUID(pages.pElems[0], CLSID_FennoriaAboutPage));
  CoTaskMemFree(pages.pElems);
}

// The Settings page is opt-in: only the DWORD setting "SettingsPage" of 1
// adds it, after the About page.
TEST_F(SourceFilterTest, GetPagesAddsTheSettingsPageOnlyWhenSettingsPageIsOne) {
  for (DWORD value : {0u, 2u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(value);
    storeSetting("SettingsPage", value);
    CAUUID pages{};
    ASSERT_EQ(filter->GetPages(&pages), S_OK);
    ASSERT_EQ(pages.cElems, 1u);
    EXPECT_TRUE(IsEqualGUID(pages.pElems[0], CLSID_FennoriaAboutPage));
    CoTaskMemFree(pages.pElems);
  }
  storeSetting("SettingsPage", 1);
  CAUUID pages{};
  ASSERT_EQ(filter->GetPages(&pages), S_OK);
  ASSERT_EQ(pages.cElems, 2u);
  EXPECT_TRUE(IsEqualGUID(pages.pElems[0], CLSID_FennoriaAboutPage));
  EXPECT_TRUE(IsEqualGUID(pages.pElems[1], CLSID_FennoriaSettingsPage));
  CoTaskMemFree(pages.pElems);
  EXPECT_EQ(filter->GetPages(nullptr), E_POINTER);
}

TEST_F(SourceFilterTest, NewPinStartsWithTheDefaultSettings) {
  const SourceSettings& s = OutputPinProbe::settings(filter->pin);
  EXPECT_EQ(s.readMode, 0);
  EXPECT_EQ(s.title, 1);
  EXPECT_EQ(s.titleSelector, 1);
  EXPECT_EQ(s.pgc, 0);
  EXPECT_EQ(s.audioNumber, 0);
  EXPECT_STREQ(s.audioFile, "c:/_audio.ac3");
}

TEST_F(SourceFilterTest, GetMediaTypeOffersOnlyTheProgramStream) {
  AM_MEDIA_TYPE type{};
  ASSERT_EQ(filter->pin.GetMediaType(0, &type), S_OK);
  EXPECT_TRUE(IsEqualGUID(type.majortype, kMediaTypeStream));
  EXPECT_TRUE(IsEqualGUID(type.subtype, kMediaSubtypeMpeg2Program));
  EXPECT_EQ(type.cbFormat, 0u);
  EXPECT_EQ(filter->pin.GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(filter->pin.GetMediaType(-1, &type), E_INVALIDARG);
  EXPECT_EQ(filter->pin.GetMediaType(0, nullptr), E_POINTER);
}

TEST_F(SourceFilterTest, CheckMediaTypeRefusesOtherSubtypesWithoutReadingTheSettings) {
  loadSampleDisc();
  storeSetting("DvdReadMode", 1);
  EXPECT_EQ(checkStreamType(MEDIASUBTYPE_MPEG1System), S_FALSE);
  EXPECT_EQ(OutputPinProbe::settings(filter->pin).readMode, 0);
  EXPECT_EQ(OutputPinProbe::titleReader(filter->pin), nullptr);
}

TEST_F(SourceFilterTest, CheckMediaTypeWithoutAListFails) {
  EXPECT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), E_FAIL);
}

TEST_F(SourceFilterTest, StoredReadModeWinsOverSetReadMode) {
  loadSampleDisc();
  storeSetting("DvdReadMode", 1);
  filter->pin.SetAudioFile(temp.path("audio.ac3").c_str());
  filter->pin.SetReadMode(0);
  EXPECT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  EXPECT_EQ(filter->pin.GetReadMode(), 1);
  EXPECT_NE(OutputPinProbe::titleReader(filter->pin), nullptr);
  filter->pin.Inactive();
}

TEST_F(SourceFilterTest, ReadModeZeroReadsTheListWithoutTitleReader) {
  loadSampleDisc();
  EXPECT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  EXPECT_EQ(OutputPinProbe::titleReader(filter->pin), nullptr);
  EXPECT_EQ(OutputPinProbe::demuxer(filter->pin), nullptr);
  LONGLONG total = 0, available = 0;
  EXPECT_EQ(filter->pin.Length(&total, &available), S_OK);
  EXPECT_EQ(total, filter->fileList.totalLength);
}

TEST_F(SourceFilterTest, ReadModeOneDemultiplexesTheDefaultAudioToItsFile) {
  loadSampleDisc();
  storeSetting("DvdReadMode", 1);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  std::string audio = temp.path("audio.ac3");
  filter->pin.SetAudioFile(audio.c_str());
  EXPECT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  ASSERT_NE(OutputPinProbe::titleReader(filter->pin), nullptr);
  EXPECT_NE(OutputPinProbe::demuxer(filter->pin), nullptr);
  EXPECT_GT(OutputPinProbe::titleReader(filter->pin)->getRangeLength(), 0);
  EXPECT_TRUE(fileExists(audio));
  filter->pin.Inactive();
}

TEST_F(SourceFilterTest, ReadModeTwoReadsTheDiscWithoutDemultiplexer) {
  loadSampleDisc();
  storeSetting("DvdReadMode", 2);
  std::string audio = temp.path("audio.ac3");
  filter->pin.SetAudioFile(audio.c_str());
  filter->pin.AddSubtitleStream(temp.path("sub0.sup").c_str(), 0);
  EXPECT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  ASSERT_NE(OutputPinProbe::titleReader(filter->pin), nullptr);
  EXPECT_EQ(OutputPinProbe::demuxer(filter->pin), nullptr);
  EXPECT_GT(OutputPinProbe::titleReader(filter->pin)->getRangeLength(), 0);
  EXPECT_FALSE(fileExists(audio));
  EXPECT_FALSE(fileExists(temp.path("sub0.sup")));
}

TEST_F(SourceFilterTest, OneAudioTrackOnlySelectsTheStreamOfTheReader) {
  loadSampleDisc();
  storeSetting("DvdReadMode", 1);
  std::string audio = temp.path("audio.ac3");
  std::string track = temp.path("track.ac3");
  filter->pin.SetAudioFile(audio.c_str());
  filter->pin.AddAudioStream(track.c_str(), 0, 1);
  EXPECT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  ASSERT_NE(OutputPinProbe::titleReader(filter->pin), nullptr);
  EXPECT_NE(OutputPinProbe::demuxer(filter->pin), nullptr);
  EXPECT_EQ(OutputPinProbe::titleReader(filter->pin)->audioSelect, 1);
  EXPECT_EQ(OutputPinProbe::titleReader(filter->pin)->audioMode, 0);
  EXPECT_EQ(OutputPinProbe::titleReader(filter->pin)->audioStream, 1);
  EXPECT_FALSE(fileExists(track));
  EXPECT_FALSE(fileExists(audio));
  filter->pin.Inactive();
}

TEST_F(SourceFilterTest, SubtitleTracksUseKeysFromZero) {
  loadSampleDisc();
  storeSetting("DvdReadMode", 1);
  filter->pin.SetAudioFile(temp.path("audio.ac3").c_str());
  filter->pin.AddSubtitleStream(temp.path("sub0.sup").c_str(), 0);
  filter->pin.AddSubtitleStream(temp.path("sub5.sup").c_str(), 5);
  EXPECT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  EXPECT_TRUE(fileExists(temp.path("sub0.sup")));
  EXPECT_FALSE(fileExists(temp.path("sub5.sup")));  // key 5 is outside 0..1
  filter->pin.Inactive();
}

TEST_F(SourceFilterTest, MissingNavigationFilesRaiseAnExceptionFromConfigureSource) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  filter->pin.SetReadMode(2);
  AM_MEDIA_TYPE type{};
  type.majortype = kMediaTypeStream;
  type.subtype = kMediaSubtypeMpeg2Program;
  EXPECT_THROW(filter->pin.CheckMediaType(&type), IfoLoadError);
  // Through COM the exception never leaves the pin: the type is refused.
  EXPECT_EQ(filter->pin.QueryAccept(&type), S_FALSE);
}

TEST_F(SourceFilterTest, GetSomeParamReturnsTwoWhateverWasSet) {
  filter->pin.SetReadMode(5);
  filter->pin.SetTitle(9);
  filter->pin.AddAudioStream(nullptr, 2, 3);
  EXPECT_EQ(filter->pin.GetSomeParam(), 2.0);
}

TEST_F(SourceFilterTest, ResetSettingsKeepsTheSubtitleTracks) {
  filter->pin.AddAudioStream("a", 0, 1);
  filter->pin.AddSubtitleStream("s", 0);
  filter->pin.SetReadMode(3);
  filter->pin.ResetSettings();
  EXPECT_TRUE(OutputPinProbe::audioTrackCount(filter->pin) == 0);
  EXPECT_EQ(OutputPinProbe::subtitleTrackCount(filter->pin), 1u);
  EXPECT_EQ(filter->pin.GetReadMode(), 0);
}

TEST_F(SourceFilterTest, SetAudioFileKeepsAtMost251Characters) {
  std::string longPath(400, 'p');
  filter->pin.SetAudioFile(longPath.c_str());
  EXPECT_EQ(std::string(OutputPinProbe::settings(filter->pin).audioFile), std::string(251, 'p'));
}

TEST_F(SourceFilterTest, SourceControlFromTheFilterAndThePinReachTheSameSettings) {
  ISourceControl* control = nullptr;
  ASSERT_EQ(filter->NonDelegatingQueryInterface(IID_ISourceControl,
                                                reinterpret_cast<void**>(&control)),
            S_OK);
  control->SetTitle(4);
  EXPECT_EQ(OutputPinProbe::settings(filter->pin).title, 4);
  filter->pin.SetReadMode(2);
  EXPECT_EQ(control->GetReadMode(), 2);
  control->Release();
}

TEST_F(SourceFilterTest, SyncReadDeliversTheListAndRefusesTheEnd) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  ASSERT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  BYTE head[4] = {};
  EXPECT_EQ(filter->pin.SyncRead(0, 4, head), S_OK);
  EXPECT_EQ(head[0], 0x00);
  EXPECT_EQ(head[1], 0x00);
  EXPECT_EQ(head[2], 0x01);
  EXPECT_EQ(head[3], 0xBA);
  EXPECT_EQ(filter->pin.SyncRead(filter->fileList.totalLength, 4, head), E_FAIL);
  EXPECT_EQ(filter->pin.SyncRead(0, 0, head), E_FAIL);
  EXPECT_EQ(filter->pin.SyncRead(0, 4, nullptr), E_POINTER);
}

TEST_F(SourceFilterTest, QueuedReadsAreNotImplemented) {
  IMediaSample* sample = reinterpret_cast<IMediaSample*>(1);
  DWORD_PTR user = 7;
  EXPECT_EQ(filter->pin.WaitForNext(0, &sample, &user), E_NOTIMPL);
  EXPECT_EQ(sample, nullptr);
  EXPECT_EQ(user, 7u);
  EXPECT_EQ(filter->pin.RequestAllocator(nullptr, nullptr, nullptr), E_POINTER);
}

TEST_F(SourceFilterTest, SyncReadAlignedPastTheEndEndsTheStreamForGood) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip2.mpg")).c_str(), nullptr), S_OK);
  ASSERT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  const LONGLONG total = filter->fileList.totalLength;
  // The list inputer refuses a read that reaches past the end of its files,
  // so the spanning sample comes back empty and ends the stream.
  TestSample tail((total - 100) * kUnit, (total + 924) * kUnit, 1024);
  EXPECT_EQ(filter->pin.SyncReadAligned(&tail), S_OK);
  EXPECT_EQ(tail.actual, 0);
  EXPECT_TRUE(OutputPinProbe::endOfStream(filter->pin));
  // Every later sample is empty, even one from the start.
  TestSample next(0, 1024 * kUnit, 1024);
  EXPECT_EQ(filter->pin.SyncReadAligned(&next), S_FALSE);
  EXPECT_EQ(next.actual, 0);
}

TEST_F(SourceFilterTest, SyncReadAlignedWithoutLengthLeavesTheSampleAlone) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip2.mpg")).c_str(), nullptr), S_OK);
  ASSERT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  TestSample empty(5 * kUnit, 5 * kUnit, 16);
  EXPECT_EQ(filter->pin.SyncReadAligned(&empty), S_OK);
  EXPECT_EQ(empty.actual, -1);
  // A stop time before the start asks for nothing either.
  TestSample backwards(50 * kUnit, 10 * kUnit, 16);
  EXPECT_EQ(filter->pin.SyncReadAligned(&backwards), S_OK);
  EXPECT_EQ(backwards.actual, -1);
  EXPECT_FALSE(OutputPinProbe::endOfStream(filter->pin));
}

TEST_F(SourceFilterTest, SyncReadAlignedCutsTheRequestToTheSample) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip2.mpg")).c_str(), nullptr), S_OK);
  ASSERT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  TestSample small(0, 4096 * kUnit, 512);
  EXPECT_EQ(filter->pin.SyncReadAligned(&small), S_OK);
  EXPECT_EQ(small.actual, 512);
  EXPECT_EQ(small.buffer[3], 0xBA);
}

TEST_F(SourceFilterTest, PersistedPathWithoutTerminatorIsCutToTheField) {
  IStream* stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  std::string block(24, '\0');
  block += std::string(252, 'x');
  ULONG written = 0;
  stream->Write(block.data(), static_cast<ULONG>(block.size()), &written);
  LARGE_INTEGER start{};
  stream->Seek(start, STREAM_SEEK_SET, nullptr);
  EXPECT_EQ(filter->ReadFromStream(stream), S_OK);
  EXPECT_EQ(std::string(OutputPinProbe::settings(filter->pin).audioFile), std::string(251, 'x'));
  stream->Release();
}

// The persisted block, from bytes laid out by hand: six little-endian 32-bit
// words, then the 252-byte path field. Every word holds a different value,
// so a field read from the wrong offset shows.
TEST_F(SourceFilterTest, PersistedBlockPutsEachFieldAtItsOffset) {
  unsigned char block[276];
  std::memset(block, 0xEE, sizeof block);
  const std::uint32_t words[6] = {0x00000002, 0x00000105, 0xFFFFFFF9,
                                  0x00030007, 0x7A7B7C7D, 0x00000004};
  for (int i = 0; i < 6; ++i)
    for (int b = 0; b < 4; ++b) block[i * 4 + b] = static_cast<unsigned char>(words[i] >> (8 * b));
  std::memcpy(block + 24, "e:/tracks/main.ac3", 19);
  IStream* stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  ULONG written = 0;
  ASSERT_EQ(stream->Write(block, sizeof block, &written), S_OK);
  LARGE_INTEGER start{};
  stream->Seek(start, STREAM_SEEK_SET, nullptr);
  ASSERT_EQ(filter->ReadFromStream(stream), S_OK);
  stream->Release();

  const SourceSettings& s = OutputPinProbe::settings(filter->pin);
  EXPECT_EQ(s.readMode, 2);                // offset 0
  EXPECT_EQ(s.title, 0x105);               // offset 4
  EXPECT_EQ(s.titleSelector, -7);          // offset 8
  EXPECT_EQ(s.pgc, 0x30007);               // offset 12
  EXPECT_EQ(s.reserved, 0x7A7B7C7D);       // offset 16
  EXPECT_EQ(s.audioNumber, 4);             // offset 20
  EXPECT_STREQ(s.audioFile, "e:/tracks/main.ac3");  // offset 24
  EXPECT_EQ(filter->pin.GetReadMode(), 2);
}

TEST_F(SourceFilterTest, RunSetsTheRunningFlagAndStopHidesThePin) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  EXPECT_EQ(filter->running, 0);
  ASSERT_EQ(filter->Run(0), S_OK);
  EXPECT_EQ(filter->running, 1);
  FILTER_STATE state = State_Stopped;
  EXPECT_EQ(filter->GetState(0, &state), S_OK);
  EXPECT_EQ(state, State_Running);
  EXPECT_EQ(filter->GetPinCount(), 1);
  ASSERT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(filter->GetPinCount(), 0);
  EXPECT_EQ(filter->GetPin(0), nullptr);
  // Running again reads the list from the stored name.
  ASSERT_EQ(filter->Run(0), S_OK);
  EXPECT_EQ(filter->GetPinCount(), 1);
  filter->Stop();
}

TEST_F(SourceFilterTest, ActiveAndInactiveForgetTheReportedFile) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip1.mpg")).c_str(), nullptr), S_OK);
  OutputPinProbe::lastReportedFile(filter->pin) = 3;
  filter->pin.Active();
  EXPECT_EQ(OutputPinProbe::lastReportedFile(filter->pin), -1);
  OutputPinProbe::lastReportedFile(filter->pin) = 2;
  filter->pin.Inactive();
  EXPECT_EQ(OutputPinProbe::lastReportedFile(filter->pin), -1);
}

// Inactive finishes the demultiplexer's files while the filter lives on: the
// file is whole and no handle holds it before the filter is released.
TEST_F(SourceFilterTest, InactiveClosesTheDemultiplexersFilesWhileTheFilterLives) {
  loadSampleDisc();
  storeSetting("DvdReadMode", 1);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 0);
  const std::string audio = temp.path("inactive.ac3");
  filter->pin.SetAudioFile(audio.c_str());
  ASSERT_EQ(checkStreamType(kMediaSubtypeMpeg2Program), S_OK);
  LONGLONG total = 0, available = 0;
  ASSERT_EQ(filter->pin.Length(&total, &available), S_OK);
  for (LONGLONG at = 0; at < total; at += 65536) {
    TestSample sample(at * kUnit, std::min<LONGLONG>(at + 65536, total) * kUnit, 65536);
    ASSERT_EQ(filter->pin.SyncReadAligned(&sample), S_OK) << "at " << at;
  }
  filter->pin.Inactive();
  HANDLE alone = CreateFileA(audio.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                             OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(alone, INVALID_HANDLE_VALUE) << "the audio file is still open";
  if (alone != INVALID_HANDLE_VALUE) CloseHandle(alone);
  const std::string reference = fileBytes(samplePath("dvd/refs/vts.1.pgc.1.0x80.ac3"));
  ASSERT_FALSE(reference.empty());
  EXPECT_TRUE(fileBytes(audio) == reference) << fileBytes(audio).size() << " bytes against "
                                             << reference.size();
}

TEST_F(SourceFilterTest, LoadOfATooLongNameKeepsTheEarlierName) {
  const std::wstring earlier = wide(samplePath("list/clip2.mpg"));
  ASSERT_EQ(filter->Load(earlier.c_str(), nullptr), S_OK);
  EXPECT_EQ(filter->Load(std::wstring(1024, L'b').c_str(), nullptr), E_FAIL);
  LPOLESTR name = nullptr;
  ASSERT_EQ(filter->GetCurFile(&name, nullptr), S_OK);
  EXPECT_EQ(std::wstring(name), earlier);
  CoTaskMemFree(name);
  EXPECT_EQ(filter->GetPinCount(), 1);
}

// A name of 1,023 characters fills the name field to its last byte: it is
// taken and kept, though no list of that name exists to be read.
TEST_F(SourceFilterTest, LoadTakesANameOf1023Characters) {
  const std::wstring longest(1023, L'c');
  EXPECT_EQ(filter->Load(longest.c_str(), nullptr), E_FAIL);
  LPOLESTR name = nullptr;
  ASSERT_EQ(filter->GetCurFile(&name, nullptr), S_OK);
  EXPECT_EQ(std::wstring(name), longest);
  CoTaskMemFree(name);
}

TEST_F(SourceFilterTest, GetCurFileLeavesTheMediaTypeUntouched) {
  ASSERT_EQ(filter->Load(wide(samplePath("list/clip2.mpg")).c_str(), nullptr), S_OK);
  AM_MEDIA_TYPE type;
  std::memset(&type, 0x5A, sizeof type);
  AM_MEDIA_TYPE before = type;
  LPOLESTR name = nullptr;
  ASSERT_EQ(filter->GetCurFile(&name, &type), S_OK);
  CoTaskMemFree(name);
  EXPECT_EQ(std::memcmp(&type, &before, sizeof type), 0);
}
