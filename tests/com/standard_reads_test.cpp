// The "StandardReads" setting: the pin serving a parser that reads anywhere
// (SyncRead and SyncReadAligned at any position, Request/WaitForNext with a
// flush from another thread, DVD mode read by position with padding packs in
// place of the dropped ones), driven by a pull client of the test itself.
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
#include "support/output_pin_probe.h"

using namespace com_tests;

namespace {

constexpr LONGLONG kSector = 2048;

using testing_support::fileBytes;
using Filter = InProcessFilter;

// Length through IAsyncReader, before any read: all of it is available.
LONGLONG lengthOf(Filter& f) {
  LONGLONG total = -1, available = -1;
  EXPECT_EQ(f.reader->Length(&total, &available), S_OK);
  EXPECT_EQ(available, total);
  return total;
}

// SyncRead through IAsyncReader; `result` receives its answer.
std::string syncRead(Filter& f, LONGLONG position, LONG length, HRESULT* result) {
  std::string out(static_cast<std::size_t>(length), '\0');
  *result = f.reader->SyncRead(position, length, reinterpret_cast<BYTE*>(&out[0]));
  return out;
}

class StandardReads : public testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    clearSettings();
    storeSetting("StandardReads", 1);
  }
  void TearDown() override {
    clearSettings();
    CoUninitialize();
  }
  std::string list() { return writeClipList(temp); }
  std::string joined() { return joinedClips(); }
  std::string disc() { return joinedTitleVobs(); }
  void openList(Filter& f) {
    ASSERT_EQ(f.load(list()), S_OK);
    ASSERT_EQ(f.configure(), S_OK);
    ASSERT_TRUE(OutputPinProbe::standardReads(f.pin()));
  }
  void openDisc(Filter& f, DWORD readMode) {
    storeSetting("DvdReadMode", readMode);
    storeSetting("DvdTitle", 1);
    storeSetting("DvdPgc", 0);
    ASSERT_EQ(f.load(samplePath("dvd/VIDEO_TS/VTS_01_1.VOB")), S_OK);
    ASSERT_EQ(f.configure(), S_OK);
    ASSERT_NE(OutputPinProbe::titleReader(f.pin()), nullptr);
    ASSERT_TRUE(OutputPinProbe::standardReads(f.pin()));
  }
  TempFolder temp;
};

// Whether the checks of the audio choice "AC-3 substream `chosen`" drop the
// pack: an AC-3 pack of another substream or an MPEG audio pack.
bool droppedForAc3(const std::string& pack, int chosen) {
  std::size_t pes = 14 + (static_cast<unsigned char>(pack[13]) & 7);
  unsigned char id = static_cast<unsigned char>(pack[pes + 3]);
  if ((id & 0xE0) == 0xC0) return true;
  if (id != 0xBD) return false;
  unsigned char sub = static_cast<unsigned char>(
      pack[pes + 9 + static_cast<unsigned char>(pack[pes + 8])]);
  return sub >= 0x80 && sub <= 0x87 && (sub & 7) != chosen;
}

struct Waiter {
  IAsyncReader* reader;
  HRESULT result = E_PENDING;
  IMediaSample* sample = reinterpret_cast<IMediaSample*>(1);
  static DWORD WINAPI run(void* self) {
    auto* w = static_cast<Waiter*>(self);
    DWORD_PTR cookie = 0;
    w->result = w->reader->WaitForNext(INFINITE, &w->sample, &cookie);
    return 0;
  }
};

}  // namespace

TEST_F(StandardReads, SyncReadServesAnyPositionInTheList) {
  Filter f;
  openList(f);
  const std::string all = joined();
  const LONGLONG total = lengthOf(f);
  ASSERT_EQ(total, static_cast<LONGLONG>(all.size()));
  HRESULT hr = E_PENDING;
  // The end first, as a parser probing the duration, then back to the start
  // and across the first file end.
  EXPECT_EQ(syncRead(f, total - 100, 50, &hr), all.substr(all.size() - 100, 50));
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(syncRead(f, 0, 4096, &hr), all.substr(0, 4096));
  EXPECT_EQ(hr, S_OK);
  EXPECT_EQ(syncRead(f, 116736 - 33, 77, &hr), all.substr(116736 - 33, 77));
  EXPECT_EQ(hr, S_OK);
  // The bound is measured from the requested position: the tail with
  // S_FALSE, as many times as asked.
  for (int i = 0; i < 2; ++i) {
    std::string got = syncRead(f, total - 10, 100, &hr);
    EXPECT_EQ(hr, S_FALSE);
    EXPECT_EQ(got.substr(0, 10), all.substr(all.size() - 10));
  }
  EXPECT_EQ(syncRead(f, total - 1, 1, &hr), all.substr(all.size() - 1));
  EXPECT_EQ(hr, S_OK);
  // Outside the stream only: E_FAIL.
  syncRead(f, total, 16, &hr);
  EXPECT_EQ(hr, E_FAIL);
  syncRead(f, -1, 16, &hr);
  EXPECT_EQ(hr, E_FAIL);
  syncRead(f, total + 5000, 16, &hr);
  EXPECT_EQ(hr, E_FAIL);
  // And the stream still reads afterwards.
  EXPECT_EQ(syncRead(f, 1000, 32, &hr), all.substr(1000, 32));
  EXPECT_EQ(hr, S_OK);
}

