// The pin's read path from the inside, on the bundled samples: the sticky
// end of the stream, the DVD carry, the switch back to list mode, the
// no-reposition rule, the bounds of SyncRead, the shared position counter
// and what the progress window is fed.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "com/com_support.h"
#include "support/file_bytes.h"
#include "support/in_process_filter.h"
#include "support/test_sample.h"
#include "dvdnav/dvd_title_reader.h"
#include "filter/source_filter.h"
#include "filter/source_guids.h"
#include "ui/progress_window.h"
#include "support/output_pin_probe.h"

using namespace com_tests;

namespace {


using testing_support::fileBytes;
using Filter = InProcessFilter;

class ReadPath : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
  }
  void TearDown() override {
    clearSettings();
    CoUninitialize();
  }
  std::string list() { return writeClipList(temp); }
  std::string joined() { return joinedClips(); }
  std::string read(Filter& f, LONGLONG position, LONG length) {
    std::string out(static_cast<std::size_t>(length), '\0');
    EXPECT_EQ(f.pin().SyncRead(position, length, reinterpret_cast<BYTE*>(&out[0])), S_OK);
    return out;
  }
  TempFolder temp;
};

}  // namespace

TEST_F(ReadPath, OutputPinEndOfStreamFlagIsSticky) {
  Filter f;
  selectFirstProgramChain(f);
  LONGLONG total = 0;
  ASSERT_EQ(f.pin().Length(&total, nullptr), S_OK);
  ASSERT_GT(total, 4096);
  // A sample that spans past the end: the short tail, with S_OK.
  RangeSample tail(total - 4096, 6144, 6144);
  EXPECT_EQ(f.pin().SyncReadAligned(&tail), S_OK);
  EXPECT_EQ(tail.actual, 4096);
  std::string disc = joinedTitleVobs();
  const LONGLONG first = LONGLONG(OutputPinProbe::titleReader(f.pin())->startBlock) * 2048;
  EXPECT_EQ(tail.bytes(), disc.substr(static_cast<std::size_t>(first + total - 4096), 4096));
  EXPECT_TRUE(OutputPinProbe::endOfStream(f.pin()));
  // Then empty samples with S_FALSE, from the start too, after a fresh type
  // check and after a run.
  RangeSample again(total - 4096, 2048, 2048);
  EXPECT_EQ(f.pin().SyncReadAligned(&again), S_FALSE);
  EXPECT_EQ(again.actual, 0);
  RangeSample start(0, 2048, 2048);
  EXPECT_EQ(f.pin().SyncReadAligned(&start), S_FALSE);
  EXPECT_EQ(start.actual, 0);
  ASSERT_EQ(f.configure(), S_OK);
  f.filter->Run(0);
  f.filter->Stop();
  RangeSample later(0, 2048, 2048);
  EXPECT_EQ(f.pin().SyncReadAligned(&later), S_FALSE);
  EXPECT_EQ(later.actual, 0);
  // SyncRead does not look at the flag.
  clearSettings();
  f.pin().SetReadMode(0);
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  BYTE head[4] = {};
  EXPECT_EQ(f.pin().SyncRead(0, 4, head), S_OK);
}

TEST_F(ReadPath, OutputPinEqualTimesLeaveTheSampleLengthUnchanged) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  RangeSample empty(100, 0, 64);
  empty.actual = 17;
  EXPECT_EQ(f.pin().SyncReadAligned(&empty), S_OK);
  EXPECT_EQ(empty.actual, 17);
  EXPECT_FALSE(OutputPinProbe::endOfStream(f.pin()));
}

TEST_F(ReadPath, OutputPinRequestLargerThanTheSampleReadsTheSample) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  RangeSample small(116736 - 100, 5000, 300);  // across the first file end
  EXPECT_EQ(f.pin().SyncReadAligned(&small), S_OK);
  EXPECT_EQ(small.bytes(), joined().substr(116736 - 100, 300));
  EXPECT_FALSE(OutputPinProbe::endOfStream(f.pin()));
  EXPECT_EQ(OutputPin::streamPosition(), 116736 - 100 + 300);
}

