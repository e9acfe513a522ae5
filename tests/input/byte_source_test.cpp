// The two byte sources behind the output pin: the joined files of a list,
// and a program chain's sectors with their one-sector carry.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "demux/stream.h"
#include "dvdnav/dvd_title_reader.h"
#include "input/inputer_fixture.h"
#include "input/list_source.h"
#include "input/multiple_file_inputer.h"
#include "input/title_source.h"
#include "support/sha256.h"

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;

std::string readFrom(ByteSource& source, std::int32_t count) {
  std::string bytes(static_cast<std::size_t>(count), '\0');
  std::int64_t got = source.read(reinterpret_cast<std::uint8_t*>(bytes.data()), count);
  bytes.resize(static_cast<std::size_t>(got < 0 ? 0 : got));
  return bytes;
}

// The value of a line "KEY VALUE..." of the sample's libdvdread facts.
std::string fact(const std::string& key) {
  std::ifstream in(kSamples + "/dvd/dvdread-facts.txt");
  std::string line;
  while (std::getline(in, line))
    if (line.compare(0, key.size() + 1, key + " ") == 0) return line.substr(key.size() + 1);
  return {};
}

class ListSourceTest : public testing_support::InputerTest {};

// The sample's title set 1, program chain 1, read through a TitleSource.
class TitleSourceTest : public testing::Test {
 protected:
  void SetUp() override {
    DvdTitleReader& reader = source.open(log);
    ASSERT_EQ(reader.openIfo(kSamples + "/dvd/VIDEO_TS"), 0);
    reader.selectTitleSet(1, 1);
    ASSERT_EQ(reader.selectProgramChain(0), 0);
  }

  std::ostringstream log;
  TitleSource source;
};

}  // namespace

TEST_F(ListSourceTest, ReadsSeeksAndMeasuresTheJoinedFiles) {
  makeList({3000, 5000});
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  ListSource source(&inputer);
  EXPECT_EQ(source.length(), 8000);
  EXPECT_EQ(readFrom(source, 4000), expected.substr(0, 4000));
  EXPECT_EQ(source.position(), 4000);
  source.seek(100);
  EXPECT_EQ(source.position(), 100);
  EXPECT_EQ(readFrom(source, 7900), expected.substr(100));
  EXPECT_FALSE(source.isSelection());
}

TEST_F(ListSourceTest, CurrentFileIsTheOneTheInputerStandsIn) {
  makeList({3000, 5000});
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  ListSource source(&inputer);
  ASSERT_TRUE(source.currentFile());
  EXPECT_EQ(source.currentFile()->index, 0);
  readFrom(source, 3500);
  ASSERT_TRUE(source.currentFile());
  EXPECT_EQ(source.currentFile()->index, 1);
  EXPECT_STREQ(source.currentFile()->name, names[1].c_str());
}

TEST_F(ListSourceTest, RandomAccessReadsAnyRange) {
  makeList({3000, 5000});
  MultipleFileInputer inputer;
  ASSERT_EQ(inputer.open(&list), S_OK);
  ListSource source(&inputer);
  std::string bytes(1000, '\0');
  RandomAccessReader::Result result =
      source.readAt(2500, 1000, reinterpret_cast<std::uint8_t*>(bytes.data()));
  ASSERT_EQ(result.outcome, RandomAccessReader::Outcome::Read);
  EXPECT_EQ(result.count, 1000);
  EXPECT_EQ(bytes, expected.substr(2500, 1000));
}

TEST(ListSource, WithoutInputerIsAnEmptyStream) {
  ListSource source(nullptr);
  EXPECT_EQ(source.length(), 0);
  EXPECT_EQ(source.position(), 0);
  EXPECT_EQ(source.seek(5), 5);
  EXPECT_EQ(readFrom(source, 10), "");
  EXPECT_FALSE(source.currentFile());
  std::uint8_t byte = 0;
  EXPECT_EQ(source.readAt(0, 1, &byte).outcome, RandomAccessReader::Outcome::Outside);
}

TEST_F(TitleSourceTest, WholeRangeEqualsLibdvdreadsSectors) {
  std::istringstream digest(fact("vts.1.pgc.1.sha256"));
  std::string sha, word;
  std::int64_t sectors = 0;
  digest >> sha >> word >> sectors;
  ASSERT_EQ(word, "sectors");
  EXPECT_EQ(source.length(), sectors * 2048);
  EXPECT_TRUE(source.isSelection());
  std::string all;
  for (std::string part; !(part = readFrom(source, 65536)).empty();) all += part;
  EXPECT_EQ(static_cast<std::int64_t>(all.size()), sectors * 2048);
  EXPECT_EQ(testing_support::sha256Hex(all), sha);
  EXPECT_EQ(source.position(), source.length());
}

// A read of 1,000 bytes, then one of 100: the second takes bytes 1,000 to
// 1,099 of the first sector and drops the rest; the third starts with the
// next sector.
TEST_F(TitleSourceTest, ShortReadKeepsItsSectorsRestForTheNextReadOnly) {
  const std::string sectors = readFrom(source, 2 * 2048);
  source.seek(0);
  EXPECT_EQ(readFrom(source, 1000), sectors.substr(0, 1000));
  EXPECT_EQ(source.carryOffset(), 1000);
  EXPECT_EQ(readFrom(source, 100), sectors.substr(1000, 100));
  EXPECT_EQ(source.carryOffset(), 0);
  EXPECT_EQ(readFrom(source, 16), sectors.substr(2048, 16));
  EXPECT_EQ(source.carryOffset(), 16);
}

TEST_F(TitleSourceTest, CarryOutlivesASeekAndTheReader) {
  const std::string sector = readFrom(source, 2048);
  source.seek(0);
  readFrom(source, 1000);
  source.seek(10 * 2048);
  source.close();
  EXPECT_EQ(source.reader(), nullptr);
  EXPECT_EQ(source.carryOffset(), 1000);
  EXPECT_EQ(readFrom(source, 48), sector.substr(1000, 48));
  EXPECT_EQ(source.carryOffset(), 0);
}

TEST_F(TitleSourceTest, DroppedCarryIsNotDelivered) {
  const std::string sectors = readFrom(source, 2 * 2048);
  source.seek(0);
  readFrom(source, 1000);
  source.dropCarry();
  EXPECT_EQ(readFrom(source, 100), sectors.substr(2048, 100));
}

TEST_F(TitleSourceTest, RandomAccessReadsAnyRange) {
  const std::string sectors = readFrom(source, 3 * 2048);
  std::string bytes(3000, '\0');
  RandomAccessReader::Result result =
      source.readAt(1500, 3000, reinterpret_cast<std::uint8_t*>(bytes.data()));
  ASSERT_EQ(result.outcome, RandomAccessReader::Outcome::Read);
  EXPECT_EQ(result.count, 3000);
  EXPECT_EQ(bytes, sectors.substr(1500, 3000));
}

TEST(TitleSource, WithoutReaderHasNoStream) {
  TitleSource source;
  EXPECT_EQ(source.length(), -1);
  EXPECT_EQ(source.position(), -1);
  EXPECT_EQ(source.seek(0), -1);
  EXPECT_EQ(readFrom(source, 10), "");
  EXPECT_FALSE(source.currentFile());
}
