// The command-line tool's read-ahead: chunks read by several threads come out
// whole and in input order, a failed read ends the sequence where it
// happened, and readers of their own over a DVD program chain cross the VOB
// parts as one reader does.
#include "cli/read_ahead.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "support/scratch.h"

using cli::ReadAhead;

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 131 + i / 251) & 0xFF);
  return bytes;
}

// A source over `data` that answers slowly now and then, so that the readers
// finish out of order, and gives at most `limit` bytes of the input.
ReadAhead::Source memorySource(const std::string& data, std::size_t limit = std::string::npos) {
  return [&data, limit](std::int64_t offset, std::uint8_t* buffer, std::int32_t want,
                        std::string* where) {
    auto at = static_cast<std::size_t>(offset);
    if ((at / 7) % 3 == 0) std::this_thread::sleep_for(std::chrono::microseconds(100));
    std::size_t end = std::min({at + static_cast<std::size_t>(want), data.size(), limit});
    std::size_t count = end > at ? end - at : 0;
    std::memcpy(buffer, data.data() + at, count);
    *where = "at " + std::to_string(offset);
    return static_cast<std::int32_t>(count);
  };
}

std::string drain(ReadAhead& chunks, std::vector<const ReadAhead::Chunk*>* seen = nullptr) {
  std::string out;
  while (const ReadAhead::Chunk* chunk = chunks.next()) {
    EXPECT_EQ(chunk->offset, static_cast<std::int64_t>(out.size()));
    EXPECT_EQ(chunk->where, "at " + std::to_string(chunk->offset));
    out.append(reinterpret_cast<const char*>(chunk->bytes.data()),
               static_cast<std::size_t>(chunk->count));
    if (seen) seen->push_back(chunk);
  }
  return out;
}

}  // namespace

TEST(ReadAhead, ChunksComeWholeAndInInputOrder) {
  for (int readers : {1, 2, 3}) {
    for (std::size_t chunkSize : {1, 999, 4096, 100000, 250000}) {
      // Byte-sized chunks on a smaller input, to keep the test short.
      std::string data = pattern(chunkSize == 1 ? 1000 : 100000);
      for (int depth : {0, 2, 8}) {
        SCOPED_TRACE(std::to_string(readers) + " readers, chunks of " + std::to_string(chunkSize) +
                     ", depth " + std::to_string(depth));
        std::vector<ReadAhead::Source> sources(static_cast<std::size_t>(readers), memorySource(data));
        ReadAhead chunks(sources, static_cast<std::int64_t>(data.size()), chunkSize, depth);
        std::string out = drain(chunks);
        EXPECT_EQ(out.size(), data.size());
        EXPECT_TRUE(out == data);
        EXPECT_EQ(chunks.next(), nullptr);  // and stays at the end
      }
    }
  }
}

TEST(ReadAhead, LastChunkAsksOnlyForWhatIsLeft) {
  std::string data = pattern(10000);
  std::vector<ReadAhead::Source> sources(2, memorySource(data));
  ReadAhead chunks(sources, 10000, 3000, 4);
  std::vector<std::int32_t> wants;
  while (const ReadAhead::Chunk* chunk = chunks.next()) wants.push_back(chunk->want);
  EXPECT_EQ(wants, (std::vector<std::int32_t>{3000, 3000, 3000, 1000}));
}

TEST(ReadAhead, NothingToReadGivesNoChunk) {
  std::string data;
  std::atomic<int> calls{0};
  ReadAhead::Source source = [&calls](std::int64_t, std::uint8_t*, std::int32_t, std::string*) {
    ++calls;
    return 0;
  };
  ReadAhead chunks({source, source}, 0, 4096, 4);
  EXPECT_EQ(chunks.next(), nullptr);
  EXPECT_EQ(calls.load(), 0);
}

