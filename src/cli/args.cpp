#include "cli/args.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace cli {

void fail(const std::string& subject, const std::string& what) {
  throw Failure(kExitInput, subject.empty() ? what : subject + ": " + what);
}

void usage(const std::string& command, const std::string& what) {
  throw Failure(kExitUsage, "fennoria " + command + ": " + what + " (see 'fennoria " + command +
                                " --help')");
}

bool parseNumber(const std::string& text, std::int64_t* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long long n = std::strtoll(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || std::isspace(static_cast<unsigned char>(text[0]))) return false;
  *value = n;
  return true;
}

namespace {

// The option named `spelling` ("--title" or "-t"), or null.
const OptionDef* findOption(const std::vector<OptionDef>& options, const std::string& spelling) {
  for (const auto& option : options)
    if (spelling == option.name || (option.alias && spelling == option.alias)) return &option;
  return nullptr;
}

}  // namespace

// As getopt does: "--name VALUE" and "--name=VALUE"; "-n VALUE" and
// "-nVALUE"; short options without values clustered ("-qo FILE", "-qoFILE");
// "--" ends the options; a lone "-" is an argument (standard input or
// output).
Args::Args(const std::string& name, const std::vector<std::string>& argv,
           const std::vector<OptionDef>& options)
    : command(name) {
  bool onlyPositional = false;
  auto take = [&](const OptionDef& option, const std::string& spelling, bool hasValue,
                  const std::string& value, std::size_t* i) {
    std::string key = option.name;
    if (!option.repeatable && values_.count(key)) usage(command, key + " given twice");
    if (!option.takesValue) {
      if (hasValue) usage(command, spelling + " takes no value");
      values_[key].push_back("");
      return;
    }
    if (hasValue) {
      values_[key].push_back(value);
      return;
    }
    if (*i + 1 >= argv.size()) usage(command, key + " needs a value");
    values_[key].push_back(argv[++*i]);
  };
  auto flag = [&](const std::string& spelling, bool hasValue) {
    if (spelling != "--help" && spelling != "-h" && spelling != "--quiet" && spelling != "-q")
      return false;
    if (hasValue) usage(command, spelling + " takes no value");
    (spelling == "--help" || spelling == "-h" ? help : quiet) = true;
    return true;
  };
  for (std::size_t i = 0; i < argv.size(); ++i) {
    const std::string& arg = argv[i];
    if (onlyPositional || arg.size() < 2 || arg[0] != '-') {
      positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      onlyPositional = true;
      continue;
    }
    if (arg.compare(0, 2, "--") == 0) {
      const std::size_t equals = arg.find('=');
      const std::string spelling = arg.substr(0, equals);
      const bool hasValue = equals != std::string::npos;
      if (flag(spelling, hasValue)) continue;
      const OptionDef* option = findOption(options, spelling);
      if (!option) usage(command, "unknown option " + spelling);
      take(*option, spelling, hasValue, hasValue ? arg.substr(equals + 1) : "", &i);
      continue;
    }
    // Short options, one letter after another until one takes a value,
    // which is the rest of the word or else the next word.
    for (std::size_t at = 1; at < arg.size(); ++at) {
      const std::string spelling = std::string("-") + arg[at];
      if (flag(spelling, false)) continue;
      const OptionDef* option = findOption(options, spelling);
      if (!option) usage(command, "unknown option " + spelling);
      const bool rest = option->takesValue && at + 1 < arg.size();
      take(*option, spelling, rest, rest ? arg.substr(at + 1) : "", &i);
      if (option->takesValue) break;
    }
  }
}

const std::string& Args::value(const std::string& name) const {
  static const std::string none;
  auto it = values_.find(name);
  return it == values_.end() || it->second.empty() ? none : it->second.back();
}

const std::vector<std::string>& Args::values(const std::string& name) const {
  static const std::vector<std::string> none;
  auto it = values_.find(name);
  return it == values_.end() ? none : it->second;
}

std::int32_t Args::number(const std::string& name, std::int32_t low, std::int32_t high,
                          std::int32_t fallback) const {
  if (!has(name)) return fallback;
  std::int64_t n = 0;
  if (!parseNumber(value(name), &n) || n < low || n > high)
    usage(command, name + " takes a number from " + std::to_string(low) + " to " +
                       std::to_string(high) + ", not '" + value(name) + "'");
  return static_cast<std::int32_t>(n);
}

int printHelp(const char* text) {
  std::fputs(text, stdout);
  return 0;
}

}  // namespace cli