TEST_F(StandardReads, SyncReadAlignedHasNoStickyEnd) {
  Filter f;
  openList(f);
  const std::string all = joined();
  const LONGLONG total = lengthOf(f);
  RangeSample tail(total - 4096, 6144, 6144);
  EXPECT_EQ(f.reader->SyncReadAligned(&tail), S_FALSE);
  EXPECT_EQ(tail.actual, 4096);
  EXPECT_EQ(tail.bytes(), all.substr(all.size() - 4096));
  EXPECT_FALSE(OutputPinProbe::endOfStream(f.pin()));
  RangeSample start(0, 2048, 2048);
  EXPECT_EQ(f.reader->SyncReadAligned(&start), S_OK);
  EXPECT_EQ(start.bytes(), all.substr(0, 2048));
  RangeSample again(total - 4096, 4096, 4096);
  EXPECT_EQ(f.reader->SyncReadAligned(&again), S_OK);
  EXPECT_EQ(again.bytes(), all.substr(all.size() - 4096));
  RangeSample past(total, 2048, 2048);
  EXPECT_EQ(f.reader->SyncReadAligned(&past), S_FALSE);
  EXPECT_EQ(past.actual, 0);
}

TEST_F(StandardReads, RequestAndWaitForNextReturnSamplesInOrderWithTheirCookies) {
  Filter f;
  openList(f);
  const std::string all = joined();
  const LONGLONG total = lengthOf(f);
  RangeSample a(8192, 4096, 4096), b(0, 4096, 4096), c(total - 1024, 4096, 4096);
  EXPECT_EQ(f.reader->Request(&a, 11), S_OK);
  EXPECT_EQ(f.reader->Request(&b, 22), S_OK);
  EXPECT_EQ(f.reader->Request(&c, 33), S_OK);
  RangeSample* expected[] = {&a, &b, &c};
  const DWORD_PTR cookies[] = {11, 22, 33};
  for (int i = 0; i < 3; ++i) {
    IMediaSample* got = nullptr;
    DWORD_PTR cookie = 0;
    EXPECT_EQ(f.reader->WaitForNext(1000, &got, &cookie), S_OK);
    EXPECT_EQ(got, expected[i]);
    EXPECT_EQ(cookie, cookies[i]);
  }
  EXPECT_EQ(a.bytes(), all.substr(8192, 4096));
  EXPECT_EQ(b.bytes(), all.substr(0, 4096));
  EXPECT_EQ(c.bytes(), all.substr(all.size() - 1024));
  IMediaSample* none = reinterpret_cast<IMediaSample*>(1);
  DWORD_PTR cookie = 0;
  EXPECT_EQ(f.reader->WaitForNext(50, &none, &cookie), VFW_E_TIMEOUT);
  EXPECT_EQ(none, nullptr);
}

TEST_F(StandardReads, FlushFromAnotherThreadEndsAPendingWaitUntilEndFlush) {
  Filter f;
  openList(f);
  const std::string all = joined();
  Waiter waiter{f.reader};
  HANDLE thread = CreateThread(nullptr, 0, Waiter::run, &waiter, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  // The wait is pending: nothing was requested.
  EXPECT_EQ(WaitForSingleObject(thread, 200), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(f.reader->BeginFlush(), S_OK);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), static_cast<DWORD>(WAIT_OBJECT_0));
  CloseHandle(thread);
  EXPECT_EQ(waiter.result, VFW_E_WRONG_STATE);
  EXPECT_EQ(waiter.sample, nullptr);
  // Later calls too, until EndFlush.
  RangeSample s(0, 1024, 1024);
  EXPECT_EQ(f.reader->Request(&s, 5), VFW_E_WRONG_STATE);
  IMediaSample* got = nullptr;
  DWORD_PTR cookie = 0;
  EXPECT_EQ(f.reader->WaitForNext(0, &got, &cookie), VFW_E_WRONG_STATE);
  EXPECT_EQ(got, nullptr);
  EXPECT_EQ(f.reader->EndFlush(), S_OK);
  EXPECT_EQ(f.reader->Request(&s, 5), S_OK);
  EXPECT_EQ(f.reader->WaitForNext(1000, &got, &cookie), S_OK);
  EXPECT_EQ(got, &s);
  EXPECT_EQ(cookie, 5u);
  EXPECT_EQ(s.bytes(), all.substr(0, 1024));
}

