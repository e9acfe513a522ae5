// fennoria info: a readable table (or JSON) of a DVD folder's title sets,
// program chains, cells, audio and subpicture streams.
#include <cmath>
#include <cstdio>

#include "cli/cli.h"
#include "cli/disc_report.h"
#include "cli/json_writer.h"
#include "cli/selection.h"
#include "dvdnav/cell_layout.h"
#include "dvdnav/chapter_list.h"
#include "dvdnav/dvd_title_reader.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria info VIDEO_TS [--title T] [--chains] [--json]\n"
    "\n"
    "Lists the disc's label (an image's or drive's volume name) and its titles\n"
    "as players number them: duration, chapters, angles, title set and program\n"
    "chains, size, video standard, frame size and aspect, the longest title\n"
    "marked with '*'; then each title's audio tracks (number, language,\n"
    "coding, channels, sampling rate, the stream the title plays) and subtitle\n"
    "tracks (number, language, the stream for each display mode, the one for\n"
    "the title's aspect first). Track numbers are the ones 'fennoria dvd\n"
    "--audio' and 'fennoria demux --audio' take.\n"
    "\n"
    "  VIDEO_TS    the folder with VIDEO_TS.IFO (or the folder above it), a disc\n"
    "              image (movie.iso, UDF or ISO 9660) or, on Linux, a drive\n"
    "  -t, --title T  only title T, with its chapters and cells\n"
    "  --chains    also every title set's program chains: duration, programs,\n"
    "              cells, first and last sector, size, chapters (the numbers\n"
    "              --titleset and --pgc take)\n"
    "  --json      one JSON document instead (docs/disc-json.md): the titles\n"
    "              with their tracks, chapters and cells, and every title set's\n"
    "              program chains\n"
    "\n"
    "examples:\n"
    "  fennoria info /media/dvd\n"
    "  fennoria info movie.iso --title 1\n"
    "  fennoria info /media/dvd --json | jq '.titles[] | select(.longest) | .title'\n";

constexpr std::int64_t kSector = dvdnav::sectorSize;

double seconds(std::int32_t frames, std::int32_t rate) {
  return rate > 0 ? static_cast<double>(frames) / rate : 0.0;
}

std::string clock(double s) {
  long long ms = std::llround(s * 1000.0);
  char text[32];
  std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", ms / 3600000, ms / 60000 % 60,
                ms / 1000 % 60, ms % 1000);
  return text;
}

std::string mebibytes(std::int64_t sectors) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(sectors) / 512.0);
  return text;
}

