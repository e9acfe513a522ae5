// Differential tests: what we read from the bundled sample disc against what
// libdvdread read from the same files (samples/dvd/dvdread-facts.txt, made by
// tools/dvdread_facts).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "dvdnav/dvd_title_reader.h"
#include "support/scratch.h"
#include "support/sha256.h"

namespace {

using Facts = std::map<std::string, std::string>;

const std::string kSamples = FENNORIA_SAMPLES_DIR;

Facts loadFacts() {
  Facts facts;
  std::ifstream in(kSamples + "/dvd/dvdread-facts.txt");
  std::string line;
  while (std::getline(in, line)) {
    std::size_t space = line.find(' ');
    if (space != std::string::npos) facts[line.substr(0, space)] = line.substr(space + 1);
  }
  return facts;
}

// The value after `name` in a "name value name value" fact.
std::string field(const std::string& fact, const std::string& name) {
  std::istringstream in(fact);
  std::string word;
  while (in >> word)
    if (word == name && in >> word) return word;
  return "?";
}

std::vector<long long> numbers(const std::string& fact) {
  std::istringstream in(fact);
  std::vector<long long> out;
  long long n;
  while (in >> n) out.push_back(n);
  return out;
}

long long number(const std::string& text) { return std::stoll(text, nullptr, 0); }

std::string lang(const std::array<char, 2>& code) { return std::string(code.begin(), code.end()); }

std::vector<std::uint8_t> timeBytes(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  std::istringstream in(text);
  std::string part;
  while (std::getline(in, part, ':')) bytes.push_back(static_cast<std::uint8_t>(std::stoi(part.substr(0, 2), nullptr, 16)));
  return bytes;
}

struct Sample {
  const char* folder;
  bool upperCase;
};

void PrintTo(const Sample& sample, std::ostream* out) { *out << sample.folder; }

class SampleDisc : public testing::TestWithParam<Sample> {
 protected:
  void SetUp() override {
    facts = loadFacts();
    ASSERT_FALSE(facts.empty()) << "missing facts file under " << kSamples;
    folder = kSamples + "/" + GetParam().folder;
    ASSERT_EQ(reader.openIfo(folder), 0);
  }
  const std::string& fact(const std::string& key) {
    static const std::string none = "<none>";
    auto it = facts.find(key);
    return it == facts.end() ? none : it->second;
  }

  Facts facts;
  std::string folder;
  std::ostringstream log;
  DvdTitleReader reader{log};
};

}  // namespace

TEST_P(SampleDisc, FileNamesKeepTheFolderCase) {
#ifdef _WIN32
  // "VIDEO_TS.IFO" names the lower-case file too.
  EXPECT_TRUE(reader.upperCaseNames);
#else
  EXPECT_EQ(reader.upperCaseNames, GetParam().upperCase);
#endif
}

TEST_P(SampleDisc, VideoManagerMatchesLibdvdread) {
  const dvdnav::VideoManagerInfo& vmg = *reader.videoManager;
  EXPECT_EQ(vmg.version, number(fact("vmg.version")));
  EXPECT_EQ(vmg.region, number(fact("vmg.region_mask")));
  EXPECT_EQ(vmg.numvolumes, number(fact("vmg.volumes")));
  EXPECT_EQ(vmg.volume, number(fact("vmg.volume")));
  EXPECT_EQ(vmg.diskside, number(fact("vmg.disc_side")));
  EXPECT_EQ(vmg.numtitles, number(fact("vmg.title_sets")) & 0x3F);
  EXPECT_EQ(vmg.providerid, fact("vmg.provider_id"));
  EXPECT_EQ(static_cast<long long>(vmg.attributes.audio.size()),
            number(fact("vmg.menu.audio_streams")));
  EXPECT_EQ(vmg.attributes.audio[0].codingmode, number(field(fact("vmg.menu.audio.0"), "coding")));
  EXPECT_EQ(lang(vmg.attributes.audio[0].specificcode), field(fact("vmg.menu.audio.0"), "lang"));
  EXPECT_EQ(static_cast<long long>(vmg.titlesetattributes.size()), number(fact("vmg.vts_atrt")));
  for (std::size_t i = 0; i < vmg.titlesetattributes.size(); ++i) {
    const std::string& atrt = fact("vmg.vts_atrt." + std::to_string(i + 1));
    EXPECT_EQ(static_cast<long long>(vmg.titlesetattributes[i].title.audio.size()),
              number(field(atrt, "audio_streams")));
    EXPECT_EQ(static_cast<long long>(vmg.titlesetattributes[i].title.subpictures.size()),
              number(field(atrt, "subp_streams")));
  }
  EXPECT_EQ(static_cast<long long>(vmg.firstplay.precommands.size()),
            number(field(fact("vmg.first_play.commands"), "pre")));
  ASSERT_EQ(vmg.menucelladdresses.size(), 1u);
  EXPECT_EQ(vmg.menucelladdresses[0].end, number(field(fact("vmg.menu.c_adt.0"), "last")));
  std::vector<long long> vobus = numbers(fact("vmg.menu.vobu_admap.sectors"));
  EXPECT_EQ(std::vector<long long>(vmg.menuvobuaddresses.begin(), vmg.menuvobuaddresses.end()),
            vobus);
  ASSERT_EQ(vmg.menuunits.size(), 1u);
  ASSERT_EQ(vmg.menuunits[0].programchains.size(), 1u);
  EXPECT_EQ(vmg.menuunits[0].programchains[0].cells[0].endclvobu,
            number(field(fact("vmg.menu.lu.1.pgc.1.cell.1.sectors"), "last")));
}