TEST_F(StandardReads, FlushHandsBackRequestsStillQueued) {
  Filter f;
  openList(f);
  RangeSample s(0, 512, 512);
  EXPECT_EQ(f.reader->Request(&s, 9), S_OK);
  EXPECT_EQ(f.reader->BeginFlush(), S_OK);
  IMediaSample* got = nullptr;
  DWORD_PTR cookie = 0;
  EXPECT_EQ(f.reader->WaitForNext(0, &got, &cookie), VFW_E_WRONG_STATE);
  EXPECT_EQ(got, &s);
  EXPECT_EQ(cookie, 9u);
  EXPECT_EQ(f.reader->WaitForNext(0, &got, &cookie), VFW_E_WRONG_STATE);
  EXPECT_EQ(got, nullptr);
  EXPECT_EQ(f.reader->EndFlush(), S_OK);
  EXPECT_EQ(f.reader->WaitForNext(0, &got, &cookie), VFW_E_TIMEOUT);
}

TEST_F(StandardReads, DvdModeReadsByPosition) {
  Filter f;
  openDisc(f, 2);
  const std::string raw = disc();
  const DvdTitleReader& title = *OutputPinProbe::titleReader(f.pin());
  const LONGLONG first = LONGLONG(title.startBlock) * kSector;
  const LONGLONG total = lengthOf(f);
  ASSERT_EQ(total, LONGLONG(title.endBlock - title.startBlock) * kSector);
  ASSERT_GT(total, 3 * kSector);
  auto expect = [&](LONGLONG p, LONGLONG n) {
    return raw.substr(static_cast<std::size_t>(first + p), static_cast<std::size_t>(n));
  };
  HRESULT hr = E_PENDING;
  // Unaligned, across sector ends, the end before the start.
  const LONGLONG positions[] = {total - 3000, 0, 2047, 5000, total / 2 + 13, 1};
  for (LONGLONG p : positions) {
    EXPECT_TRUE(syncRead(f, p, 2500, &hr) == expect(p, 2500)) << p;
    EXPECT_EQ(hr, S_OK) << p;
  }
  std::string tail = syncRead(f, total - 100, 300, &hr);
  EXPECT_EQ(hr, S_FALSE);
  EXPECT_TRUE(tail.substr(0, 100) == expect(total - 100, 100));
  syncRead(f, total, 1, &hr);
  EXPECT_EQ(hr, E_FAIL);
  // The whole range in odd pieces equals the sectors of the range.
  std::string whole;
  for (LONGLONG p = 0; p < total; p += 70001) {
    std::string piece = syncRead(f, p, 70001, &hr);
    LONGLONG n = std::min<LONGLONG>(70001, total - p);
    EXPECT_EQ(hr, n == 70001 ? S_OK : S_FALSE);
    whole += piece.substr(0, static_cast<std::size_t>(n));
  }
  EXPECT_TRUE(whole == expect(0, total));
}