// The input ends early (a truncated file): the chunk holding the end comes
// out with what could be read and a count below what was asked, and nothing
// after it does, though the other reader may have read further.
TEST(ReadAhead, ShortReadEndsTheSequenceWhereItHappened) {
  std::string data = pattern(50000);
  for (std::size_t limit : {std::size_t{0}, std::size_t{12345}, std::size_t{20000}, std::size_t{49999}}) {
    SCOPED_TRACE("input ends at " + std::to_string(limit));
    std::vector<ReadAhead::Source> sources(2, memorySource(data, limit));
    ReadAhead chunks(sources, static_cast<std::int64_t>(data.size()), 4000, 6);
    std::vector<const ReadAhead::Chunk*> seen;
    std::string out = drain(chunks, &seen);
    EXPECT_EQ(out, data.substr(0, limit));
    ASSERT_FALSE(seen.empty());
    EXPECT_LT(seen.back()->count, seen.back()->want);
    EXPECT_EQ(seen.back()->offset, static_cast<std::int64_t>(limit / 4000 * 4000));
    EXPECT_EQ(chunks.next(), nullptr);
  }
}

// The caller gives up half way (an error of its own): destroying the
// read-ahead stops the readers, which are waiting for free slots.
TEST(ReadAhead, StoppingEarlyLeavesNoReaderRunning) {
  std::string data = pattern(1 << 20);
  std::atomic<int> calls{0};
  ReadAhead::Source counting = [&data, &calls](std::int64_t offset, std::uint8_t* buffer,
                                               std::int32_t want, std::string* where) {
    ++calls;
    return memorySource(data)(offset, buffer, want, where);
  };
  {
    ReadAhead chunks({counting, counting}, static_cast<std::int64_t>(data.size()), 1024, 4);
    ASSERT_NE(chunks.next(), nullptr);
    ASSERT_NE(chunks.next(), nullptr);
  }
  // Two chunks taken, at most the ring's other slots filled ahead of them.
  EXPECT_LE(calls.load(), 2 + 3);
}

// Two readers of their own over the sample disc's program chains, in chunks
// of a few sectors: the chunks cross the title set's three VOB parts at
// every offset, and still join into the chain's sectors as they lie in the
// files. (Every pass opens fresh readers: a joined VOB stream positions only
// the part it seeks in, so a reader is good for one pass in rising order.)
TEST(ReadAhead, ReadersOfTheirOwnCrossTheVobParts) {
  const std::string folder = kSamples + "/dvd/VIDEO_TS";
  std::string joined;
  for (const char* part : {"VTS_01_1.VOB", "VTS_01_2.VOB", "VTS_01_3.VOB"})
    joined += testing_support::readWholeFile(folder + "/" + part);
  int chains = 0;
  for (std::int32_t pgc = 0;; ++pgc) {
    std::ostringstream log;
    std::vector<std::unique_ptr<DvdTitleReader>> readers;
    auto openReader = [&]() -> DvdTitleReader* {
      readers.push_back(std::make_unique<DvdTitleReader>(log));
      DvdTitleReader& reader = *readers.back();
      if (reader.openIfo(folder) != 0 || reader.selectTitleSet(1, 1) != 0 ||
          reader.selectProgramChainQuiet(pgc) != 0)
        return nullptr;
      return &reader;
    };
    DvdTitleReader* probe = openReader();
    if (!probe) break;
    ++chains;
    std::string expected = joined.substr(static_cast<std::size_t>(probe->startBlock) * 2048,
                                         static_cast<std::size_t>(probe->getRangeLength()));
    ASSERT_GT(expected.size(), 64u * 2048);
    for (std::size_t sectors : {1, 3, 7, 64}) {
      SCOPED_TRACE("program chain " + std::to_string(pgc + 1) + " in chunks of " +
                   std::to_string(sectors) + " sectors");
      std::vector<ReadAhead::Source> sources;
      for (int i = 0; i < 2; ++i) {
        DvdTitleReader* reader = openReader();
        ASSERT_NE(reader, nullptr);
        sources.push_back([reader](std::int64_t offset, std::uint8_t* buffer, std::int32_t want,
                                   std::string* where) {
          reader->seekRange(offset);
          std::int32_t got = 0;
          while (got < want) {
            std::int32_t n = reader->readRange(buffer + got, want - got);
            if (n <= 0) break;
            got += n;
          }
          *where = "at " + std::to_string(offset);
          return got;
        });
      }
      ReadAhead chunks(sources, probe->getRangeLength(), sectors * 2048, 5);
      std::string out = drain(chunks);
      EXPECT_EQ(out.size(), expected.size());
      EXPECT_TRUE(out == expected);
    }
  }
  EXPECT_GE(chains, 1);
}