TEST_P(SampleDisc, TitleTableMatchesLibdvdread) {
  const auto& titles = reader.videoManager->titles;
  ASSERT_EQ(static_cast<long long>(titles.size()), number(fact("vmg.titles")));
  for (std::size_t i = 0; i < titles.size(); ++i) {
    std::string key = "title." + std::to_string(i + 1) + ".";
    SCOPED_TRACE(key);
    EXPECT_EQ(titles[i].playbacktype, number(fact(key + "playback_type").substr(0, 4)));
    EXPECT_EQ(titles[i].numangles, number(fact(key + "angles")));
    EXPECT_EQ(titles[i].numparts, number(fact(key + "chapters")));
    EXPECT_EQ(titles[i].parentalid, number(fact(key + "parental_id")));
    EXPECT_EQ(titles[i].vtsnumber, number(fact(key + "title_set")));
    EXPECT_EQ(titles[i].vtstitlenumber, number(fact(key + "title_in_set")));
    EXPECT_EQ(titles[i].startvts, number(fact(key + "title_set_sector")));
  }
}

TEST_P(SampleDisc, TitleSetsMatchLibdvdread) {
  ASSERT_EQ(reader.titleSets.size(), 2u);
  for (std::size_t t = 0; t < reader.titleSets.size(); ++t) {
    const dvdnav::TitleSetInfo& vts = *reader.titleSets[t];
    std::string key = "vts." + std::to_string(t + 1) + ".";
    SCOPED_TRACE(key);
    EXPECT_EQ(vts.startvstsmvobs, number(field(fact(key + "sectors"), "vtsm_vobs")));
    EXPECT_EQ(vts.startvststvobs, number(field(fact(key + "sectors"), "vtstt_vobs")));
    ASSERT_EQ(static_cast<long long>(vts.attributes.title.audio.size()),
              number(fact(key + "audio_streams")));
    for (std::size_t a = 0; a < vts.attributes.title.audio.size(); ++a) {
      const std::string& audio = fact(key + "audio." + std::to_string(a));
      EXPECT_EQ(vts.attributes.title.audio[a].codingmode, number(field(audio, "coding")));
      EXPECT_EQ(vts.attributes.title.audio[a].channels, number(field(audio, "channels")) + 1);
      EXPECT_EQ(lang(vts.attributes.title.audio[a].specificcode), field(audio, "lang"));
      EXPECT_EQ(vts.attributes.title.audio[a].freq, 0);
    }
    ASSERT_EQ(static_cast<long long>(vts.attributes.title.subpictures.size()),
              number(fact(key + "subp_streams")));
    for (std::size_t s = 0; s < vts.attributes.title.subpictures.size(); ++s)
      EXPECT_EQ(lang(vts.attributes.title.subpictures[s].specificcode),
                field(fact(key + "subp." + std::to_string(s)), "lang"));

    std::vector<long long> vobus = numbers(fact(key + "vobu_admap.sectors"));
    EXPECT_EQ(std::vector<long long>(vts.vobuaddresses.begin(), vts.vobuaddresses.end()), vobus);
    ASSERT_EQ(static_cast<long long>(vts.celladdresses.size()),
              number(field(fact(key + "c_adt"), "entries")));
    for (std::size_t c = 0; c < vts.celladdresses.size(); ++c) {
      const std::string& cell = fact(key + "c_adt." + std::to_string(c));
      EXPECT_EQ(vts.celladdresses[c].vobid, number(field(cell, "vob_id")));
      EXPECT_EQ(vts.celladdresses[c].cellid, number(field(cell, "cell_id")));
      EXPECT_EQ(vts.celladdresses[c].start, number(field(cell, "start")));
      EXPECT_EQ(vts.celladdresses[c].end, number(field(cell, "last")));
    }
  }
}

