// The random-access reader on its own, over a made-up stream of 10,000 bytes
// whose byte p is p mod 251: requests queue in order, a flush sends them
// back refused, and reads answer by what the stream gave.
#include <windows.h>
#include <dshow.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "filter/standard_reader.h"
#include "support/test_sample.h"

using com_tests::RangeSample;

namespace {

constexpr std::int64_t kStreamLength = 10000;

std::int64_t readMadeUpStream(std::int64_t position, std::int32_t length, BYTE* buffer) {
  if (position < 0 || position >= kStreamLength) return -1;
  std::int64_t count = std::min<std::int64_t>(length, kStreamLength - position);
  for (std::int64_t i = 0; i < count; ++i) buffer[i] = static_cast<BYTE>((position + i) % 251);
  return count;
}

std::string expected(std::int64_t position, std::int64_t count) {
  std::string bytes;
  for (std::int64_t i = 0; i < count; ++i)
    bytes += static_cast<char>((position + i) % 251);
  return bytes;
}

class StandardReaderTest : public testing::Test {
 protected:
  StandardReaderTest() { InitializeCriticalSection(&lock); }
  ~StandardReaderTest() override { DeleteCriticalSection(&lock); }

  CRITICAL_SECTION lock;
  StandardReader reader{&lock, readMadeUpStream};
};

}  // namespace

TEST_F(StandardReaderTest, WaitForNextHandsBackRequestsInTheOrderTheyCame) {
  RangeSample first(9000, 100, 100), second(50, 200, 200);
  ASSERT_EQ(reader.request(&first, 11), S_OK);
  ASSERT_EQ(reader.request(&second, 22), S_OK);
  IMediaSample* done = nullptr;
  DWORD_PTR user = 0;
  ASSERT_EQ(reader.waitForNext(0, &done, &user), S_OK);
  EXPECT_EQ(done, &first);
  EXPECT_EQ(user, 11u);
  EXPECT_EQ(first.bytes(), expected(9000, 100));
  ASSERT_EQ(reader.waitForNext(0, &done, &user), S_OK);
  EXPECT_EQ(done, &second);
  EXPECT_EQ(user, 22u);
  EXPECT_EQ(second.bytes(), expected(50, 200));
  EXPECT_EQ(reader.waitForNext(10, &done, &user), VFW_E_TIMEOUT);
  EXPECT_EQ(done, nullptr);
}

TEST_F(StandardReaderTest, FlushSendsQueuedSamplesBackRefusedAndRefusesNewRequests) {
  RangeSample queued(0, 10, 10), late(10, 10, 10);
  ASSERT_EQ(reader.request(&queued, 1), S_OK);
  ASSERT_EQ(reader.beginFlush(), S_OK);
  EXPECT_EQ(reader.request(&late, 2), VFW_E_WRONG_STATE);
  IMediaSample* done = nullptr;
  DWORD_PTR user = 0;
  EXPECT_EQ(reader.waitForNext(INFINITE, &done, &user), VFW_E_WRONG_STATE);
  EXPECT_EQ(done, &queued);
  // With the queue empty, a flush answers at once instead of waiting.
  EXPECT_EQ(reader.waitForNext(INFINITE, &done, &user), VFW_E_WRONG_STATE);
  EXPECT_EQ(done, nullptr);
  ASSERT_EQ(reader.endFlush(), S_OK);
  EXPECT_EQ(reader.waitForNext(10, &done, &user), VFW_E_TIMEOUT);
  EXPECT_EQ(reader.request(&late, 2), S_OK);
  EXPECT_EQ(reader.waitForNext(0, &done, &user), S_OK);
  EXPECT_EQ(done, &late);
}

TEST_F(StandardReaderTest, SyncReadAnswersByWhatTheStreamGave) {
  BYTE buffer[300] = {};
  EXPECT_EQ(reader.syncRead(100, 300, buffer), S_OK);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 300), expected(100, 300));
  EXPECT_EQ(reader.syncRead(kStreamLength - 5, 300, buffer), S_FALSE);
  EXPECT_EQ(reader.syncRead(kStreamLength, 1, buffer), E_FAIL);
  EXPECT_EQ(reader.syncRead(0, -1, buffer), E_INVALIDARG);
  EXPECT_EQ(reader.syncRead(0, 1, nullptr), E_POINTER);
}

TEST_F(StandardReaderTest, AlignedReadOutsideTheStreamComesBackEmpty) {
  RangeSample outside(kStreamLength + 1, 100, 100), tail(kStreamLength - 40, 100, 100);
  EXPECT_EQ(reader.syncReadAligned(&outside), S_FALSE);
  EXPECT_EQ(outside.GetActualDataLength(), 0);
  EXPECT_EQ(reader.syncReadAligned(&tail), S_FALSE);
  EXPECT_EQ(tail.bytes(), expected(kStreamLength - 40, 40));
}
