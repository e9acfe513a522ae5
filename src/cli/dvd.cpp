// fennoria dvd: a program chain's (or one cell's) sector range, or its cells
// in playback order, from the joined VOB files, optionally keeping one audio
// stream with the reader's own sector filter (DvdTitleReader::filterSectors),
// as the filter applies it.
#include <vector>

#include "cli/cli.h"
#include "cli/inputs.h"
#include "disc/scrambled_packs.h"
#include "dvdnav/dvd_title_reader.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria dvd VIDEO_TS --title N --pgc P [--cell C] [--playback-order]\n"
    "                    [--ac3 K | --mpeg K] [-o OUT] [--quiet]\n"
    "\n"
    "Writes the sectors of one program chain of a title set (or of one of its\n"
    "cells) from the title set's joined VOB files: from the first cell's first\n"
    "sector to the last cell's last sector, as the filter delivers them in DVD\n"
    "mode. With --ac3 or --mpeg the packs of every other audio stream are left\n"
    "out (video, subpictures and navigation stay); with --mpeg the kept stream\n"
    "leaves as MPEG audio stream 0.\n"
    "\n"
    "With --playback-order the chain's cells are written as a player plays\n"
    "them: in the chain's order, each cell's own sectors only. Use it for\n"
    "chains whose cells skip over other titles' footage or come in another\n"
    "order; for a chain of adjoining cells both give the same bytes.\n"
    "\n"
    "  VIDEO_TS           the folder with VIDEO_TS.IFO (or the folder above it)\n"
    "                     or a disc image (movie.iso, UDF or ISO 9660) or, on\n"
    "                     Linux, a drive (/dev/sr0)\n"
    "  --title N          title set number, 1-99 (as 'fennoria info' lists them)\n"
    "  --pgc P            program chain of the title set, from 1\n"
    "  --cell C           only cell C of the program chain, from 1\n"
    "  --playback-order   the chain's cells in order, each its own sectors only\n"
    "                     (chains with angle blocks are refused)\n"
    "  --ac3 K            keep only AC-3 audio stream K (0-7, stream id 0x80+K)\n"
    "  --mpeg K           keep only MPEG audio stream K (0-31, stream id 0xC0+K)\n"
    "  -o, --output OUT   write to OUT (renamed into place when complete)\n"
    "  -q, --quiet        no progress line\n"
    "\n"
    "examples:\n"
    "  fennoria dvd /media/dvd/VIDEO_TS --title 1 --pgc 1 -o title1.vob\n"
    "  fennoria dvd movie.iso --title 1 --pgc 1 -o title1.vob\n"
    "  fennoria dvd /media/dvd/VIDEO_TS --title 1 --pgc 2 --ac3 0 | ffprobe -\n"
    "  fennoria dvd /media/dvd/VIDEO_TS --title 1 --pgc 3 --playback-order -o t3.vob\n"
    "  fennoria dvd /media/dvd --title 2 --pgc 1 --cell 3 --mpeg 1 -o cell.vob\n";

}  // namespace

int runDvd(const std::vector<std::string>& argv) {
  Args args("dvd", argv,
            {{"--title", "-t", true, false},
             {"--pgc", "-p", true, false},
             {"--cell", "-c", true, false},
             {"--ac3", nullptr, true, false},
             {"--mpeg", nullptr, true, false},
             {"--playback-order", nullptr, false, false},
             {"-o", "--output", true, false}});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("dvd", "give exactly one VIDEO_TS folder or disc image");
  if (!args.has("--title")) usage("dvd", "missing --title N");
  if (!args.has("--pgc")) usage("dvd", "missing --pgc P");
  if (args.has("--ac3") && args.has("--mpeg")) usage("dvd", "give --ac3 or --mpeg, not both");
  std::int32_t titleSet = args.number("--title", 1, 99, 0);
  std::int32_t pgc = args.number("--pgc", 1, 9999, 0);
  std::int32_t cell = args.number("--cell", 1, 9999, 0);
  std::int32_t ac3 = args.number("--ac3", 0, 7, -1);
  std::int32_t mpeg = args.number("--mpeg", 0, 31, -1);

  Disc disc(args.positional[0]);
  disc.select(titleSet, pgc, cell, args.has("--playback-order"));
  InputFiles inputs;
  disc.addInputs(inputs);
  Output out("dvd", args.value("-o"), inputs);
  DvdTitleReader& reader = *disc.reader;
  bool filtered = ac3 >= 0 || mpeg >= 0;
  if (filtered) {
    reader.audioSelect = 0;
    reader.setAudio(ac3 >= 0 ? 0 : 2, ac3 >= 0 ? ac3 : mpeg);
  }

  const std::int64_t total = reader.getRangeLength();
  ProgressLine progress(args.quiet, total);
  constexpr std::int32_t kSector = dvdnav::sectorSize;
  std::vector<std::uint8_t> buffer(512 * kSector);
  std::int64_t done = 0;
  while (done < total) {
    // Never ask past the end of the range: the reader's end-of-range read
    // is only exact for requests that stop at the end.
    std::int32_t want =
        static_cast<std::int32_t>(std::min<std::int64_t>(total - done, buffer.size()));
    std::int32_t got = reader.readSectors(buffer.data(), want);
    if (got < want) {
      std::int64_t sector = reader.playbackOrder ? reader.cellOrder.currentSector()
                                                 : reader.startBlock + (done + got) / kSector;
      fail(disc.folder + "/" + disc.currentVob(),
           "read failed at sector " + std::to_string(sector) +
               " of the selection (truncated or unreadable VOB file?)");
    }
    // A disc may be scrambled from any pack on, not only from its first.
    const std::int64_t scrambled =
        disc::firstScrambledPack(buffer.data(), static_cast<std::size_t>(got / kSector));
    if (scrambled >= 0)
      fail(disc.folder, disc::scrambledMessage(disc.vobAt(done + scrambled * kSector)));
    std::int32_t kept =
        reader.filterSectors(buffer.data(), got / kSector, DvdTitleReader::Refused::Dropped);
    out.write(buffer.data(), static_cast<std::size_t>(kept) * kSector);
    done += got;
    progress.update(done, disc.currentVob());
  }
  progress.finish();
  out.commit();
  return 0;
}

}  // namespace cli