// "1 title", "3 titles".
std::string counted(std::size_t n, const char* what) {
  return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

std::string joined(const std::vector<std::int32_t>& numbers) {
  std::string text;
  for (std::int32_t n : numbers) text += (text.empty() ? "" : ",") + std::to_string(n);
  return text;
}

void printTitleRow(const TitleReport& t) {
  const dvdnav::TitleEntry& e = *t.entry;
  if (!t.title) {
    std::printf("%5d   %-12s %8d %7d %10d  cannot be played: %s\n", t.number, "-", e.numparts,
                e.numangles, e.vtsnumber, t.problem.c_str());
    return;
  }
  std::printf("%5d%c  %-12s %8zu %7d %10d  %-7s %10s  %s\n", t.number, t.longest ? '*' : ' ',
              dvdnav::ticksClock(t.ticks, false).c_str(), t.title->chapters.size(), e.numangles,
              e.vtsnumber, joined(t.chains).c_str(), mebibytes(t.sectors).c_str(),
              videoSummary(t.titleSet->attributes.title.video).c_str());
}

void printTracks(const TitleReport& t) {
  if (!t.title) return;
  std::printf("\nTitle %d\n", t.number);
  for (const auto& track : t.audio) {
    const auto& a = track.attributes;
    std::printf("  Audio %d: %-3s %-8s %d ch  %d Hz", track.number,
                languageText(a.specificcode).c_str(), dvdnav::audioCodingName(a.codingmode),
                a.channels, dvdnav::audioSampleRate(a));
    if (a.codingmode == dvdnav::kCodingLpcm) std::printf(" %d bits", dvdnav::lpcmBits(a));
    if (track.carried)
      std::printf("  stream %s\n", streamIdText(track.streamId).c_str());
    else
      std::printf("  (not in this title)\n");
  }
  const dvdnav::SubtitleView view = dvdnav::defaultSubtitleView(t.titleSet->attributes.title.video);
  for (const auto& track : t.subtitles) {
    std::printf("  Subtitle %d: %-3s", track.number,
                languageText(track.attributes.specificcode).c_str());
    if (!track.carried) {
      std::printf(" (not in this title)\n");
      continue;
    }
    std::printf(" stream %s (%s)", streamIdText(dvdnav::subtitleStreamId(track, view)).c_str(),
                dvdnav::subtitleViewName(view));
    for (int v = 0; v < dvdnav::kSubtitleViews; ++v) {
      const auto other = static_cast<dvdnav::SubtitleView>(v);
      if (other != view && dvdnav::subtitleViewApplies(t.titleSet->attributes.title.video, other))
        std::printf(", %s %s", dvdnav::subtitleViewName(other),
                    streamIdText(dvdnav::subtitleStreamId(track, other)).c_str());
    }
    std::printf("\n");
  }
}

void printChapters(const TitleReport& t) {
  const std::int32_t count = static_cast<std::int32_t>(t.title->chapters.size());
  for (const ChapterReport& chapter : titleChapters(t, 1, count)) {
    std::printf("  Chapter %d: start %s, length %s\n", chapter.chapter,
                dvdnav::ticksClock(chapter.start, false).c_str(),
                dvdnav::ticksClock(chapter.length, false).c_str());
    for (const CellReport& cell : chapter.cells)
      std::printf("    program chain %d, cell %d: %s, sectors %d to %d\n", cell.pgc, cell.cell,
                  dvdnav::ticksClock(cell.ticks, false).c_str(), cell.firstSector,
                  cell.lastSector);
  }
}

void printTitles(const Disc& disc, const std::vector<TitleReport>& titles, std::int32_t only) {
  const DvdTitleReader& r = *disc.reader;
  const auto& vmg = *r.videoManager;
  std::printf("Disc %s\n", disc.folder.c_str());
  if (!disc.label.empty()) std::printf("Label \"%s\"\n", disc.label.c_str());
  std::printf("Provider \"%s\", volume %d of %d, side %d, %s, %s\n", vmg.providerid.c_str(),
              vmg.volume, vmg.numvolumes, vmg.diskside, counted(vmg.titles.size(), "title").c_str(),
              counted(r.titleSets.size(), "title set").c_str());
  std::printf("\nTitle   Duration     Chapters  Angles  Title set  Chains        Size  Video\n");
  for (const TitleReport& t : titles)
    if (only == 0 || t.number == only) printTitleRow(t);
  if (only == 0) std::printf("(* the longest title)\n");
  for (const TitleReport& t : titles) {
    if (only != 0 && t.number != only) continue;
    printTracks(t);
    if (only != 0 && t.title) printChapters(t);
  }
}

// The title sets' program chains, as --titleset and --pgc number them.
void printChains(const Disc& disc) {
  const DvdTitleReader& r = *disc.reader;
  for (std::size_t s = 0; s < r.titleSets.size(); ++s) {
    const auto& vts = *r.titleSets[s];
    if (const std::string* why = disc.unusable(static_cast<std::int32_t>(s + 1))) {
      std::printf("\nTitle set %zu: unusable (%s)\n", s + 1, why->c_str());
      continue;
    }
    std::printf("\nTitle set %zu: %s\n", s + 1,
                counted(vts.programchains.size(), "program chain").c_str());
    std::printf("  Video %s\n", videoSummary(vts.attributes.title.video).c_str());
    const auto& audio = vts.attributes.title.audio;
    for (std::size_t a = 0; a < audio.size(); ++a) {
      std::printf("  Audio %zu: %-3s %-8s %d ch  %d Hz", a + 1,
                  languageText(audio[a].specificcode).c_str(),
                  dvdnav::audioCodingName(audio[a].codingmode), audio[a].channels,
                  dvdnav::audioSampleRate(audio[a]));
      if (audio[a].codingmode == dvdnav::kCodingLpcm)
        std::printf(" %d bits", dvdnav::lpcmBits(audio[a]));
      std::printf("\n");
    }
    const auto& subs = vts.attributes.title.subpictures;
    for (std::size_t p = 0; p < subs.size(); ++p)
      std::printf("  Subtitle %zu: %s\n", p + 1, languageText(subs[p].specificcode).c_str());
    std::printf("  PGC  Duration      Programs  Cells  First sector  Last sector  Sectors  Bytes\n");
    for (std::size_t p = 0; p < vts.programchains.size(); ++p) {
      const auto& pgc = vts.programchains[p];
      std::string d = clock(seconds(pgc.numframes, pgc.framerate));
      if (pgc.cells.empty()) {
        std::printf("  %3zu  %-12s  %8d  %5d  (no cells)\n", p + 1, d.c_str(), pgc.numprograms, 0);
        continue;
      }
      std::int64_t first = pgc.cells.front().startcfvobu, last = pgc.cells.back().endclvobu;
      const dvdnav::CellLayout layout = dvdnav::cellLayout(pgc);
      std::printf("  %3zu  %-12s  %8d  %5zu  %12lld  %11lld  ", p + 1, d.c_str(), pgc.numprograms,
                  pgc.cells.size(), static_cast<long long>(first), static_cast<long long>(last));
      if (layout.inRangeOrder)
        std::printf("%7lld  %lld\n", static_cast<long long>(layout.rangeSectors),
                    static_cast<long long>(layout.rangeSectors * kSector));
      else
        std::printf("cells out of order; in playback order %lld sectors, %lld bytes\n",
                    static_cast<long long>(layout.playbackSectors),
                    static_cast<long long>(layout.playbackSectors * kSector));
      for (std::size_t c = 0; c < pgc.cells.size(); ++c) {
        const auto& cell = pgc.cells[c];
        std::printf("       cell %zu: %s, sectors %d to %d\n", c + 1,
                    clock(seconds(cell.numframes, cell.framerate)).c_str(), cell.startcfvobu,
                    cell.endclvobu);
      }
      std::string problem;
      for (const auto& chapter : chainChapters(pgc, static_cast<std::int32_t>(p + 1), &problem))
        std::printf("       chapter %d: start %s, length %s, first cell %d\n", chapter.chapter,
                    dvdnav::ticksClock(chapter.start, false).c_str(),
                    dvdnav::ticksClock(chapter.length, false).c_str(),
                    chapter.cells.empty() ? 0 : chapter.cells.front().cell);
      if (!problem.empty()) std::printf("       chapters: none (%s)\n", problem.c_str());
    }
  }
}

}  // namespace

