// The tool's command lines: each subcommand's options parsed against the
// ones it knows, and the two ways a subcommand ends early (bad input, bad
// usage) with their exit statuses.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli {

constexpr int kExitInput = 1;
constexpr int kExitUsage = 2;

// A failure that ends the subcommand: `message` is printed after "fennoria: "
// (or after "fennoria COMMAND: " for usage errors) and `status` is the exit
// status.
struct Failure : std::runtime_error {
  Failure(int exitStatus, const std::string& message)
      : std::runtime_error(message), status(exitStatus) {}
  int status;
};

[[noreturn]] void fail(const std::string& subject, const std::string& what);
[[noreturn]] void usage(const std::string& command, const std::string& what);

// One subcommand's command line, parsed against the options it knows.
struct OptionDef {
  const char* name;   // "--title", "-o"
  const char* alias;  // another spelling, or null
  bool takesValue;
  bool repeatable;
};

class Args {
 public:
  // Throws a usage Failure for an unknown option, a missing value or a
  // repeated single option. "--help"/"-h" sets `help`; "--quiet"/"-q" sets
  // `quiet` for every subcommand.
  Args(const std::string& command, const std::vector<std::string>& argv,
       const std::vector<OptionDef>& options);

  bool has(const std::string& name) const { return values_.count(name) != 0; }
  const std::string& value(const std::string& name) const;
  const std::vector<std::string>& values(const std::string& name) const;
  // The option's value as a whole number within [low, high] (usage Failure
  // otherwise); `fallback` when the option is absent.
  std::int32_t number(const std::string& name, std::int32_t low, std::int32_t high,
                      std::int32_t fallback) const;

  std::vector<std::string> positional;
  bool help = false;
  bool quiet = false;
  std::string command;

 private:
  std::map<std::string, std::vector<std::string>> values_;
};

// A whole number from `text`, or false.
bool parseNumber(const std::string& text, std::int64_t* value);

// Prints `text` on stdout (help texts).
int printHelp(const char* text);

}  // namespace cli
