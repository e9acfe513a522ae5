// fennoria chapters: the chapters of a disc title (or of some of them), or
// of one program chain (one per program), timed from the cells' playback
// times, as an OGM chapter file, an ffmetadata file or JSON.
#include <sstream>

#include "cli/cli.h"
#include "cli/disc_report.h"
#include "cli/inputs.h"
#include "cli/selection.h"
#include "dvdnav/chapter_list.h"
#include "dvdnav/dvd_title_reader.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria chapters VIDEO_TS --title T [--chapters A[-B]]\n"
    "                         [--format ogm|ffmetadata|json] [-o OUT]\n"
    "       fennoria chapters VIDEO_TS --titleset N --pgc P [--format ...] [-o OUT]\n"
    "\n"
    "Lists the chapters of a disc title as players play it (its chapters in\n"
    "order, across its program chains), timed from the start of the first\n"
    "chapter listed, so that with --chapters A-B the times fit what 'fennoria\n"
    "dvd --title T --chapters A-B' writes. Or the chapters of one program\n"
    "chain of a title set: one per program. A chapter starts after the\n"
    "playback times of the cells before it, added up exactly and rounded to\n"
    "the millisecond only when printed. Only the IFO files are read.\n"
    "\n"
    "  VIDEO_TS           the folder with VIDEO_TS.IFO (or the folder above it)\n"
    "                     or a disc image (movie.iso, UDF or ISO 9660) or, on\n"
    "                     Linux, a drive (/dev/sr0)\n"
    "  -t, --title T      disc title, 1-99\n"
    "  --chapters A[-B]   only chapters A to B of the title\n"
    "  -T, --titleset N   title set (with --pgc: a program chain's chapters)\n"
    "  -p, --pgc P        program chain of the title set, from 1\n"
    "  --format F         ogm (default): CHAPTER01=00:00:00.000 and\n"
    "                       CHAPTER01NAME=Chapter 1 lines (numbered from 01 in\n"
    "                       the file, named by the disc's chapter numbers);\n"
    "                     ffmetadata: ;FFMETADATA1 and one [CHAPTER] block per\n"
    "                       chapter, TIMEBASE=1/90000, START and END in ticks;\n"
    "                     json: the document 'fennoria info --json' writes\n"
    "                       (docs/disc-json.md), with the title's (or chain's)\n"
    "                       chapters and cells\n"
    "  -o, --output OUT   write to OUT (renamed into place when complete)\n"
    "\n"
    "examples:\n"
    "  fennoria chapters /media/dvd --title 1 -o chapters.txt\n"
    "  fennoria chapters /media/dvd --title 1 --format ffmetadata -o meta.txt\n"
    "                                         (the metadata file ffmpeg reads)\n"
    "  fennoria chapters movie.iso --title 2 --chapters 3-5 --format json | jq '.titles[0].chapters'\n"
    "  fennoria chapters /media/dvd -T 1 --pgc 2\n";

std::string twoDigits(std::int32_t n) {
  return (n < 10 ? "0" : "") + std::to_string(n);
}

std::string ogm(const std::vector<ChapterReport>& chapters) {
  std::ostringstream o;
  for (std::size_t i = 0; i < chapters.size(); ++i) {
    std::string tag = "CHAPTER" + twoDigits(static_cast<std::int32_t>(i + 1));
    o << tag << "=" << dvdnav::ticksClock(chapters[i].start, true) << "\n"
      << tag << "NAME=Chapter " << chapters[i].chapter << "\n";
  }
  return o.str();
}

std::string ffmetadata(const std::vector<ChapterReport>& chapters) {
  std::ostringstream o;
  o << ";FFMETADATA1\n";
  for (const auto& c : chapters)
    o << "\n[CHAPTER]\nTIMEBASE=1/90000\nSTART=" << c.start << "\nEND=" << c.start + c.length
      << "\ntitle=Chapter " << c.chapter << "\n";
  return o.str();
}

// The chapters of the selection, and the JSON document that lists them.
struct Listed {
  std::vector<ChapterReport> chapters;
  std::string json;
};

Listed titleChaptersOf(const Disc& disc, const Selection& s) {
  const DvdTitleReader& reader = *disc.reader;
  const std::vector<TitleReport> titles = titleReports(reader);
  const TitleReport& title = titles[static_cast<std::size_t>(s.title - 1)];
  const std::int32_t count = static_cast<std::int32_t>(title.title->chapters.size());
  const std::int32_t first = s.firstChapter == 0 ? 1 : s.firstChapter;
  const std::int32_t last = s.lastChapter == 0 ? count : s.lastChapter;
  Listed listed;
  listed.chapters = titleChapters(title, first, last);
  JsonWriter json;
  json.object();
  writeDiscJson(json, disc, titles);
  json.array("titles");
  writeTitleJson(json, title, first, last);
  json.end().end();
  listed.json = json.text();
  return listed;
}

Listed chainChaptersOf(const Disc& disc, const Selection& s) {
  const DvdTitleReader& reader = *disc.reader;
  const auto& set = *reader.titleSets[static_cast<std::size_t>(s.titleSet - 1)];
  const auto& pgc = set.programchains[static_cast<std::size_t>(s.pgc - 1)];
  Listed listed;
  std::string problem;
  listed.chapters = chainChapters(pgc, s.pgc, &problem);
  if (!problem.empty())
    fail(disc.folder, "program chain " + std::to_string(s.pgc) + " of title set " +
                          std::to_string(s.titleSet) + ": " + problem);
  JsonWriter json;
  json.object();
  writeDiscJson(json, disc, titleReports(reader));
  json.array("title_sets");
  writeTitleSetJson(json, set, s.titleSet, {s.pgc - 1});
  json.end().end();
  listed.json = json.text();
  return listed;
}

}  // namespace

int runChapters(const std::vector<std::string>& argv) {
  std::vector<OptionDef> options = selectionOptions();
  options.insert(options.end(), {{"--format", "-f", true, false}, {"-o", "--output", true, false}});
  Args args("chapters", argv, options);
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("chapters", "give exactly one VIDEO_TS folder or disc image");
  const Selection selection = parseSelection(args, true);
  if (selection.cell != 0 || selection.range)
    usage("chapters", "--cell and --range choose sectors, not chapters");
  std::string format = args.has("--format") ? args.value("--format") : "ogm";
  if (format != "ogm" && format != "ffmetadata" && format != "json")
    usage("chapters", "unknown --format '" + format + "' (ogm, ffmetadata or json)");

  Disc disc(args.positional[0]);
  checkNumbers(disc, selection);
  const Listed listed = selection.title != 0 ? titleChaptersOf(disc, selection)
                                             : chainChaptersOf(disc, selection);
  std::string text = format == "ogm"          ? ogm(listed.chapters)
                     : format == "ffmetadata" ? ffmetadata(listed.chapters)
                                              : listed.json;
  InputFiles inputs;
  disc.addInputs(inputs);
  Output out("chapters", args.value("-o"), inputs, true);
  out.write(text.data(), text.size());
  out.commit();
  return 0;
}

}  // namespace cli