TEST_F(ReadPath, OutputPinSyncReadAtTotalLengthFails) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  const LONGLONG total = f.filter->fileList.totalLength;
  BYTE block[8] = {};
  EXPECT_EQ(f.pin().SyncRead(total, 1, block), E_FAIL);
  EXPECT_EQ(f.pin().SyncRead(total - 1, 1, block), S_OK);
  EXPECT_EQ(block[0], static_cast<BYTE>(joined().back()));
}

TEST_F(ReadPath, OutputPinSyncReadOfLengthZeroFails) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  BYTE block[8] = {};
  EXPECT_EQ(f.pin().SyncRead(0, 0, block), E_FAIL);
  EXPECT_EQ(f.pin().SyncRead(0, -1, block), E_FAIL);
  EXPECT_EQ(f.pin().SyncRead(-1, 1, block), E_FAIL);
}

TEST_F(ReadPath, OutputPinSyncReadBoundsAreMeasuredFromTheInputersPosition) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  const LONG total = static_cast<LONG>(f.filter->fileList.totalLength);
  read(f, 0, 200000);
  // From position 0 the whole rest would fit, but the inputer stands at
  // 200,000: the bound is what is left from there.
  BYTE* buffer = new BYTE[static_cast<std::size_t>(total)];
  EXPECT_EQ(f.pin().SyncRead(0, total - 200000 + 1, buffer), E_FAIL);
  EXPECT_EQ(f.pin().SyncRead(0, total - 200000, buffer), S_OK);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(total - 200000)),
            joined().substr(0, static_cast<std::size_t>(total - 200000)));
  delete[] buffer;
}

