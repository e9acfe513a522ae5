// The disc the Settings page shows, against what libdvdread read from the
// same bundled discs (their dvdread-facts.txt, made by tools/dvdread_facts),
// and the one line it gives for what is no readable disc.
#include "ui/disc_summary.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "support/sample_facts.h"
#include "support/scratch.h"

#ifndef _WIN32
#include "support/disc_images.h"
#endif

namespace {

const std::string kSamples = FENNORIA_SAMPLES_DIR;

using testing_support::Facts;

Facts loadFacts(const std::string& disc) {
  return testing_support::loadFactsFile(kSamples + "/" + disc + "/dvdread-facts.txt");
}

const std::string& fact(const Facts& facts, const std::string& key) {
  static const std::string none = "<none>";
  auto it = facts.find(key);
  return it == facts.end() ? none : it->second;
}


long long number(const std::string& text) { return std::stoll(text, nullptr, 0); }

int bcd(int byte) { return (byte >> 4) * 10 + (byte & 15); }

// A playback time "hh:mm:ss:ff" (hex bytes, BCD digits, the rate in the two
// top bits of ff) in 90 kHz ticks: a frame is 3003 ticks at 29.97 frames a
// second, 3600 at 25.
long long ticksOf(const std::string& time) {
  int bytes[4] = {};
  std::istringstream in(time);
  std::string part;
  for (int& b : bytes) {
    std::getline(in, part, ':');
    b = std::stoi(part, nullptr, 16);
  }
  const long long frameTicks = (bytes[3] >> 6) == 3 ? 3003 : 3600;
  const long long seconds = bcd(bytes[0]) * 3600 + bcd(bytes[1]) * 60 + bcd(bytes[2]);
  return seconds * 90000 + bcd(bytes[3] & 0x3F) * frameTicks;
}

// Every title set, chain and audio stream of the summary against the facts.
void expectTheFacts(const DiscSummary& disc, const Facts& facts) {
  ASSERT_TRUE(disc.readable) << disc.problem;
  EXPECT_TRUE(disc.problem.empty());
  ASSERT_EQ(static_cast<long long>(disc.titleSets.size()), number(fact(facts, "vmg.title_sets")));
  for (std::size_t s = 0; s < disc.titleSets.size(); ++s) {
    const TitleSetSummary& set = disc.titleSets[s];
    const std::string vts = "vts." + std::to_string(s + 1);
    SCOPED_TRACE(vts);
    ASSERT_EQ(static_cast<long long>(set.chains.size()), number(fact(facts, vts + ".pgcs")));
    for (std::size_t p = 0; p < set.chains.size(); ++p) {
      const std::string pgc = vts + ".pgc." + std::to_string(p + 1);
      SCOPED_TRACE(pgc);
      // The chain's time as the tool's info and chapters give it: its cells'
      // playback times as libdvdread reads them, added up.
      long long ticks = 0;
      for (int c = 1; fact(facts, pgc + ".cell." + std::to_string(c) + ".time") != "<none>"; ++c)
        ticks += ticksOf(fact(facts, pgc + ".cell." + std::to_string(c) + ".time"));
      EXPECT_EQ(set.chains[p].ticks, ticks);
      // One chapter per program.
      EXPECT_EQ(set.chains[p].chapters, number(fact(facts, pgc + ".programs")));
      for (std::size_t a = 0; a < set.audio.size(); ++a) {
        const std::string& control = fact(facts, pgc + ".audio_control." + std::to_string(a));
        if (control != "<none>") {
          EXPECT_EQ(set.chains[p].audioNumbers[a], (number(control) >> 8) & 7) << "audio " << a;
        }
      }
    }
    ASSERT_EQ(static_cast<long long>(set.audio.size()),
              number(fact(facts, vts + ".audio_streams")));
    for (std::size_t a = 0; a < set.audio.size(); ++a) {
      const std::string& audio = fact(facts, vts + ".audio." + std::to_string(a));
      SCOPED_TRACE(audio);
      EXPECT_EQ(set.audio[a].coding, number(testing_support::factField(audio, "coding")));
      EXPECT_EQ(set.audio[a].channels, number(testing_support::factField(audio, "channels")) + 1);
      EXPECT_EQ(set.audio[a].language, testing_support::factField(audio, "lang"));
    }
  }
}

void expectOneLineNaming(const DiscSummary& disc, const std::string& where) {
  EXPECT_FALSE(disc.readable);
  EXPECT_TRUE(disc.titleSets.empty());
  EXPECT_EQ(disc.problem.rfind(where + ": ", 0), 0u) << disc.problem;
  EXPECT_GT(disc.problem.size(), where.size() + 2);
  EXPECT_EQ(disc.problem.find_first_of("\r\n"), std::string::npos) << disc.problem;
}

}  // namespace

TEST(DiscSummary, SampleDiscIsWhatLibdvdreadReads) {
  const DiscSummary disc = summariseDisc(kSamples + "/dvd/VIDEO_TS/VTS_01_1.VOB");
  EXPECT_EQ(disc.location, kSamples + "/dvd/VIDEO_TS");
  expectTheFacts(disc, loadFacts("dvd"));
}

