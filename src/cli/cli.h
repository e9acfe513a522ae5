// The command-line tool: shared pieces of its subcommands.
//
// Every subcommand is a thin layer over the core classes. Conventions they
// all keep: data only on stdout (or the -o file); errors as one line
// "fennoria: WHAT: what is wrong" on stderr; exit status 0 success, 1 bad
// input (or a failed read or write), 2 bad usage; an output file is written
// under a temporary name beside it and renamed only on success.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "cli/args.h"
#include "cli/disc.h"
#include "cli/output.h"

namespace cli {

// The subcommands: each returns the exit status.
int runCat(const std::vector<std::string>& argv);
int runDvd(const std::vector<std::string>& argv);
int runDemux(const std::vector<std::string>& argv);
int runIfo(const std::vector<std::string>& argv);
int runInfo(const std::vector<std::string>& argv);
int runChapters(const std::vector<std::string>& argv);
int runConfig(const std::vector<std::string>& argv);

// A language code of the IFO as text: its printable characters.
std::string languageText(const std::array<char, 2>& code);

// "1 title set", "2 title sets": a count and its noun, singular for one.
std::string counted(std::size_t count, const std::string& noun);

}  // namespace cli
