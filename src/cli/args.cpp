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

Args::Args(const std::string& name, const std::vector<std::string>& argv,
           const std::vector<OptionDef>& options)
    : command(name) {
  bool onlyPositional = false;
  for (std::size_t i = 0; i < argv.size(); ++i) {
    std::string arg = argv[i];
    if (onlyPositional || arg.size() < 2 || arg[0] != '-') {
      positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      onlyPositional = true;
      continue;
    }
    if (arg == "--help" || arg == "-h") {
      help = true;
      continue;
    }
    if (arg == "--quiet" || arg == "-q") {
      quiet = true;
      continue;
    }
    std::string inlineValue;
    bool hasInline = false;
    std::size_t equals = arg.find('=');
    if (arg.compare(0, 2, "--") == 0 && equals != std::string::npos) {
      inlineValue = arg.substr(equals + 1);
      arg = arg.substr(0, equals);
      hasInline = true;
    }
    const OptionDef* option = nullptr;
    for (const auto& s : options)
      if (arg == s.name || (s.alias && arg == s.alias)) option = &s;
    if (!option) usage(command, "unknown option " + arg);
    std::string key = option->name;
    if (!option->repeatable && values_.count(key)) usage(command, key + " given twice");
    if (option->takesValue) {
      if (!hasInline) {
        if (i + 1 >= argv.size()) usage(command, key + " needs a value");
        inlineValue = argv[++i];
      }
      values_[key].push_back(inlineValue);
    } else {
      if (hasInline) usage(command, key + " takes no value");
      values_[key].push_back("");
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