TEST_P(SampleDisc, ProgramChainsMatchLibdvdread) {
  for (std::size_t t = 0; t < reader.titleSets.size(); ++t) {
    const dvdnav::TitleSetInfo& vts = *reader.titleSets[t];
    std::string set = "vts." + std::to_string(t + 1) + ".";
    ASSERT_EQ(static_cast<long long>(vts.programchains.size()), number(fact(set + "pgcs")));
    for (std::size_t p = 0; p < vts.programchains.size(); ++p) {
      const dvdnav::ProgramChain& pgc = vts.programchains[p];
      std::string key = set + "pgc." + std::to_string(p + 1) + ".";
      SCOPED_TRACE(key);
      EXPECT_EQ(pgc.numprograms, number(fact(key + "programs")));
      EXPECT_EQ(pgc.numcells, number(fact(key + "cells")));
      std::vector<std::uint8_t> time = timeBytes(fact(key + "time"));
      ASSERT_EQ(time.size(), 4u);
      EXPECT_EQ(pgc.numframes, dvdnav::playbackTimeToFrames(time.data()));
      EXPECT_EQ(std::vector<long long>(pgc.programmap.begin(), pgc.programmap.end()),
                numbers(fact(key + "program_map")));
      ASSERT_EQ(static_cast<long long>(pgc.cells.size()), pgc.numcells);
      for (std::size_t c = 0; c < pgc.cells.size(); ++c) {
        std::string cell = key + "cell." + std::to_string(c + 1) + ".";
        const std::string& sectors = fact(cell + "sectors");
        EXPECT_EQ(pgc.cells[c].startcfvobu, number(field(sectors, "first")));
        EXPECT_EQ(pgc.cells[c].endclvobu, number(field(sectors, "last")));
        EXPECT_EQ(pgc.cells[c].startclvobu, number(field(sectors, "last_vobu_start")));
        EXPECT_EQ(pgc.cells[c].endcfilvu, number(field(sectors, "first_ilvu_end")));
        EXPECT_EQ(pgc.cells[c].stilltime, number(field(fact(cell + "time"), "still_time")));
        EXPECT_EQ(pgc.cellpositions[c].vobid, number(field(fact(cell + "position"), "vob_id")));
        EXPECT_EQ(pgc.cellpositions[c].cellid, number(field(fact(cell + "position"), "cell_nr")));
      }
    }
  }
}

TEST_P(SampleDisc, PartOfTitleListsRunToTheEndOfTheTable) {
  const dvdnav::TitleSetInfo& vts = *reader.titleSets[0];
  ASSERT_EQ(static_cast<long long>(vts.parts.size()), number(fact("vts.1.ptt_titles")));
  std::vector<std::string> tail;
  for (std::size_t t = vts.parts.size(); t-- > 0;) {
    std::istringstream in(fact("vts.1.ptt." + std::to_string(t + 1)));
    std::vector<std::string> own;
    std::string entry;
    while (in >> entry) own.push_back(entry);
    tail.insert(tail.begin(), own.begin(), own.end());
    std::vector<std::string> ours;
    for (const auto& part : vts.parts[t])
      ours.push_back(std::to_string(part.pgcn) + "/" + std::to_string(part.pgn));
    EXPECT_EQ(ours, tail) << "title " << t + 1;
  }
}

TEST_P(SampleDisc, MenuUnitsMatchLibdvdread) {
  const dvdnav::TitleSetInfo& vts = *reader.titleSets[1];
  ASSERT_EQ(static_cast<long long>(vts.menuunits.size()), number(fact("vts.2.menu.lus")));
  ASSERT_EQ(static_cast<long long>(vts.menuunits[0].programchains.size()),
            number(fact("vts.2.menu.lu.1.pgcs")));
  EXPECT_EQ(vts.menuunits[0].programchains[1].cells.size(), 0u);
  EXPECT_EQ(static_cast<long long>(vts.menucelladdresses.size()),
            number(field(fact("vts.2.menu.c_adt"), "entries")));
}