TEST_F(StandardReads, DvdModeReplacesDroppedPacksWithPaddingInPlace) {
  Filter f;
  f.pin().AddAudioStream(temp.path("audio.ac3").c_str(), 0, 1);
  openDisc(f, 1);
  ASSERT_EQ(OutputPinProbe::titleReader(f.pin())->audioSelect, 1);
  const std::string raw = disc();
  const DvdTitleReader& title = *OutputPinProbe::titleReader(f.pin());
  const LONGLONG first = LONGLONG(title.startBlock) * kSector;
  const LONGLONG total = lengthOf(f);
  ASSERT_EQ(total, LONGLONG(title.endBlock - title.startBlock) * kSector);
  HRESULT hr = E_PENDING;
  std::string whole;
  for (LONGLONG p = 0; p < total; p += 65536) {
    LONGLONG n = std::min<LONGLONG>(65536, total - p);
    std::string piece = syncRead(f, p, static_cast<LONG>(n), &hr);
    EXPECT_EQ(hr, S_OK);
    whole += piece;
  }
  ASSERT_EQ(static_cast<LONGLONG>(whole.size()), total);
  long padded = 0, kept = 0;
  for (LONGLONG s = 0; s < total / kSector; ++s) {
    std::string in = raw.substr(static_cast<std::size_t>(first + s * kSector), kSector);
    std::string out = whole.substr(static_cast<std::size_t>(s * kSector), kSector);
    if (!droppedForAc3(in, 1)) {
      EXPECT_TRUE(in == out) << "sector " << s;
      ++kept;
      continue;
    }
    ++padded;
    std::size_t header = 14 + (static_cast<unsigned char>(in[13]) & 7);
    EXPECT_TRUE(out.substr(0, header) == in.substr(0, header)) << "sector " << s;
    EXPECT_EQ(out.substr(header, 4), std::string("\0\0\1\xBE", 4)) << "sector " << s;
    std::size_t length = (static_cast<unsigned char>(out[header + 4]) << 8) |
                         static_cast<unsigned char>(out[header + 5]);
    EXPECT_EQ(header + 6 + length, static_cast<std::size_t>(kSector)) << "sector " << s;
    EXPECT_TRUE(out.substr(header + 6) == std::string(length, '\xFF')) << "sector " << s;
  }
  EXPECT_GT(padded, 0);
  EXPECT_GT(kept, 0);
  // A single position inside a padding pack reads the same bytes.
  for (LONGLONG s = 0; s < total / kSector; ++s) {
    std::string in = raw.substr(static_cast<std::size_t>(first + s * kSector), kSector);
    if (!droppedForAc3(in, 1)) continue;
    std::string one = syncRead(f, s * kSector + 100, 10, &hr);
    EXPECT_EQ(hr, S_OK);
    EXPECT_TRUE(one == whole.substr(static_cast<std::size_t>(s * kSector + 100), 10));
    break;
  }
}

TEST_F(StandardReads, SettingZeroKeepsTheForwardReadRules) {
  storeSetting("StandardReads", 0);
  Filter f;
  ASSERT_EQ(f.load(list()), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  EXPECT_FALSE(OutputPinProbe::standardReads(f.pin()));
  RangeSample s(0, 512, 512);
  EXPECT_EQ(f.reader->Request(&s, 1), E_NOTIMPL);
  IMediaSample* got = nullptr;
  DWORD_PTR cookie = 0;
  EXPECT_EQ(f.reader->WaitForNext(0, &got, &cookie), E_NOTIMPL);
}

// One media file of 5 GiB (sparse: only the marked places hold data). The
// inputer answers a seek with the offset inside the file cut to 32 bits, so
// every position 2-4 GiB into a file comes back negative: the pin must judge
// the seek by where the inputer stands, not by the sign of that answer.
TEST_F(StandardReads, PositionsBeyondTwoGiBInOneFileRead) {
  const LONGLONG kGiB = LONGLONG(1) << 30;
  const std::string name = temp.path("large.mpg");
  const LONGLONG marks[] = {2 * kGiB + 1, 3 * kGiB, 4 * kGiB + 5, 5 * kGiB - 16};
  {
    HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    LARGE_INTEGER end;
    end.QuadPart = 5 * kGiB;
    ASSERT_TRUE(SetFilePointerEx(file, end, nullptr, FILE_BEGIN));
    ASSERT_TRUE(SetEndOfFile(file));
    for (LONGLONG mark : marks) {
      LARGE_INTEGER at;
      at.QuadPart = mark;
      ASSERT_TRUE(SetFilePointerEx(file, at, nullptr, FILE_BEGIN));
      const std::string text = "mark@" + std::to_string(mark);
      DWORD written = 0;
      ASSERT_TRUE(WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
    }
    CloseHandle(file);
  }
  Filter f;
  ASSERT_EQ(f.load(name), S_OK);
  ASSERT_EQ(f.configure(), S_OK);
  ASSERT_EQ(lengthOf(f), 5 * kGiB);
  for (LONGLONG mark : marks) {
    const std::string text = "mark@" + std::to_string(mark);
    HRESULT hr = E_PENDING;
    EXPECT_EQ(syncRead(f, mark, static_cast<LONG>(text.size()), &hr), text) << "at " << mark;
    EXPECT_EQ(hr, S_OK);
    // And one byte before it, from the sparse part.
    EXPECT_EQ(syncRead(f, mark - 1, 1, &hr), std::string(1, '\0')) << "before " << mark;
    EXPECT_EQ(hr, S_OK);
  }
  DeleteFileA(name.c_str());
}
