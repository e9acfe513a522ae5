// fennoria chapters: the chapters of one program chain (one per program,
// timed from the cells' playback times) as an OGM chapter file, an
// ffmetadata file or JSON.
#include <sstream>

#include "cli/cli.h"
#include "cli/inputs.h"
#include "dvdnav/chapter_list.h"
#include "dvdnav/dvd_title_reader.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria chapters VIDEO_TS --title N --pgc P [--format ogm|ffmetadata|json]\n"
    "                         [-o OUT]\n"
    "\n"
    "Lists the chapters of one program chain of a title set: one chapter per\n"
    "program, starting where the program's first cell starts (the playback\n"
    "times of the cells before it, in chain order, added up exactly and rounded\n"
    "to the millisecond only when printed). Only the IFO files are read.\n"
    "\n"
    "  VIDEO_TS           the folder with VIDEO_TS.IFO (or the folder above it)\n"
    "                     or a disc image (movie.iso, UDF or ISO 9660) or, on\n"
    "                     Linux, a drive (/dev/sr0)\n"
    "  --title N          title set number, 1-99 (as 'fennoria info' lists them)\n"
    "  --pgc P            program chain of the title set, from 1\n"
    "  --format F         ogm (default): CHAPTER01=00:00:00.000 and\n"
    "                       CHAPTER01NAME=Chapter 1 lines;\n"
    "                     ffmetadata: ;FFMETADATA1 and one [CHAPTER] block per\n"
    "                       chapter, TIMEBASE=1/90000, START and END in ticks;\n"
    "                     json: the title set, the program chain and each\n"
    "                       chapter's number, start_seconds, length_seconds and\n"
    "                       first_cell\n"
    "  -o, --output OUT   write to OUT (renamed into place when complete)\n"
    "\n"
    "examples:\n"
    "  fennoria chapters /media/dvd/VIDEO_TS --title 1 --pgc 1 -o chapters.txt\n"
    "  fennoria chapters /media/dvd/VIDEO_TS --title 1 --pgc 1 --format ffmetadata \\\n"
    "      -o meta.txt                        (the metadata file ffmpeg reads)\n"
    "  fennoria chapters /media/dvd --title 2 --pgc 1 --format json | jq '.chapters[1]'\n";

std::string twoDigits(std::int32_t n) {
  return (n < 10 ? "0" : "") + std::to_string(n);
}

std::string ogm(const std::vector<dvdnav::Chapter>& chapters) {
  std::ostringstream o;
  for (const auto& c : chapters) {
    std::string tag = "CHAPTER" + twoDigits(c.number);
    o << tag << "=" << dvdnav::ticksClock(c.start, true) << "\n"
      << tag << "NAME=Chapter " << c.number << "\n";
  }
  return o.str();
}

std::string ffmetadata(const std::vector<dvdnav::Chapter>& chapters) {
  std::ostringstream o;
  o << ";FFMETADATA1\n";
  for (const auto& c : chapters)
    o << "\n[CHAPTER]\nTIMEBASE=1/90000\nSTART=" << c.start << "\nEND=" << c.start + c.length
      << "\ntitle=Chapter " << c.number << "\n";
  return o.str();
}

std::string json(const std::vector<dvdnav::Chapter>& chapters, std::int32_t titleSet,
                 std::int32_t pgc) {
  std::ostringstream o;
  o << "{\n  \"title_set\": " << titleSet << ",\n  \"pgc\": " << pgc << ",\n  \"chapters\": [";
  for (std::size_t i = 0; i < chapters.size(); ++i) {
    const auto& c = chapters[i];
    o << (i ? "," : "") << "\n    {\"number\": " << c.number
      << ", \"start_seconds\": " << dvdnav::ticksSeconds(c.start)
      << ", \"length_seconds\": " << dvdnav::ticksSeconds(c.length)
      << ", \"first_cell\": " << c.firstCell << "}";
  }
  o << (chapters.empty() ? "" : "\n  ") << "]\n}\n";
  return o.str();
}

}  // namespace

int runChapters(const std::vector<std::string>& argv) {
  Args args("chapters", argv,
            {{"--title", "-t", true, false},
             {"--pgc", "-p", true, false},
             {"--format", "-f", true, false},
             {"-o", "--output", true, false}});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("chapters", "give exactly one VIDEO_TS folder or disc image");
  if (!args.has("--title")) usage("chapters", "missing --title N");
  if (!args.has("--pgc")) usage("chapters", "missing --pgc P");
  std::string format = args.has("--format") ? args.value("--format") : "ogm";
  if (format != "ogm" && format != "ffmetadata" && format != "json")
    usage("chapters", "unknown --format '" + format + "' (ogm, ffmetadata or json)");
  std::int32_t titleSet = args.number("--title", 1, 99, 0);
  std::int32_t pgc = args.number("--pgc", 1, 9999, 0);

  Disc disc(args.positional[0]);
  const DvdTitleReader& reader = *disc.reader;
  std::int32_t sets = static_cast<std::int32_t>(reader.titleSets.size());
  if (titleSet > sets)
    fail(disc.folder, "title set " + std::to_string(titleSet) + " does not exist (the disc has " +
                          std::to_string(sets) + ")");
  if (const std::string* why = disc.unusable(titleSet))
    fail(disc.folder, "title set " + std::to_string(titleSet) + " cannot be used: " + *why);
  const auto& chains = reader.titleSets[static_cast<std::size_t>(titleSet - 1)]->programchains;
  std::int32_t count = static_cast<std::int32_t>(chains.size());
  if (pgc > count)
    fail(disc.folder, "program chain " + std::to_string(pgc) + " does not exist in title set " +
                          std::to_string(titleSet) + " (it has " + std::to_string(count) + ")");

  std::vector<dvdnav::Chapter> chapters;
  try {
    chapters = dvdnav::chapterList(chains[static_cast<std::size_t>(pgc - 1)]);
  } catch (const dvdnav::ChapterError& error) {
    fail(disc.folder, "program chain " + std::to_string(pgc) + " of title set " +
                          std::to_string(titleSet) + ": " + error.what());
  }

  std::string text = format == "ogm"          ? ogm(chapters)
                     : format == "ffmetadata" ? ffmetadata(chapters)
                                              : json(chapters, titleSet, pgc);
  InputFiles inputs;
  disc.addInputs(inputs);
  Output out("chapters", args.value("-o"), inputs, true);
  out.write(text.data(), text.size());
  out.commit();
  return 0;
}

}  // namespace cli
