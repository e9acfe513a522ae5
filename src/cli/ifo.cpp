// fennoria ifo: the full text dump of the navigation files, the Video
// Manager then every title set, as the DVD reader writes it to its log.
#include "cli/cli.h"

namespace cli {

namespace {

const char* kHelp =
    "usage: fennoria ifo VIDEO_TS\n"
    "\n"
    "Prints the listing of every navigation record the DVD reader loads: a\n"
    "'Videomanager' heading and the Video Manager (VIDEO_TS.IFO), then a\n"
    "'VideoTitleSet N' heading and each title set (VTS_nn_0.IFO). It is the\n"
    "listing the filter writes to its debug log in DVD mode. VIDEO_TS may also be\n"
    "a disc image (movie.iso) or, on Linux, a drive (/dev/sr0).\n"
    "\n"
    "examples:\n"
    "  fennoria ifo /media/dvd/VIDEO_TS | less\n"
    "  fennoria ifo samples/dvd/VIDEO_TS > dump.txt\n"
    "  fennoria ifo /dev/sr0 | less\n";

}  // namespace

int runIfo(const std::vector<std::string>& argv) {
  Args args("ifo", argv, {});
  if (args.help) return printHelp(kHelp);
  if (args.positional.size() != 1) usage("ifo", "give exactly one VIDEO_TS folder or disc image");
  Disc disc(args.positional[0], true);
  if (std::fflush(stdout) != 0) fail("standard output", "write failed (" + errnoText() + ")");
  return 0;
}

}  // namespace cli