std::string languageText(const std::array<char, 2>& code) {
  std::string text;
  for (char c : code)
    if (c >= 0x20 && c < 0x7F) text += c;
  return text;
}

int runInfo(const std::vector<std::string>& argv) {
  Args args("info", argv,
            {{"--json", nullptr, false, false},
             {"--title", "-t", true, false},
             {"--chains", nullptr, false, false}});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("info", "give exactly one VIDEO_TS folder or disc image");
  Disc disc(args.positional[0]);
  Selection only;
  if (args.has("--title")) {
    only.title = args.number("--title", 1, 99, 0);
    checkNumbers(disc, only);
  }
  const DvdTitleReader& reader = *disc.reader;
  const std::vector<TitleReport> titles = titleReports(reader);
  if (args.has("--json")) {
    JsonWriter json;
    json.object();
    writeDiscJson(json, disc, titles);
    json.array("titles");
    for (const TitleReport& t : titles)
      if (only.title == 0 || t.number == only.title)
        writeTitleJson(json, t, 1, t.title ? static_cast<std::int32_t>(t.title->chapters.size()) : 0);
    json.end();
    if (only.title == 0 || args.has("--chains")) {
      json.array("title_sets");
      for (std::size_t i = 0; i < reader.titleSets.size(); ++i)
        writeTitleSetJson(json, *reader.titleSets[i], reader.titleSetNumbers[i], {},
                          disc.unusable(reader.titleSetNumbers[i]));
      json.end();
    }
    json.end();
    std::fputs(json.text().c_str(), stdout);
  } else {
    printTitles(disc, titles, only.title);
    if (args.has("--chains")) printChains(disc);
  }
  if (std::fflush(stdout) != 0) fail("standard output", "write failed (" + errnoText() + ")");
  return 0;
}

}  // namespace cli
