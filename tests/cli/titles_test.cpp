// Disc titles, chapters and tracks as the tool's users name them: what
// 'dvd --title T --chapters A-B' writes against libdvdnav playing the same
// title and chapters (dvdnav-blocks.txt), tracks against lsdvd and
// libdvdread, the streams 'demux --audio/--subtitle' writes against ffmpeg's
// copy of the same stream ids, and one line, exit status 2 or 1 and nothing
// written for every number or track the disc does not have.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>

#include "cli/json.h"
#include "cli/samples.h"
#include "cli/tool_runner.h"
#include "support/disc_images.h"
#include "support/sample_facts.h"
#include "support/scratch.h"
#include "support/sha256.h"

using namespace cli_test;
using testing_support::readWholeFile;
using testing_support::ScratchDir;
namespace fs = std::filesystem;

namespace {

const std::vector<std::string> kDiscs = {"dvd", "dvd-branching", "dvd-streams", "dvd-titles"};
const std::string kTitles = kSamples + "/dvd-titles";

std::vector<testing_support::PlayedRange> played(const std::string& disc) {
  return testing_support::playedRanges(kSamples + "/" + disc + "/dvdnav-blocks.txt");
}

// The options that name a range: none for the whole title, A for one
// chapter, A-B otherwise.
std::vector<std::string> rangeArgs(const testing_support::PlayedRange& range, int chapters) {
  if (range.first == 1 && range.last == chapters) return {};
  if (range.first == range.last) return {"--chapters", std::to_string(range.first)};
  return {"--chapters", std::to_string(range.first) + "-" + std::to_string(range.last)};
}

void expectRefused(const Result& run, int status, const std::string& what) {
  EXPECT_EQ(run.status, status) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.rfind("fennoria", 0), 0u) << run.err;
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
  EXPECT_NE(run.err.find(what), std::string::npos) << run.err;
}

// The audio streams of a program stream, pack by pack (0xBDnn for private
// stream 1 substreams), with their pack counts.
std::map<int, int> audioPacks(const std::string& bytes) {
  std::map<int, int> counts;
  for (std::size_t at = 0; at + 2048 <= bytes.size(); at += 2048) {
    const int stream = packStream(bytes.substr(at, 2048));
    const bool audio = (stream >= 0xC0 && stream <= 0xDF) || (stream >= 0xBD80 && stream <= 0xBD8F) ||
                       (stream >= 0xBDA0 && stream <= 0xBDA7);
    if (audio) ++counts[stream];
  }
  return counts;
}

}  // namespace

TEST(ToolDvdTitle, EveryTitleAndChapterRangeIsWhatLibdvdnavPlays) {
  for (const std::string& disc : kDiscs) {
    const auto facts = testing_support::loadFactsFile(kSamples + "/" + disc + "/dvdnav-blocks.txt");
    for (const auto& range : played(disc)) {
      const int chapters = std::stoi(facts.at("title." + std::to_string(range.title) + ".parts"));
      std::vector<std::string> args = {"dvd", kSamples + "/" + disc, "--title",
                                       std::to_string(range.title)};
      for (const auto& a : rangeArgs(range, chapters)) args.push_back(a);
      SCOPED_TRACE(disc + " title " + std::to_string(range.title) + " chapters " +
                   std::to_string(range.first) + "-" + std::to_string(range.last));
      Result run = runTool(args);
      ASSERT_EQ(run.status, 0) << run.err;
      EXPECT_EQ(static_cast<long long>(run.out.size()), range.sectors * 2048);
      EXPECT_EQ(testing_support::sha256Hex(run.out), range.sha256);
    }
  }
}

