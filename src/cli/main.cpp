// fennoria: the command-line tool. Joins lists, extracts and filters DVD
// titles and program chains, demultiplexes, dumps and lists IFO files and
// chapters, and edits the settings, each subcommand a thin layer over the
// core classes.
#include <cstdio>
#include <string>
#include <vector>

#include "cli/cli.h"
#include "cli/partial_files.h"
#include "fennoria_version.h"
#include "platform/message_box.h"

namespace {

const char* kHelp =
    "fennoria - join media lists, extract and demultiplex DVD titles\n"
    "\n"
    "usage: fennoria COMMAND [OPTIONS]   (fennoria help COMMAND for each)\n"
    "       fennoria --version            the version, as one line\n"
    "\n"
    "commands:\n"
    "  cat LIST_OR_FILE [-o OUT]         the list's files joined into one stream\n"
    "  dvd VIDEO_TS --title T [--chapters A-B] [--audio N|LANG] [-o OUT]\n"
    "                                    a disc title (or some of its chapters)\n"
    "  dvd VIDEO_TS --titleset N --pgc P [--cell C] [--range] [-o OUT]\n"
    "                                    a program chain's cells (or its range)\n"
    "  demux VIDEO_TS|FILE.vob [--title T] --audio N=FILE ... [--timing]\n"
    "                                    tracks and streams into files\n"
    "  ifo VIDEO_TS                      the full text dump of the IFO files\n"
    "  info VIDEO_TS [--title T] [--json]  titles, tracks, chapters\n"
    "  chapters VIDEO_TS --title T [--format ogm|ffmetadata|json] [-o OUT]\n"
    "                                    a title's chapters and their times\n"
    "  config get|set|unset|list [NAME [VALUE]]\n"
    "                                    the filter's settings and the debug log\n"
    "\n"
    "VIDEO_TS is a DVD's VIDEO_TS folder (or the folder above it), a disc image\n"
    "(UDF or ISO 9660, such as movie.iso) or, on Linux, a drive (/dev/sr0).\n"
    "Titles, chapters and tracks are numbered as players and 'fennoria info'\n"
    "number them; --titleset N --pgc P is what --title N --pgc P was before.\n"
    "\n"
    "Data go to stdout (or -o FILE); errors are one line on stderr. Exit status:\n"
    "0 success, 1 bad input or a failed read or write, 2 bad usage (a number the\n"
    "disc does not have too). On a terminal long work shows a progress line on\n"
    "stderr; --quiet turns it off.\n"
    "\n"
    "examples:\n"
    "  fennoria cat clips.lst -o joined.mpg\n"
    "  fennoria info /media/dvd\n"
    "  fennoria dvd /media/dvd --title 1 --audio en -o movie.vob\n"
    "  fennoria demux movie.iso --title 1 --audio en=en.ac3 --subtitle en=en --timing\n"
    "  fennoria chapters /media/dvd --title 1 -o chapters.txt\n";

// The length of the well-formed UTF-8 sequence at `at`, or 0.
std::size_t utf8Length(const std::string& text, std::size_t at) {
  const unsigned char lead = static_cast<unsigned char>(text[at]);
  const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  if (length == 0 || at + length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) return 0;
  return length;
}

// A message as one line a terminal shows as it is: control bytes, and bytes
// that are no UTF-8 (a name read from a binary file given as a list, say),
// written as \xNN.
std::string printable(const std::string& text) {
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    const std::size_t length = c < 0x80 ? (c >= 0x20 && c != 0x7F ? 1 : 0) : utf8Length(text, at);
    if (length > 0) {
      out.append(text, at, length);
      at += length;
      continue;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
    out += escaped;
    ++at;
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::fputs(kHelp, stderr);
    return cli::kExitUsage;
  }
  std::string command = args.front();
  args.erase(args.begin());
  // "help COMMAND" is "COMMAND --help".
  if (command == "help" && args.size() == 1) {
    command = args.front();
    args = {"--help"};
  }
  if (command == "--help" || command == "-h" || command == "help") return cli::printHelp(kHelp);
  if (command == "--version") {
    std::printf("fennoria %s\n", FENNORIA_VERSION);
    return 0;
  }

  // The same bytes on every platform: no newline translation on Windows.
  cli::setBinaryStdout();
  // Ctrl-C and its kind leave no partial output behind.
  cli::partial::removeOnInterrupt();

  // The file inputs' messages (message boxes on Windows) become lines on
  // stderr here.
  platform::setMessageHook([](const std::string& text, const std::string& caption) {
    std::fprintf(stderr, "fennoria: %s: %s\n", caption.c_str(), text.c_str());
  });

  try {
    if (command == "cat") return cli::runCat(args);
    if (command == "dvd") return cli::runDvd(args);
    if (command == "demux") return cli::runDemux(args);
    if (command == "ifo") return cli::runIfo(args);
    if (command == "info") return cli::runInfo(args);
    if (command == "chapters") return cli::runChapters(args);
    if (command == "config") return cli::runConfig(args);
    std::fprintf(stderr, "fennoria: unknown command '%s' (see 'fennoria --help')\n",
                 command.c_str());
    return cli::kExitUsage;
  } catch (const cli::Failure& failure) {
    std::fflush(stdout);
    const std::string text = printable(failure.what());
    if (failure.status == cli::kExitUsage)
      std::fprintf(stderr, "%s\n", text.c_str());
    else
      std::fprintf(stderr, "fennoria: %s\n", text.c_str());
    return failure.status;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "fennoria: %s\n", printable(error.what()).c_str());
    return cli::kExitInput;
  }
}