TEST_F(ReadPath, OutputPinDvdCarryOf1000Then100Bytes) {
  Filter f;
  selectFirstProgramChain(f);
  const std::string vob = fileBytes(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB"));
  const DvdTitleReader& title = *OutputPinProbe::titleReader(f.pin());
  const std::size_t first = static_cast<std::size_t>(title.startBlock) * 2048;
  EXPECT_EQ(read(f, 0, 1000), vob.substr(first, 1000));
  EXPECT_EQ(OutputPinProbe::carryOffset(f.pin()), 1000);
  EXPECT_EQ(read(f, 1000, 100), vob.substr(first + 1000, 100));
  EXPECT_EQ(OutputPinProbe::carryOffset(f.pin()), 0);
  // The rest of sector 0 was dropped: the next read starts with sector 1.
  EXPECT_EQ(read(f, 1100, 16), vob.substr(first + 2048, 16));
  EXPECT_EQ(OutputPinProbe::carryOffset(f.pin()), 16);
}

// The sample disc has no program chain without sectors; the second chain's
// range is narrowed to nothing in the reader, as an empty chain leaves it.
void selectEmptyChain(Filter& f) {
  ASSERT_EQ(f.load(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")), S_OK);
  storeSetting("DvdTitle", 1);
  storeSetting("DvdPgc", 1);
  ASSERT_EQ(f.configure(), S_OK);
  ASSERT_NE(OutputPinProbe::titleReader(f.pin()), nullptr);
  ASSERT_GT(OutputPinProbe::titleReader(f.pin())->startBlock, 0);
  OutputPinProbe::titleReader(f.pin())->endBlock = OutputPinProbe::titleReader(f.pin())->startBlock;
  ASSERT_EQ(OutputPinProbe::titleReader(f.pin())->getRangeLength(), 0);
}

TEST_F(ReadPath, OutputPinLengthSwitchesToListModeForAnEmptyChain) {
  Filter f;
  f.pin().SetReadMode(2);  // DVD mode, with no "DvdReadMode" stored
  selectEmptyChain(f);
  LONGLONG total = -1, available = -1;
  EXPECT_EQ(f.pin().Length(&total, &available), S_OK);
  EXPECT_EQ(f.pin().GetReadMode(), 0);
  EXPECT_EQ(OutputPinProbe::titleReader(f.pin()), nullptr);
  EXPECT_EQ(total, static_cast<LONGLONG>(fileBytes(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")).size()));
  EXPECT_EQ(available, total);
  // List mode from now on: the file's own bytes.
  EXPECT_EQ(read(f, 0, 16), fileBytes(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")).substr(0, 16));
}

TEST_F(ReadPath, OutputPinLengthKeepsDvdModeWhenTheReadModeIsStored) {
  Filter f;
  storeSetting("DvdReadMode", 2);
  selectEmptyChain(f);
  LONGLONG total = -1;
  EXPECT_EQ(f.pin().Length(&total, nullptr), S_OK);
  // The stored value wins: DVD mode again (a fresh reader on the chain),
  // and the total is the inputer's all the same.
  EXPECT_EQ(f.pin().GetReadMode(), 2);
  EXPECT_NE(OutputPinProbe::titleReader(f.pin()), nullptr);
  EXPECT_EQ(total, f.filter->fileList.totalLength);
}

TEST_F(ReadPath, OutputPinConsecutiveReadDoesNotReposition) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  const std::string all = joined();
  EXPECT_EQ(read(f, 0, 1000), all.substr(0, 1000));
  EXPECT_EQ(OutputPin::streamPosition(), 1000);
  // Move the inputer behind the pin's back: a read at the counter's
  // position does not seek, so it continues from where the inputer stands.
  f.filter->inputer.seek(130000);
  EXPECT_EQ(read(f, 1000, 100), all.substr(130000, 100));
  EXPECT_EQ(OutputPin::streamPosition(), 1100);
  // Any other position seeks.
  EXPECT_EQ(read(f, 5000, 100), all.substr(5000, 100));
}

TEST_F(ReadPath, OutputPinCounterIsSharedByTwoFilters) {
  Filter a, b;
  ASSERT_EQ(a.load(list()), S_OK);
  ASSERT_EQ(b.load(list()), S_OK);
  ASSERT_EQ(a.configure(), S_OK);
  ASSERT_EQ(b.configure(), S_OK);
  const std::string all = joined();
  EXPECT_EQ(read(a, 0, 1000), all.substr(0, 1000));
  // The counter says 1000 after a's read, so b, whose inputer is still at
  // 0, is not moved: it delivers its bytes from 0. One counter per process.
  EXPECT_EQ(read(b, 1000, 100), all.substr(0, 100));
  EXPECT_EQ(OutputPin::streamPosition(), 1100);
  // Each pin feeds its own progress window with where its own reader
  // stands, not with the counter that the other filter moves too.
  auto* windowA = static_cast<ProgressWindow*>(a.filter->statusObject.get());
  auto* windowB = static_cast<ProgressWindow*>(b.filter->statusObject.get());
  EXPECT_EQ(windowA->reported().position, 1000);
  EXPECT_EQ(windowB->reported().position, 100);
}

namespace {
struct Reader {
  Filter* filter;
  LONG chunk;
  int failures = 0;
  std::string data;
  HRESULT firstFailure = S_OK;
  LONGLONG failedAt = -1;
};
DWORD WINAPI readAll(void* context) {
  auto* r = static_cast<Reader*>(context);
  const LONGLONG total = r->filter->filter->fileList.totalLength;
  std::vector<BYTE> buffer(static_cast<std::size_t>(r->chunk));
  for (LONGLONG p = 0; p < total; p += r->chunk) {
    LONG n = static_cast<LONG>(std::min<LONGLONG>(r->chunk, total - p));
    HRESULT hr = r->filter->pin().SyncRead(p, n, buffer.data());
    if (hr != S_OK && r->failures++ == 0) {
      r->firstFailure = hr;
      r->failedAt = p * 1000000 + r->filter->filter->inputer.position;
    }
    r->data.append(reinterpret_cast<char*>(buffer.data()), static_cast<std::size_t>(n));
  }
  return 0;
}
}  // namespace

TEST_F(ReadPath, OutputPinTwoFiltersReadingAtOnceDeliverTheirStreams) {
  Filter a, b;
  ASSERT_EQ(a.load(list()), S_OK);
  ASSERT_EQ(b.load(list()), S_OK);
  ASSERT_EQ(a.configure(), S_OK);
  ASSERT_EQ(b.configure(), S_OK);
  // Sequential readers always ask where their own inputer stands, so the
  // shared counter never keeps one of them from its bytes.
  for (int round = 0; round < 5; ++round) {
    // The bound of SyncRead is measured from where the inputer stands, so
    // every round starts the inputers at 0 again.
    a.filter->inputer.seek(0);
    b.filter->inputer.seek(0);
    Reader ra{&a, 3000 + round * 777, 0, {}, S_OK, -1}, rb{&b, 5000 + round * 1234, 0, {}, S_OK, -1};
    HANDLE ta = CreateThread(nullptr, 0, readAll, &ra, 0, nullptr);
    HANDLE tb = CreateThread(nullptr, 0, readAll, &rb, 0, nullptr);
    HANDLE both[2] = {ta, tb};
    ASSERT_EQ(WaitForMultipleObjects(2, both, TRUE, 60000), WAIT_OBJECT_0);
    CloseHandle(ta);
    CloseHandle(tb);
    EXPECT_EQ(ra.failures, 0) << std::hex << ra.firstFailure << std::dec << " at " << ra.failedAt;
    EXPECT_EQ(rb.failures, 0) << std::hex << rb.firstFailure << std::dec << " at " << rb.failedAt;
    EXPECT_TRUE(ra.data == joined());
    EXPECT_TRUE(rb.data == joined());
  }
}

TEST_F(ReadPath, ProgressCurrentFileFollowsTheFileBeingRead) {
  Filter f;
  const std::string listName = list();
  ASSERT_EQ(f.load(listName), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  ASSERT_EQ(f.filter->Run(0), S_OK);
  auto* window = static_cast<ProgressWindow*>(f.filter->statusObject.get());
  EXPECT_EQ(window->reported().batchFile.value_or(""), listName);
  const LONGLONG total = f.filter->fileList.totalLength;
  EXPECT_EQ(window->reported().totalLength, total);
  const std::vector<std::string> names = {samplePath("list/clip1.mpg"),
                                          samplePath("list/clip2.mpg"),
                                          samplePath("list/clip3.mpg")};
  const LONGLONG ends[3] = {116736, 116736 + 63488, 116736 + 63488 + 174080};
  std::vector<std::string> seen;
  for (LONGLONG p = 0; p < total; p += 10000) {
    LONG n = static_cast<LONG>(std::min<LONGLONG>(10000, total - p));
    read(f, p, n);
    // The file that holds the last byte read.
    std::size_t file = 0;
    while (p + n > ends[file]) ++file;
    ASSERT_TRUE(window->reported().currentFile.has_value());
    EXPECT_EQ(*window->reported().currentFile, names[file]) << "after reading to " << p + n;
    EXPECT_EQ(window->reported().position, p + n);
    if (seen.empty() || seen.back() != *window->reported().currentFile)
      seen.push_back(*window->reported().currentFile);
  }
  EXPECT_EQ(seen, names);
  // An aligned read across a file end reports the new file too.
  OutputPinProbe::lastReportedFile(f.pin()) = -1;
  RangeSample across(ends[1] - 10, 20, 20);
  EXPECT_EQ(f.pin().SyncReadAligned(&across), S_OK);
  EXPECT_EQ(window->reported().currentFile.value_or(""), names[2]);
  ASSERT_EQ(f.filter->Stop(), S_OK);
  EXPECT_FALSE(window->reported().batchFile.has_value());
  ASSERT_TRUE(window->settle(10000));
  EXPECT_EQ(window->timerId(), 0u);
}

// In DVD mode the window measures the title range: its total is the
// chain's length, as Length reports it, and its position the bytes of the
// chain read so far, never beyond the total.
TEST_F(ReadPath, ProgressInDvdModeMeasuresTheTitleRange) {
  Filter f;
  selectFirstProgramChain(f);
  LONGLONG total = 0;
  ASSERT_EQ(f.pin().Length(&total, nullptr), S_OK);
  // The loaded list is one VOB; the chain runs across the joined VOBs.
  ASSERT_NE(total, f.filter->fileList.totalLength);
  ASSERT_EQ(f.filter->Run(0), S_OK);
  auto* window = static_cast<ProgressWindow*>(f.filter->statusObject.get());
  EXPECT_EQ(window->reported().totalLength, total);
  for (LONGLONG p = 0; p < total; p += 65536) {
    const LONGLONG n = std::min<LONGLONG>(65536, total - p);
    RangeSample sample(p, n, static_cast<long>(n));
    ASSERT_EQ(f.pin().SyncReadAligned(&sample), S_OK);
    EXPECT_EQ(window->reported().position, p + n);
    EXPECT_EQ(window->reported().totalLength, total);
  }
  ASSERT_EQ(f.filter->Stop(), S_OK);
}

TEST_F(ReadPath, OutputPinRequestWithoutASampleIsRefused) {
  Filter f;
  EXPECT_EQ(f.pin().Request(nullptr, 0), E_POINTER);
  RangeSample sample(0, 16, 16);
  EXPECT_EQ(f.pin().Request(&sample, 0), E_NOTIMPL);
  EXPECT_EQ(sample.actual, -1);
}

namespace {

// A sample whose GetTime, GetPointer or SetActualDataLength fails with the
// result set here.
class FailingSample : public RangeSample {
 public:
  using RangeSample::RangeSample;
  HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override {
    return FAILED(timeResult) ? timeResult : RangeSample::GetTime(start, stop);
  }
  HRESULT STDMETHODCALLTYPE GetPointer(BYTE** data) override {
    return FAILED(pointerResult) ? pointerResult : RangeSample::GetPointer(data);
  }
  HRESULT STDMETHODCALLTYPE SetActualDataLength(long length) override {
    return FAILED(lengthResult) ? lengthResult : RangeSample::SetActualDataLength(length);
  }
  HRESULT timeResult = S_OK;
  HRESULT pointerResult = S_OK;
  HRESULT lengthResult = S_OK;
};

// An allocator that counts its references and answers SetProperties with
// the result set here, keeping the properties it was asked for.
class CountingAllocator : public IMemAllocator {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }
  HRESULT STDMETHODCALLTYPE SetProperties(ALLOCATOR_PROPERTIES* wanted,
                                          ALLOCATOR_PROPERTIES* actual) override {
    asked = *wanted;
    if (SUCCEEDED(propertiesResult)) *actual = *wanted;
    return propertiesResult;
  }
  HRESULT STDMETHODCALLTYPE GetProperties(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Commit() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Decommit() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE GetBuffer(IMediaSample**, REFERENCE_TIME*, REFERENCE_TIME*,
                                      DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ReleaseBuffer(IMediaSample*) override { return S_OK; }
  long references = 1;
  HRESULT propertiesResult = S_OK;
  ALLOCATOR_PROPERTIES asked{};
};

}  // namespace

TEST_F(ReadPath, OutputPinSampleWithoutRoomFails) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  RangeSample none(0, 100, 0);
  EXPECT_EQ(f.pin().SyncReadAligned(&none), E_FAIL);
  EXPECT_EQ(none.actual, -1);
  EXPECT_FALSE(OutputPinProbe::endOfStream(f.pin()));
}

TEST_F(ReadPath, OutputPinSampleFailuresAreHandedBack) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  FailingSample noTime(0, 100, 100);
  noTime.timeResult = VFW_E_SAMPLE_TIME_NOT_SET;
  EXPECT_EQ(f.pin().SyncReadAligned(&noTime), VFW_E_SAMPLE_TIME_NOT_SET);
  EXPECT_EQ(OutputPin::streamPosition(), 0);

  // Nothing is read when the sample has no buffer to give.
  FailingSample noBuffer(0, 100, 100);
  noBuffer.pointerResult = E_UNEXPECTED;
  EXPECT_EQ(f.pin().SyncReadAligned(&noBuffer), E_UNEXPECTED);
  EXPECT_EQ(OutputPin::streamPosition(), 0);

  // The read itself happened when only the length cannot be set.
  FailingSample noLength(0, 100, 100);
  noLength.lengthResult = E_INVALIDARG;
  EXPECT_EQ(f.pin().SyncReadAligned(&noLength), E_INVALIDARG);
  EXPECT_EQ(OutputPin::streamPosition(), 100);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(noLength.buffer.data()), 100),
            joined().substr(0, 100));
}

TEST_F(ReadPath, OutputPinRequestAllocatorHandsBackThePreferredOneWithAReference) {
  Filter f;
  IAsyncReader* reader = f.reader;
  ASSERT_NE(reader, nullptr);
  CountingAllocator allocator;
  ALLOCATOR_PROPERTIES wanted{2, 4096, 16, 0};
  IMemAllocator* actual = nullptr;
  EXPECT_EQ(reader->RequestAllocator(&allocator, &wanted, &actual), S_OK);
  EXPECT_EQ(actual, &allocator);
  EXPECT_EQ(allocator.references, 2);
  EXPECT_EQ(allocator.asked.cbAlign, 1);
  EXPECT_EQ(allocator.asked.cBuffers, 2);
  EXPECT_EQ(allocator.asked.cbBuffer, 4096);

  CountingAllocator refusing;
  refusing.propertiesResult = VFW_E_BADALIGN;
  actual = nullptr;
  EXPECT_EQ(reader->RequestAllocator(&refusing, &wanted, &actual), E_FAIL);
  EXPECT_EQ(actual, nullptr);
  EXPECT_EQ(refusing.references, 1);
  EXPECT_EQ(reader->RequestAllocator(nullptr, &wanted, &actual), E_POINTER);
}

TEST_F(ReadPath, OutputPinLengthAvailableInDvdModeIsWhatIsLeftOfTheRange) {
  Filter f;
  selectFirstProgramChain(f);
  const LONGLONG range = 190 * 2048;
  LONGLONG total = -1, available = -1;
  ASSERT_EQ(f.pin().Length(&total, &available), S_OK);
  EXPECT_EQ(total, range);
  EXPECT_EQ(available, range);
  read(f, 0, 3 * 2048);
  available = -1;
  ASSERT_EQ(f.pin().Length(nullptr, &available), S_OK);
  EXPECT_EQ(available, range - 3 * 2048);
}

TEST_F(ReadPath, OutputPinFlushDoesNothing) {
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  IAsyncReader* reader = f.reader;
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(reader->BeginFlush(), S_OK);
  // Reads go on between the two, as if no flush had begun.
  EXPECT_EQ(read(f, 0, 100), joined().substr(0, 100));
  EXPECT_EQ(reader->EndFlush(), S_OK);
  EXPECT_EQ(read(f, 100, 100), joined().substr(100, 100));
}

// A seek that falls short leaves the counter at the position asked for, so
// a read right after it is taken for a continuation and does not seek.
TEST_F(ReadPath, OutputPinCounterKeepsTheAskedPositionAfterAShortSeek) {
  Filter f;
  selectFirstProgramChain(f);
  const LONGLONG beyond = 10LL * 1024 * 1024 * 1024;
  RangeSample distant(beyond, 2048, 2048);
  EXPECT_EQ(f.pin().SyncReadAligned(&distant), S_OK);
  EXPECT_EQ(distant.actual, 0);
  EXPECT_EQ(OutputPin::streamPosition(), beyond);
}

TEST_F(ReadPath, StandardReadsOtherThanOneKeepTheDefaultReads) {
  storeSetting("StandardReads", 2);
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  RangeSample sample(0, 100, 100);
  EXPECT_EQ(f.pin().Request(&sample, 7), E_NOTIMPL);
  IMediaSample* done = nullptr;
  DWORD_PTR user = 0;
  EXPECT_EQ(f.pin().WaitForNext(0, &done, &user), E_NOTIMPL);
}