// An image of the disc gives the folder's bytes; demux reads the same
// title (its video stream is the one of the written title).
TEST(ToolDvdTitle, DiscImageAndDemuxReadTheSameTitle) {
  const auto facts = testing_support::loadFactsFile(kTitles + "/dvdnav-blocks.txt");
  ScratchDir dir;
  const std::string image = dir.path("titles.iso");
  ASSERT_EQ(testing_support::shell("genisoimage -quiet -dvd-video -udf -V TITLES -o " + quote(image) +
                                   " " + quote(kTitles)),
            0);
  Result run = runTool({"dvd", image, "--title", "1", "--chapters", "2-5"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(testing_support::sha256Hex(run.out),
            testing_support::factField(facts.at("title.1.chapters.2-5"), "sha256"));
  const std::string vob = dir.path("t.vob");
  ASSERT_EQ(runTool({"dvd", kTitles, "--title", "1", "--chapters", "2-5", "-o", vob}).status, 0);
  ASSERT_EQ(runTool({"demux", image, "--title", "1", "--chapters", "2-5", "--video", dir.path("a.m2v"), "-q"}).status, 0);
  ASSERT_EQ(runTool({"demux", vob, "--video", dir.path("b.m2v"), "-q"}).status, 0);
  EXPECT_GT(readWholeFile(dir.path("a.m2v")).size(), 0u);
  EXPECT_TRUE(readWholeFile(dir.path("a.m2v")) == readWholeFile(dir.path("b.m2v")));
}

TEST(ToolDvdTitle, TitleWithAProgramChainIsAUsageErrorSayingWhichToUse) {
  ScratchDir dir;
  const std::string never = dir.path("never.m2v");
  for (const char* command : {"dvd", "demux", "chapters"}) {
    SCOPED_TRACE(command);
    Result run = runTool({command, kTitles, "--title", "2", "--pgc", "1", "--video", never});
    if (std::string(command) != "demux")
      run = runTool({command, kTitles, "--title", "2", "--pgc", "1"});
    expectRefused(run, 2, "--title T is the disc's title number (1-99, as players count them); "
                          "for a program chain give --titleset N --pgc P instead");
  }
  expectRefused(runTool({"dvd", kTitles, "--pgc", "1"}), 2, "needs both --titleset N and --pgc P");
  expectRefused(runTool({"dvd", kTitles, "--titleset", "1", "--pgc", "1", "--chapters", "2"}), 2,
                "--chapters needs --title T");
  EXPECT_FALSE(fs::exists(never));
}

TEST(ToolDvdTitle, NumbersTheDiscDoesNotHaveNameTheValidOnes) {
  ScratchDir dir;
  const std::string out = dir.path("out.vob");
  struct Case {
    std::vector<std::string> args;
    std::string what;
  };
  const std::vector<Case> cases = {
      {{"--title", "4"}, "title 4 does not exist (the disc has titles 1-3)"},
      {{"--title", "2", "--chapters", "3"}, "title 2 has chapters 1-2, not 3"},
      {{"--title", "1", "--chapters", "4-6"}, "title 1 has chapters 1-5, not 4-6"},
      {{"--titleset", "2", "--pgc", "1"}, "title set 2 does not exist (the disc has title set 1)"},
      {{"--titleset", "1", "--pgc", "5"},
       "program chain 5 does not exist in title set 1 (it has program chains 1-4)"},
      {{"--title", "1", "--audio", "4"}, "title 1 has audio tracks 1-3, not 4"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"dvd", kTitles, "-o", out};
    args.insert(args.end(), c.args.begin(), c.args.end());
    SCOPED_TRACE(c.what);
    expectRefused(runTool(args), 2, kTitles + "/VIDEO_TS: " + c.what);
    EXPECT_TRUE(fs::is_empty(dir.root()));
  }
  expectRefused(runTool({"dvd", kTitles, "--title", "1", "--chapters", "3-2"}), 2,
                "--chapters takes A or A-B, chapter numbers from 1 with A <= B, not '3-2'");
  expectRefused(runTool({"dvd", kTitles, "--title", "100"}), 2, "--title takes a number from 1 to 99");
  expectRefused(runTool({"chapters", kTitles, "--title", "5"}), 2, "title 5 does not exist");
  expectRefused(runTool({"info", kTitles, "--title", "5"}), 2, "title 5 does not exist");
  expectRefused(runTool({"demux", kTitles, "--title", "3", "--chapters", "9", "--video", out}), 2,
                "title 3 has chapters 1-2, not 9");
  EXPECT_TRUE(fs::is_empty(dir.root()));
}

// A track the chain leaves out, or a language none of the title's tracks
// is in, is the disc's answer: status 1, the tracks there are named.
TEST(ToolDvdTitle, TrackTheTitleDoesNotPlayIsRefusedBeforeWriting) {
  ScratchDir dir;
  const std::string out = dir.path("out.vob");
  expectRefused(runTool({"dvd", kTitles, "--title", "3", "--audio", "3", "-o", out}), 1,
                "title 3 does not play audio track 3 (its audio tracks: 1 en, 2 fr)");
  expectRefused(runTool({"dvd", kTitles, "--title", "3", "--audio", "de", "-o", out}), 1,
                "title 3 has no audio track in 'de' (its audio tracks: 1 en, 2 fr)");
  expectRefused(runTool({"demux", kTitles, "--title", "2", "--subtitle", "1=" + dir.path("s"),
                         "--audio", "1=" + dir.path("a.ac3")}),
                1, "title 2 does not play subtitle track 1 (its subtitle tracks: none)");
  expectRefused(runTool({"demux", kTitles, "--title", "1", "--audio", "xx=" + dir.path("a.ac3")}), 1,
                "title 1 has no audio track in 'xx' (its audio tracks: 1 en, 2 fr, 3 de)");
  EXPECT_TRUE(fs::is_empty(dir.root()));
}

// --audio keeps the stream the chains' control tables map the track to,
// by number or by language, and every pack of it; no other audio.
TEST(ToolDvdTitle, AudioTrackKeepsItsStreamOnly) {
  Result whole = runTool({"dvd", kTitles, "--title", "1"});
  ASSERT_EQ(whole.status, 0) << whole.err;
  const std::map<int, int> all = audioPacks(whole.out);
  ASSERT_EQ(all.size(), 3u);
  const std::vector<std::pair<std::string, int>> cases = {
      {"1", 0xBD81}, {"en", 0xBD81}, {"EN", 0xBD81}, {"2", 0xBD80}, {"fr", 0xBD80}, {"de", 0xC0}};
  for (const auto& [track, stream] : cases) {
    SCOPED_TRACE(track);
    Result run = runTool({"dvd", kTitles, "--title", "1", "--audio", track});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(audioPacks(run.out), (std::map<int, int>{{stream, all.at(stream)}}));
    EXPECT_EQ(run.out.size(), whole.out.size() - 2048u * static_cast<std::size_t>(
                                  all.at(0xBD80) + all.at(0xBD81) + all.at(0xC0) - all.at(stream)));
  }
  // A DTS and an LPCM track of the streams disc.
  for (const auto& [track, stream] : std::vector<std::pair<std::string, int>>{{"en", 0xBD88}, {"3", 0xBDA2}}) {
    Result run = runTool({"dvd", kSamples + "/dvd-streams", "--title", "1", "--audio", track});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::map<int, int> kept = audioPacks(run.out);
    ASSERT_EQ(kept.size(), 1u) << track;
    EXPECT_EQ(kept.begin()->first, stream);
  }
  expectRefused(runTool({"dvd", kTitles, "--title", "1", "--audio", "1", "--ac3", "0"}), 2,
                "give one of --audio, --ac3 and --mpeg");
}

// demux writes each track in its own format: what ffmpeg copies of the
// stream id the track plays, from the bytes 'dvd' writes.
TEST(ToolDemuxTitle, AudioTrackIsTheStreamFfmpegCopies) {
  if (!commandExists("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed (apt-get install ffmpeg)";
  ScratchDir dir;
  const std::string vob = dir.path("t.vob");
  ASSERT_EQ(runTool({"dvd", kTitles, "--title", "1", "--chapters", "1-4", "-o", vob}).status, 0);
  Result run = runTool({"demux", kTitles, "--title", "1", "--chapters", "1-4", "--audio",
                        "en=" + dir.path("en.ac3"), "--audio", "2=" + dir.path("fr.ac3"), "--audio",
                        "3=" + dir.path("de.mp2"), "-q"});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<std::tuple<std::string, std::string, std::string>> streams = {
      {"en.ac3", "0x81", "ac3"}, {"fr.ac3", "0x80", "ac3"}, {"de.mp2", "0x1c0", "mp2"}};
  for (const auto& [file, id, format] : streams) {
    SCOPED_TRACE(file);
    const std::string ref = dir.path("ref." + file);
    Result copy = runShell("ffmpeg -v error -i " + quote(vob) + " -map 0:i:" + id + " -c copy -f " +
                           format + " " + quote(ref));
    ASSERT_EQ(copy.status, 0) << copy.err;
    // Ours runs from the first whole frame to the last; ffmpeg's copy also
    // keeps the partial frame the chapter cut ends in. So ours is ffmpeg's
    // copy without that tail: a prefix of it, shorter by less than one of
    // its frames (their sizes as ffprobe reads them).
    const std::string theirs = readWholeFile(ref), ours = readWholeFile(dir.path(file));
    ASSERT_GT(ours.size(), 0u);
    ASSERT_LE(ours.size(), theirs.size());
    EXPECT_TRUE(theirs.compare(0, ours.size(), ours) == 0);
    Result sizes = runShell("ffprobe -v error -show_entries packet=size -of csv=p=0 " +
                            quote(dir.path(file)));
    ASSERT_EQ(sizes.status, 0) << sizes.err;
    std::istringstream lines(sizes.out);
    std::size_t frame = 0;
    for (std::string line; std::getline(lines, line);)
      if (!line.empty()) frame = std::max<std::size_t>(frame, std::stoul(line));
    EXPECT_LT(theirs.size() - ours.size(), frame);
  }
}

// DTS raw and LPCM as WAV: the streams disc's title 1 is its program chain
// 1, whose references ffmpeg made (samples/dvd-streams/refs).
TEST(ToolDemuxTitle, DtsAndLpcmTracksInTheirOwnFormats) {
  ScratchDir dir;
  Result run = runTool({"demux", kSamples + "/dvd-streams", "--title", "1", "--audio",
                        "1=" + dir.path("a.dts"), "--audio", "de=" + dir.path("b.wav"), "-q"});
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string refs = kSamples + "/dvd-streams/refs/";
  EXPECT_TRUE(readWholeFile(dir.path("a.dts")) == readWholeFile(refs + "vts.1.pgc.1.0x88.dts"));
  EXPECT_TRUE(readWholeFile(dir.path("b.wav")) == readWholeFile(refs + "vts.1.pgc.1.0xa1.wav"));
}

// A subtitle track is the stream for the title's aspect (wide on this 16:9
// disc), or the view asked for: the same packs as --vobsub of that id, with
// the track's language in the index.
TEST(ToolDemuxTitle, SubtitleTrackIsTheStreamForTheView) {
  ScratchDir dir;
  struct Case {
    std::vector<std::string> track;
    int stream;
    std::string language;
  };
  const std::vector<Case> cases = {{{"--subtitle", "1=%"}, 0, "en"},
                                   {{"--subtitle", "en=%", "--subtitle-view", "letterbox"}, 1, "en"},
                                   {{"--subtitle", "de=%"}, 2, "de"},
                                   {{"--subtitle", "2=%", "--subtitle-view", "letterbox"}, 3, "de"}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    const std::string ours = dir.path("ours" + std::to_string(i));
    const std::string raw = dir.path("raw" + std::to_string(i));
    std::vector<std::string> args = {"demux", kTitles, "--title", "1", "-q"};
    for (std::string a : cases[i].track) {
      if (a.back() == '%') a = a.substr(0, a.size() - 1) + ours;
      args.push_back(a);
    }
    Result run = runTool(args);
    ASSERT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(runTool({"demux", kTitles, "--title", "1", "-q", "--vobsub",
                       std::to_string(cases[i].stream) + "=" + raw})
                  .status,
              0);
    EXPECT_GT(readWholeFile(ours + ".sub").size(), 0u);
    EXPECT_TRUE(readWholeFile(ours + ".sub") == readWholeFile(raw + ".sub"));
    const std::string idx = readWholeFile(ours + ".idx");
    EXPECT_NE(idx.find("id: " + cases[i].language + ", index: " + std::to_string(cases[i].stream)),
              std::string::npos)
        << idx;
    EXPECT_NE(idx.find("size: 720x576"), std::string::npos);
  }
  expectRefused(runTool({"demux", kTitles, "--title", "1", "--subtitle", "1=" + dir.path("x"),
                         "--subtitle-view", "sideways"}),
                2, "--subtitle-view takes 4:3, wide, letterbox or pan-scan, not 'sideways'");
}

// Track numbers and languages: lsdvd lists, per title, the tracks its
// first chain plays, numbered and in the language the title set gives.
TEST(ToolInfoTitles, TracksAreTheOnesLsdvdLists) {
  if (!commandExists("lsdvd")) GTEST_SKIP() << "lsdvd is not installed (apt-get install lsdvd)";
  for (const std::string& disc : kDiscs) {
    SCOPED_TRACE(disc);
    Result lsdvd = runShell("lsdvd -a -s " + quote(kSamples + "/" + disc) + " 2>/dev/null");
    ASSERT_EQ(lsdvd.status, 0);
    Json info = parseJson(runTool({"info", kSamples + "/" + disc, "--json"}).out);
    std::regex titleLine("^Title: (\\d+),");
    std::regex audioLine("^\\s+Audio: (\\d+), Language: (\\w\\w) ");
    std::regex subtitleLine("^\\s+Subtitle: (\\d+), Language: (\\w\\w) ");
    std::map<int, std::string> theirs, ours;  // title * 1000 + track (subtitles + 500) -> language
    std::istringstream lines(lsdvd.out);
    std::string line;
    int title = 0;
    std::smatch m;
    while (std::getline(lines, line)) {
      if (std::regex_search(line, m, titleLine)) title = std::stoi(m[1]);
      if (std::regex_search(line, m, audioLine)) theirs[title * 1000 + std::stoi(m[1])] = m[2];
      if (std::regex_search(line, m, subtitleLine)) theirs[title * 1000 + 500 + std::stoi(m[1])] = m[2];
    }
    for (std::size_t t = 0; t < info["titles"].size(); ++t) {
      const Json& entry = info["titles"][t];
      // lsdvd looks at a title's first chain only: where ours plays more
      // chains, their tracks are compared through the first alone.
      const Json& chain = info["title_sets"][static_cast<std::size_t>(entry["title_set"].integer() - 1)]
                              ["pgcs"][static_cast<std::size_t>(entry["pgcs"][0].integer() - 1)];
      for (const char* kind : {"audio", "subtitles"}) {
        const int base = std::string(kind) == "audio" ? 0 : 500;
        for (std::size_t k = 0; k < chain[kind].size(); ++k) {
          const Json& track = chain[kind][k];
          if (track["carried"].boolean)
            ours[static_cast<int>(entry["title"].integer()) * 1000 + base +
                 static_cast<int>(track["track"].integer())] = track["language"].str;
        }
      }
    }
    EXPECT_EQ(ours, theirs);
  }
}

// The titles table: every title, the longest marked, the titles disc's
// title 1 lasting both its chains.
TEST(ToolInfoTitles, TableListsEveryTitleAndMarksTheLongest) {
  Result run = runTool({"info", kTitles});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("    1*  0:00:05.000         5       1          1  1,2        0.8 MiB  PAL 720x576 16:9\n"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("    3   0:00:02.000         2       1          1  4"), std::string::npos);
  EXPECT_NE(run.out.find("  Audio 1: en  ac3      2 ch  48000 Hz  stream 0x81\n"), std::string::npos);
  EXPECT_NE(run.out.find("  Audio 3: de  mpeg1    2 ch  48000 Hz  (not in this title)\n"),
            std::string::npos);
  EXPECT_NE(run.out.find("  Subtitle 2: de  stream 0x22 (wide), letterbox 0x23, pan-scan 0x20\n"),
            std::string::npos);
  Result one = runTool({"info", kTitles, "--title", "1"});
  ASSERT_EQ(one.status, 0) << one.err;
  EXPECT_NE(one.out.find("  Chapter 4: start 0:00:03.000, length 0:00:00.800\n"
                         "    program chain 2, cell 1: 0:00:00.800, sectors 213 to 331\n"),
            std::string::npos)
      << one.out;
  EXPECT_EQ(one.out.find("\n    2   0:00:02.000"), std::string::npos);
}

// A title's chapters, cut or whole, timed from the first one listed: the
// ffmetadata times are the chapters' cells' playback times (libdvdread's).
TEST(ToolChaptersTitle, TimedFromTheFirstChapterListed) {
  Facts facts = loadFacts("dvd-titles");
  auto cellTicks = [&](int pgc, int cell) {
    long long frames = 0;
    int rate = 0;
    const std::string& fact = facts["vts.1.pgc." + std::to_string(pgc) + ".cell." + std::to_string(cell) + ".time"];
    timeToFrames(fact.substr(0, fact.find(' ')), &frames, &rate);
    return frames * (rate == 30 ? 3003 : 3600);
  };
  // Chapters 2-4 of title 1: cells 2 and 3 of chain 1, cell 1 of chain 2.
  const long long c2 = cellTicks(1, 2), c3 = cellTicks(1, 3), c4 = cellTicks(2, 1);
  Result run = runTool({"chapters", kTitles, "--title", "1", "--chapters", "2-4", "--format", "ffmetadata"});
  ASSERT_EQ(run.status, 0) << run.err;
  auto block = [](long long start, long long end, int n) {
    return "\n[CHAPTER]\nTIMEBASE=1/90000\nSTART=" + std::to_string(start) + "\nEND=" +
           std::to_string(end) + "\ntitle=Chapter " + std::to_string(n) + "\n";
  };
  EXPECT_EQ(run.out, ";FFMETADATA1\n" + block(0, c2, 2) + block(c2, c2 + c3, 3) +
                         block(c2 + c3, c2 + c3 + c4, 4));
  Result ogm = runTool({"chapters", kTitles, "--title", "1", "--chapters", "4"});
  EXPECT_EQ(ogm.out, "CHAPTER01=00:00:00.000\nCHAPTER01NAME=Chapter 4\n");
}

// Every JSON document the tool writes follows docs/disc.schema.json.
TEST(ToolJson, EveryDocumentFollowsTheSchema) {
  Result check = runShell("python3 -c 'import jsonschema' 2>&1");
  if (check.status != 0) GTEST_SKIP() << "python3-jsonschema is not installed";
  ScratchDir dir;
  std::vector<std::vector<std::string>> runs;
  for (const std::string& disc : kDiscs) {
    runs.push_back({"info", kSamples + "/" + disc, "--json"});
    runs.push_back({"info", kSamples + "/" + disc, "--json", "--title", "1"});
    runs.push_back({"chapters", kSamples + "/" + disc, "--title", "1", "--format", "json"});
    runs.push_back({"chapters", kSamples + "/" + disc, "--titleset", "1", "--pgc", "1", "--format", "json"});
  }
  runs.push_back({"chapters", kTitles, "--title", "1", "--chapters", "3-4", "--format", "json"});
  std::string files;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    Result run = runTool(runs[i]);
    ASSERT_EQ(run.status, 0) << run.err;
    files += " " + quote(dir.write("doc" + std::to_string(i) + ".json", run.out));
  }
  const std::string schema = std::string(FENNORIA_SOURCE_DIR) + "/docs/disc.schema.json";
  Result validate = runShell(
      "python3 -c 'import json, sys, jsonschema\n"
      "schema = json.load(open(sys.argv[1]))\n"
      "jsonschema.Draft202012Validator.check_schema(schema)\n"
      "for name in sys.argv[2:]:\n"
      "    jsonschema.validate(json.load(open(name)), schema, cls=jsonschema.Draft202012Validator)\n"
      "' " + quote(schema) + files + " 2>&1");
  EXPECT_EQ(validate.status, 0) << validate.out << validate.err;
}

// The label of an image is its volume's name: what lsdvd calls the disc
// title (the UDF volume identifier), or for an ISO 9660-only image what
// isoinfo gives as the volume id; a folder has none.
TEST(ToolInfoTitles, DiscLabelIsTheImagesVolumeName) {
  ScratchDir dir;
  const std::string udf = dir.path("udf.iso"), iso = dir.path("iso.iso");
  ASSERT_EQ(testing_support::shell("genisoimage -quiet -dvd-video -udf -V FILM_2026 -o " + quote(udf) +
                                   " " + quote(kTitles)),
            0);
  ASSERT_EQ(testing_support::shell("xorriso -as mkisofs -quiet -V PLAIN_ISO -o " + quote(iso) + " " +
                                   quote(kTitles) + " 2>/dev/null"),
            0);
  std::string theirs = "FILM_2026";
  if (commandExists("lsdvd")) {
    Result lsdvd = runShell("lsdvd " + quote(udf) + " 2>/dev/null | sed -n 's/^Disc Title: //p'");
    theirs = lsdvd.out.substr(0, lsdvd.out.find('\n'));
  }
  EXPECT_EQ(parseJson(runTool({"info", udf, "--json"}).out)["disc"]["label"].str, theirs);
  Result isoinfo = runShell("isoinfo -d -i " + quote(iso) + " | sed -n 's/^Volume id: //p'");
  ASSERT_EQ(isoinfo.status, 0);
  EXPECT_EQ(parseJson(runTool({"info", iso, "--json"}).out)["disc"]["label"].str + "\n", isoinfo.out);
  EXPECT_NE(runTool({"info", udf}).out.find("\nLabel \"FILM_2026\"\n"), std::string::npos);
  EXPECT_EQ(parseJson(runTool({"info", kTitles, "--json"}).out)["disc"]["label"].kind, Json::Null);
}