TEST_P(SampleDisc, ChainRangeBytesEqualLibdvdreadBlocks) {
  for (std::size_t t = 0; t < reader.titleSets.size(); ++t) {
    for (std::size_t p = 0; p < reader.titleSets[t]->programchains.size(); ++p) {
      std::string key = "vts." + std::to_string(t + 1) + ".pgc." + std::to_string(p + 1) + ".";
      SCOPED_TRACE(key);
      const auto& cells = reader.titleSets[t]->programchains[p].cells;
      reader.selectTitleSet(static_cast<std::int32_t>(t + 1), 1);
      ASSERT_EQ(reader.selectProgramChain(static_cast<std::int32_t>(p)), 0);
      EXPECT_EQ(reader.startBlock, cells.front().startcfvobu);
      EXPECT_EQ(reader.endBlock, cells.back().endclvobu + 1);
      std::int64_t sectors = reader.endBlock - reader.startBlock;
      EXPECT_EQ(sectors, number(field(fact(key + "sha256"), "sectors")));
      std::string bytes(static_cast<std::size_t>(sectors * 2048), '\0');
      ASSERT_EQ(reader.vobStream->read(bytes.data(), static_cast<std::int32_t>(bytes.size())),
                static_cast<std::int32_t>(bytes.size()));
      EXPECT_EQ(testing_support::sha256Hex(bytes), fact(key + "sha256").substr(0, 64));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(BothCases, SampleDisc,
                         testing::Values(Sample{"dvd/VIDEO_TS", true},
                                         Sample{"dvd-lower/video_ts", false}),
                         [](const testing::TestParamInfo<Sample>& sample) {
                           return sample.param.upperCase ? std::string("UpperCase")
                                                       : std::string("LowerCase");
                         });

namespace {
std::string dumped;
void collectDump(int level, const char* text) {
  if (level == 3) dumped += std::string(text) + "\n";
}
}  // namespace

// The whole dump of the sample disc, as reviewed once by eye against the
// labels, kept as samples/dvd/ifo-dump.txt.
TEST(SampleDiscDump, EqualsTheReviewedListing) {
  for (const char* folder : {"dvd/VIDEO_TS", "dvd-lower/video_ts"}) {
    SCOPED_TRACE(folder);
    dumped.clear();
    mpdx::LogCallback log(collectDump);
    DvdTitleReader reader(log);
    ASSERT_EQ(reader.openIfo(kSamples + "/" + folder), 0);
    EXPECT_EQ(dumped, testing_support::readWholeFile(kSamples + "/dvd/ifo-dump.txt"));
  }
}

namespace {
// The stream a pack belongs to, read independently of the reader: the stream
// id of its first PES packet, and the substream id for private stream 1.
int packStream(const std::string& pack) {
  std::size_t pes = 14 + (static_cast<unsigned char>(pack[13]) & 7);
  int id = static_cast<unsigned char>(pack[pes + 3]);
  if (id != 0xBD) return id;
  return 0xBD00 | static_cast<unsigned char>(pack[pes + 9 + static_cast<unsigned char>(pack[pes + 8])]);
}
bool isAudio(int stream) {
  return (stream >= 0xC0 && stream <= 0xDF) || (stream >= 0xBD80 && stream <= 0xBD87);
}
}  // namespace

// With the AC-3 stream chosen, the filtered program chain holds exactly the
// packs that are that stream or not audio, in their order.
TEST(SampleDiscFilter, KeepsTheChosenAc3StreamAndEverythingButAudio) {
  std::ostringstream log;
  DvdTitleReader reader(log);
  ASSERT_EQ(reader.openIfo(kSamples + "/dvd/VIDEO_TS"), 0);
  reader.selectTitleSet(1, 1);
  ASSERT_EQ(reader.selectProgramChain(0), 0);
  std::string all(static_cast<std::size_t>(reader.getRangeLength()), '\0');
  ASSERT_EQ(reader.readRange(all.data(), static_cast<std::int32_t>(all.size())),
            static_cast<std::int32_t>(all.size()));
  std::string expected;
  int dropped = 0;
  for (std::size_t at = 0; at < all.size(); at += 2048) {
    std::string pack = all.substr(at, 2048);
    int stream = packStream(pack);
    if (isAudio(stream) && stream != 0xBD80)
      ++dropped;
    else
      expected += pack;
  }
  ASSERT_GT(dropped, 0) << "the sample should hold a second audio stream";

  // Fresh files: a joined stream only positions the file it seeks in, and
  // the first pass left the later files at their ends.
  reader.selectTitleSet(1, 1);
  reader.selectProgramChain(0);
  reader.audioSelect = 0;
  reader.setAudio(0, 0);
  std::string filtered;
  std::string sector(2048, '\0');
  for (std::size_t calls = 0; !reader.isEnd() && calls <= all.size() / 2048; ++calls) {
    ASSERT_EQ(reader.readFiltered(sector.data(), 2048), 2048);
    if (filtered.size() < expected.size()) filtered += sector;
  }
  EXPECT_TRUE(reader.isEnd());
  EXPECT_EQ(filtered.size(), expected.size());
  EXPECT_TRUE(filtered == expected);
}

#ifndef _WIN32
namespace {
// ffprobe's streams of `file` as "type:codec:packets" lines, sorted; empty
// when ffprobe is not installed.
std::string probeStreams(const std::string& file) {
  std::string command = "ffprobe -v error -count_packets -show_entries "
                        "stream=codec_type,codec_name,nb_read_packets -of csv=p=0 '" +
                        file + "' 2>/dev/null | grep -v '^$' | sort";
  std::string out;
  if (std::FILE* pipe = popen(command.c_str(), "r")) {
    char line[256];
    while (std::fgets(line, sizeof line, pipe)) out += line;
    pclose(pipe);
  }
  return out;
}

std::string readChain(std::int32_t mode, bool filtered) {
  std::ostringstream log;
  DvdTitleReader reader(log);
  EXPECT_EQ(reader.openIfo(kSamples + "/dvd/VIDEO_TS"), 0);
  reader.selectTitleSet(1, 1);
  reader.selectProgramChain(0);
  if (filtered) {
    reader.audioSelect = 0;
    reader.setAudio(mode, mode == 0 ? 0 : 1);
  }
  std::string bytes;
  std::string sector(2048, '\0');
  for (int calls = 0; !reader.isEnd() && calls < 1000; ++calls) {
    reader.readFiltered(sector.data(), 2048);
    bytes += sector;
  }
  return bytes;
}

// The number of packs of `whole` that the filter keeps in `mode`, counted
// independently of it: the last filtered read may end on a dropped sector.
std::size_t keptPacks(const std::string& whole, std::int32_t mode) {
  std::size_t kept = 0;
  for (std::size_t at = 0; at < whole.size(); at += 2048) {
    int stream = packStream(whole.substr(at, 2048));
    bool keep = !isAudio(stream) || (mode == 0 ? stream == 0xBD80 : stream == 0xC1);
    if (keep) ++kept;
  }
  return kept;
}
}  // namespace

// A real parser reads the filtered program chain: the chosen audio stream
// and every video packet are there, the other audio stream is gone.
TEST(SampleDiscFilter, FilteredChainStillParsesWithEveryVideoPacket) {
  if (std::system("ffprobe -version >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "ffprobe is not installed (Debian package ffmpeg)";
  testing_support::ScratchDir dir;
  std::string wholeBytes = readChain(0, false);
  std::string whole = dir.write("whole.vob", wholeBytes);
  std::string ac3 = dir.write("ac3.vob", readChain(0, true).substr(0, keptPacks(wholeBytes, 0) * 2048));
  std::string mpeg = dir.write("mpeg.vob", readChain(2, true).substr(0, keptPacks(wholeBytes, 2) * 2048));

  std::string all = probeStreams(whole);
  ASSERT_NE(all.find("mpeg2video,video,"), std::string::npos) << all;
  auto line = [](const std::string& streams, const std::string& prefix) {
    std::size_t at = streams.find(prefix);
    return at == std::string::npos ? std::string()
                                   : streams.substr(at, streams.find('\n', at) - at);
  };
  std::string video = line(all, "mpeg2video,video,");
  EXPECT_EQ(line(probeStreams(ac3), "mpeg2video,video,"), video);
  EXPECT_EQ(line(probeStreams(mpeg), "mpeg2video,video,"), video);
  EXPECT_EQ(line(probeStreams(ac3), "ac3,audio,"), line(all, "ac3,audio,"));
  EXPECT_EQ(line(probeStreams(ac3), "mp2,audio,"), "");
  EXPECT_EQ(line(probeStreams(mpeg), "mp2,audio,"), line(all, "mp2,audio,"));
  EXPECT_EQ(line(probeStreams(mpeg), "ac3,audio,"), "");
}
#endif
