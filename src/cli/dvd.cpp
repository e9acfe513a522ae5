// fennoria dvd: a disc title (or some of its chapters) as a player plays it,
// or a program chain's cells or sector range, from the joined VOB files,
// optionally keeping one audio track or stream with the reader's own sector
// filter (DvdTitleReader::filterSectors), as the filter applies it.
#include <vector>

#include "cli/cli.h"
#include "cli/inputs.h"
#include "cli/selection.h"
#include "disc/scrambled_packs.h"
#include "dvdnav/dvd_title_reader.h"
#include "platform/io_buffer.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria dvd VIDEO_TS --title T [--chapters A[-B]] [--audio N|LANG] [-o OUT]\n"
    "       fennoria dvd VIDEO_TS --titleset N --pgc P [--cell C] [--range]\n"
    "                    [--audio N|LANG | --ac3 K | --mpeg K] [-o OUT]\n"
    "\n"
    "Writes a disc title as a player plays it: its chapters in order, each\n"
    "from its program's first cell to the next chapter's, across the program\n"
    "chains the title's chapters lie in; with --chapters only chapters A to B\n"
    "(A alone: one chapter). Titles are numbered as players and 'fennoria\n"
    "info' number them.\n"
    "\n"
    "A program chain of a title set is written as its cells play (each cell's\n"
    "own sectors, in the chain's order), or with --range as the filter's DVD\n"
    "mode delivers it: from its first cell's first sector to its last cell's\n"
    "last sector, with whatever lies between. For a chain of adjoining cells\n"
    "both give the same bytes.\n"
    "\n"
    "With --audio only that audio track is kept (the other audio packs are\n"
    "left out; video, subtitles and navigation stay): its number or language\n"
    "as 'fennoria info' lists them, resolved through the chains' stream\n"
    "control tables. --ac3 K and --mpeg K choose by stream id instead.\n"
    "\n"
    "  VIDEO_TS           the folder with VIDEO_TS.IFO (or the folder above it)\n"
    "                     or a disc image (movie.iso, UDF or ISO 9660) or, on\n"
    "                     Linux, a drive (/dev/sr0)\n"
    "  -t, --title T      disc title, 1-99\n"
    "  --chapters A[-B]   only chapters A to B of the title\n"
    "  -T, --titleset N   title set, 1-99 (with --pgc: a program chain)\n"
    "  -p, --pgc P        program chain of the title set, from 1\n"
    "  -c, --cell C       only cell C of the program chain, from 1\n"
    "  --range            the chain's first-to-last sector range, not its cells\n"
    "                     (--playback-order, the default, is still accepted)\n"
    "  --audio N|LANG     keep only audio track N (from 1) or the first in LANG\n"
    "  --ac3 K            keep only AC-3 audio stream K (0-7, stream id 0x80+K)\n"
    "  --mpeg K           keep only MPEG audio stream K (0-31, stream id 0xC0+K);\n"
    "                     the kept stream leaves as MPEG audio stream 0\n"
    "  -o, --output OUT   write to OUT (renamed into place when complete)\n"
    "  -q, --quiet        no progress line\n"
    "\n"
    "Before titles, --title N --pgc P named title set N: write --titleset N\n"
    "--pgc P --range for that range (--titleset N --pgc P for its cells).\n"
    "\n"
    "examples:\n"
    "  fennoria dvd /media/dvd --title 1 -o title1.vob\n"
    "  fennoria dvd movie.iso --title 2 --chapters 3-5 --audio en -o part.vob\n"
    "  fennoria dvd /media/dvd/VIDEO_TS --title 1 --audio 2 | ffprobe -\n"
    "  fennoria dvd /media/dvd -T 1 --pgc 3 -o chain3.vob\n"
    "  fennoria dvd /media/dvd -T 2 --pgc 1 --cell 3 --mpeg 1 -o cell.vob\n";

}  // namespace

int runDvd(const std::vector<std::string>& argv) {
  std::vector<OptionDef> options = selectionOptions();
  options.insert(options.end(), {{"--audio", nullptr, true, false},
                                 {"--ac3", nullptr, true, false},
                                 {"--mpeg", nullptr, true, false},
                                 {"-o", "--output", true, false}});
  Args args("dvd", argv, options);
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("dvd", "give exactly one VIDEO_TS folder or disc image");
  const Selection selection = parseSelection(args, true);
  if (args.has("--audio") + args.has("--ac3") + args.has("--mpeg") > 1)
    usage("dvd", "give one of --audio, --ac3 and --mpeg");
  std::int32_t ac3 = args.number("--ac3", 0, 7, -1);
  std::int32_t mpeg = args.number("--mpeg", 0, 31, -1);

  Disc disc(args.positional[0]);
  select(disc, selection);
  InputFiles inputs;
  disc.addInputs(inputs);
  Output out("dvd", args.value("-o"), inputs);
  DvdTitleReader& reader = *disc.reader;
  if (args.has("--audio")) {
    const SelectionTracks tracks = selectionTracks(disc, selection);
    const dvdnav::AudioTrack& track = findAudioTrack(tracks, args.value("--audio"));
    if (reader.selectAudioTrack(track.number) != 0)
      fail(disc.folder, "audio track " + std::to_string(track.number) + " cannot be kept");
  } else if (ac3 >= 0 || mpeg >= 0) {
    requireStream(selectionTracks(disc, selection), ac3 >= 0 ? 0x80 + ac3 : 0xC0 + mpeg,
                  ac3 >= 0 ? "--ac3 " + std::to_string(ac3) : "--mpeg " + std::to_string(mpeg));
    reader.audioSelect = 0;
    reader.setAudio(ac3 >= 0 ? 0 : 2, ac3 >= 0 ? ac3 : mpeg);
  }

  const std::int64_t total = reader.getRangeLength();
  ProgressLine progress(args.quiet, total);
  constexpr std::int32_t kSector = dvdnav::sectorSize;
  platform::IoBuffer buffer(512 * kSector);
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