// LPCM and DTS streams, and a chain of four programs.
TEST(DiscSummary, StreamsDiscIsWhatLibdvdreadReads) {
  expectTheFacts(summariseDisc(kSamples + "/dvd-streams/VIDEO_TS/VIDEO_TS.IFO"),
                 loadFacts("dvd-streams"));
}

TEST(DiscSummary, BranchingDiscIsWhatLibdvdreadReads) {
  expectTheFacts(summariseDisc(kSamples + "/dvd-branching/VIDEO_TS/VIDEO_TS.IFO"),
                 loadFacts("dvd-branching"));
}

#ifndef _WIN32
// An image reads as the folder it was made from, and names itself.
TEST(DiscSummary, DiscImageIsWhatLibdvdreadReadsOfItsFolder) {
  for (const auto& image : testing_support::sampleImages()) {
    if (std::string(image.folder) != "dvd") continue;
    SCOPED_TRACE(image.label);
    const std::string path = testing_support::imagePath(image);
    const DiscSummary disc = summariseDisc(path);
    EXPECT_EQ(disc.location, path);
    expectTheFacts(disc, loadFacts("dvd"));
  }
}
#endif

// A chain may play an audio stream under another number than the stream's
// place in the title set: its audio control says which. The sample disc's
// first chain of title set 1, patched to play stream 1 as MPEG stream 3.
TEST(DiscSummary, ChainsPlayAudioUnderTheNumberTheirAudioControlGives) {
  auto bytesOf = [](const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  };
  auto word = [](const std::string& b, std::size_t at, int size) {
    std::size_t value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | static_cast<unsigned char>(b.at(at + i));
    return value;
  };
  const std::string from = kSamples + "/dvd/VIDEO_TS/";
  std::string vts = bytesOf(from + "VTS_01_0.IFO");
  // The title set's program chain table (its sector at 0xCC), its first
  // search pointer, and the chain's audio control table at 0x0C.
  const std::size_t table = word(vts, 0xCC, 4) * 2048;
  const std::size_t chain = table + word(vts, table + 8 + 4, 4);
  ASSERT_EQ(word(vts, chain + 0x0C + 2, 2), 0x8100u);
  vts[chain + 0x0C + 2] = '\x83';
  testing_support::ScratchDir dir;
  dir.write("VIDEO_TS.IFO", bytesOf(from + "VIDEO_TS.IFO"));
  dir.write("VTS_01_0.IFO", vts);
  dir.write("VTS_02_0.IFO", bytesOf(from + "VTS_02_0.IFO"));
  const DiscSummary disc = summariseDisc(dir.path("VIDEO_TS.IFO"));
  ASSERT_TRUE(disc.readable) << disc.problem;
  EXPECT_EQ(disc.titleSets[0].chains[0].audioNumbers[0], 0);
  EXPECT_EQ(disc.titleSets[0].chains[0].audioNumbers[1], 3);
  EXPECT_EQ(disc.titleSets[0].chains[1].audioNumbers[1], 1);
  // An entry the chain does not mark present keeps the stream's place.
  EXPECT_EQ(disc.titleSets[0].chains[0].audioNumbers[5], 5);
}

TEST(DiscSummary, FolderWithoutNavigationFilesIsOneLine) {
  expectOneLineNaming(summariseDisc(kSamples + "/list/clip1.mpg"), kSamples + "/list");
}

TEST(DiscSummary, MissingFileIsOneLineNamingItsFolder) {
  testing_support::ScratchDir dir;
  expectOneLineNaming(summariseDisc(dir.path("nothing.vob")), dir.root());
}

TEST(DiscSummary, CutOrNoisyVideoManagerIsOneLine) {
  std::ifstream in(kSamples + "/dvd/VIDEO_TS/VIDEO_TS.IFO", std::ios::binary);
  const std::string ifo((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_GT(ifo.size(), 2048u);
  for (const std::string& bytes :
       {ifo.substr(0, 100), ifo.substr(0, 2048), std::string(4096, 'Z'), std::string()}) {
    SCOPED_TRACE(bytes.size());
    testing_support::ScratchDir dir;
    dir.write("VIDEO_TS.IFO", bytes);
    const std::string vob = dir.write("VTS_01_1.VOB", std::string(2048, '\0'));
    expectOneLineNaming(summariseDisc(vob), dir.root());
  }
}

TEST(DiscSummary, CodingsAreNamedAsUsersKnowThem) {
  EXPECT_EQ(audioCodingName(0), "AC-3");
  EXPECT_EQ(audioCodingName(2), "MPEG-1");
  EXPECT_EQ(audioCodingName(3), "MPEG-2 ext.");
  EXPECT_EQ(audioCodingName(4), "LPCM");
  EXPECT_EQ(audioCodingName(6), "DTS");
  EXPECT_EQ(audioCodingName(5), "unknown");
  // The filter keeps one AC-3 substream or one MPEG stream alone; LPCM and
  // DTS packs pass whatever is chosen.
  EXPECT_TRUE(audioCanBeKeptAlone(0));
  EXPECT_TRUE(audioCanBeKeptAlone(2));
  EXPECT_TRUE(audioCanBeKeptAlone(3));
  EXPECT_FALSE(audioCanBeKeptAlone(4));
  EXPECT_FALSE(audioCanBeKeptAlone(6));
}
