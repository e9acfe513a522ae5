// fennoria info: a readable table (or JSON) of a DVD folder's title sets,
// program chains, cells, audio and subpicture streams.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "cli/cli.h"
#include "dvdnav/cell_layout.h"
#include "dvdnav/chapter_list.h"
#include "dvdnav/dvd_title_reader.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria info VIDEO_TS [--json]\n"
    "\n"
    "Lists the titles of the Video Manager, and for every title set its audio\n"
    "streams (coding: ac3, mpeg1, mpeg2ext, dts or lpcm; channels; language;\n"
    "for LPCM the sampling rate and bits), its subpicture streams and its\n"
    "program chains: duration (from the frame count and rate of the playback\n"
    "time), programs, cells, first and last sector, sectors and bytes, and its\n"
    "chapters (one per program: start, length and first cell, as 'fennoria\n"
    "chapters' gives them). Title set, program chain and cell numbers are the\n"
    "ones 'fennoria dvd' and 'fennoria demux' take.\n"
    "\n"
    "  VIDEO_TS the folder with VIDEO_TS.IFO (or the folder above it), a disc\n"
    "           image (movie.iso, UDF or ISO 9660) or, on Linux, a drive (/dev/sr0)\n"
    "  --json   one JSON object instead of the table, for scripts\n"
    "\n"
    "examples:\n"
    "  fennoria info /media/dvd/VIDEO_TS\n"
    "  fennoria info movie.iso\n"
    "  fennoria info /media/dvd/VIDEO_TS --json | jq '.title_sets[0].pgcs[0].duration'\n";

const char* codingName(std::int32_t mode) {
  switch (mode) {
    case 0: return "ac3";
    case 2: return "mpeg1";
    case 3: return "mpeg2ext";
    case 4: return "lpcm";
    case 6: return "dts";
    default: return "unknown";
  }
}

// The sampling rate and bits of an LPCM stream: the two frequencies and
// three quantizations a DVD allows (0 for the reserved values).
int lpcmRate(const dvdnav::AudioAttributes& audio) {
  return audio.samplingcode == 0 ? 48000 : audio.samplingcode == 1 ? 96000 : 0;
}
int lpcmBits(const dvdnav::AudioAttributes& audio) {
  return audio.quant < 3 ? 16 + 4 * audio.quant : 0;
}
constexpr std::int32_t kLpcm = 4;

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      out += escape;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

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

std::string decimals(double s) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", s);
  return text;
}

constexpr std::int64_t kSector = dvdnav::sectorSize;

// The chain's chapters, or why it has none that can be timed.
std::vector<dvdnav::Chapter> chaptersOf(const dvdnav::ProgramChain& pgc, std::string* problem) {
  try {
    return dvdnav::chapterList(pgc);
  } catch (const dvdnav::ChapterError& error) {
    *problem = error.what();
    return {};
  }
}

void printJson(const Disc& disc) {
  const DvdTitleReader& r = *disc.reader;
  const std::string& folder = disc.folder;
  const auto& vmg = *r.videoManager;
  std::ostringstream o;
  o << "{\n  \"folder\": " << jsonString(folder) << ",\n"
    << "  \"provider_id\": " << jsonString(vmg.providerid) << ",\n"
    << "  \"volumes\": " << vmg.numvolumes << ",\n  \"volume\": " << vmg.volume
    << ",\n  \"disc_side\": " << vmg.diskside << ",\n  \"title_set_count\": " << vmg.numtitles
    << ",\n  \"titles\": [";
  for (std::size_t i = 0; i < vmg.titles.size(); ++i) {
    const auto& t = vmg.titles[i];
    o << (i ? "," : "") << "\n    {\"title\": " << i + 1 << ", \"title_set\": " << t.vtsnumber
      << ", \"title_in_set\": " << t.vtstitlenumber << ", \"chapters\": " << t.numparts
      << ", \"angles\": " << t.numangles << "}";
  }
  o << "\n  ],\n  \"title_sets\": [";
  for (std::size_t s = 0; s < r.titleSets.size(); ++s) {
    const auto& vts = *r.titleSets[s];
    o << (s ? "," : "") << "\n    {\n      \"title_set\": " << s + 1 << ",\n";
    if (const std::string* why = disc.unusable(static_cast<std::int32_t>(s + 1)))
      o << "      \"unusable\": " << jsonString(*why) << ",\n";
    o << "      \"audio\": [";
    const auto& audio = vts.attributes.title.audio;
    for (std::size_t a = 0; a < audio.size(); ++a)
      o << (a ? "," : "") << "\n        {\"stream\": " << a << ", \"coding\": "
        << jsonString(codingName(audio[a].codingmode)) << ", \"coding_mode\": "
        << audio[a].codingmode << ", \"channels\": " << audio[a].channels
        << ", \"language\": " << jsonString(languageText(audio[a].specificcode))
        << (audio[a].codingmode == kLpcm ? ", \"sample_rate\": " + std::to_string(lpcmRate(audio[a])) +
                                              ", \"bits\": " + std::to_string(lpcmBits(audio[a]))
                                        : std::string())
        << "}";
    o << (audio.empty() ? "" : "\n      ") << "],\n      \"subpictures\": [";
    const auto& subs = vts.attributes.title.subpictures;
    for (std::size_t p = 0; p < subs.size(); ++p)
      o << (p ? "," : "") << "\n        {\"stream\": " << p
        << ", \"language\": " << jsonString(languageText(subs[p].specificcode)) << "}";
    o << (subs.empty() ? "" : "\n      ") << "],\n      \"pgcs\": [";
    for (std::size_t p = 0; p < vts.programchains.size(); ++p) {
      const auto& pgc = vts.programchains[p];
      o << (p ? "," : "") << "\n        {\"pgc\": " << p + 1 << ", \"programs\": "
        << pgc.numprograms << ", \"cells\": " << pgc.cells.size() << ", \"frames\": "
        << pgc.numframes << ", \"frame_rate\": " << pgc.framerate << ", \"duration\": "
        << decimals(seconds(pgc.numframes, pgc.framerate));
      if (!pgc.cells.empty()) {
        std::int64_t first = pgc.cells.front().startcfvobu, last = pgc.cells.back().endclvobu;
        const dvdnav::CellLayout layout = dvdnav::cellLayout(pgc);
        // An empty range (cells in reverse) counts 0, never less.
        const std::int64_t range = std::max<std::int64_t>(layout.rangeSectors, 0);
        o << ", \"first_sector\": " << first << ", \"last_sector\": " << last
          << ", \"sectors\": " << range << ", \"bytes\": " << range * kSector
          << ", \"cells_in_order\": " << (layout.inRangeOrder ? "true" : "false")
          << ", \"playback_sectors\": " << layout.playbackSectors
          << ", \"playback_bytes\": " << layout.playbackSectors * kSector;
      }
      o << ",\n         \"cell_list\": [";
      for (std::size_t c = 0; c < pgc.cells.size(); ++c) {
        const auto& cell = pgc.cells[c];
        o << (c ? "," : "") << "\n           {\"cell\": " << c + 1 << ", \"first_sector\": "
          << cell.startcfvobu << ", \"last_sector\": " << cell.endclvobu << ", \"frames\": "
          << cell.numframes << ", \"frame_rate\": " << cell.framerate << ", \"duration\": "
          << decimals(seconds(cell.numframes, cell.framerate)) << "}";
      }
      o << (pgc.cells.empty() ? "" : "\n         ") << "],\n         \"chapter_list\": [";
      std::string problem;
      auto chapters = chaptersOf(pgc, &problem);
      for (std::size_t c = 0; c < chapters.size(); ++c)
        o << (c ? "," : "") << "\n           {\"number\": " << chapters[c].number
          << ", \"start_seconds\": " << dvdnav::ticksSeconds(chapters[c].start)
          << ", \"length_seconds\": " << dvdnav::ticksSeconds(chapters[c].length)
          << ", \"first_cell\": " << chapters[c].firstCell << "}";
      o << (chapters.empty() ? "" : "\n         ") << "]";
      if (!problem.empty()) o << ", \"chapter_problem\": " << jsonString(problem);
      o << "}";
    }
    o << (vts.programchains.empty() ? "" : "\n      ") << "]\n    }";
  }
  o << "\n  ]\n}\n";
  std::fputs(o.str().c_str(), stdout);
}

void printTable(const Disc& disc) {
  const DvdTitleReader& r = *disc.reader;
  const std::string& folder = disc.folder;
  const auto& vmg = *r.videoManager;
  std::printf("Disc %s\n", folder.c_str());
  std::printf("Provider \"%s\", volume %d of %d, side %d, %s, %s\n", vmg.providerid.c_str(),
              vmg.volume, vmg.numvolumes, vmg.diskside, counted(vmg.titles.size(), "title").c_str(),
              counted(r.titleSets.size(), "title set").c_str());
  std::printf("\nTitle  Title set  In set  Chapters  Angles\n");
  for (std::size_t i = 0; i < vmg.titles.size(); ++i) {
    const auto& t = vmg.titles[i];
    std::printf("%5zu  %9d  %6d  %8d  %6d\n", i + 1, t.vtsnumber, t.vtstitlenumber, t.numparts,
                t.numangles);
  }
  for (std::size_t s = 0; s < r.titleSets.size(); ++s) {
    const auto& vts = *r.titleSets[s];
    if (const std::string* why = disc.unusable(static_cast<std::int32_t>(s + 1))) {
      std::printf("\nTitle set %zu: unusable (%s)\n", s + 1, why->c_str());
      continue;
    }
    std::printf("\nTitle set %zu: %s\n", s + 1,
                counted(vts.programchains.size(), "program chain").c_str());
    const auto& audio = vts.attributes.title.audio;
    for (std::size_t a = 0; a < audio.size(); ++a) {
      std::printf("  Audio %zu: %-8s %d ch  %s", a, codingName(audio[a].codingmode),
                  audio[a].channels, languageText(audio[a].specificcode).c_str());
      if (audio[a].codingmode == kLpcm)
        std::printf("  %d Hz %d bits", lpcmRate(audio[a]), lpcmBits(audio[a]));
      std::printf("\n");
    }
    const auto& subs = vts.attributes.title.subpictures;
    for (std::size_t p = 0; p < subs.size(); ++p)
      std::printf("  Subpicture %zu: %s\n", p, languageText(subs[p].specificcode).c_str());
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
      for (const auto& chapter : chaptersOf(pgc, &problem))
        std::printf("       chapter %d: start %s, length %s, first cell %d\n", chapter.number,
                    dvdnav::ticksClock(chapter.start, false).c_str(),
                    dvdnav::ticksClock(chapter.length, false).c_str(), chapter.firstCell);
      if (!problem.empty()) std::printf("       chapters: none (%s)\n", problem.c_str());
    }
  }
}

}  // namespace

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string languageText(const std::array<char, 2>& code) {
  std::string text;
  for (char c : code)
    if (c >= 0x20 && c < 0x7F) text += c;
  return text;
}

int runInfo(const std::vector<std::string>& argv) {
  Args args("info", argv, {{"--json", nullptr, false, false}});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("info", "give exactly one VIDEO_TS folder or disc image");
  Disc disc(args.positional[0]);
  if (args.has("--json"))
    printJson(disc);
  else
    printTable(disc);
  if (std::fflush(stdout) != 0) fail("standard output", "write failed (" + errnoText() + ")");
  return 0;
}

}  // namespace cli
