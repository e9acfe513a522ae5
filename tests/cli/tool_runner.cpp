#include "cli/tool_runner.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace cli_test {

namespace {
std::string slurp(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
int counter = 0;
}  // namespace

std::string toolPath() { return FENNORIA_TOOL; }

std::string quote(const std::string& text) {
  std::string out = "'";
  for (char c : text) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

Result runShell(const std::string& command) {
  namespace fs = std::filesystem;
  std::string base = (fs::temp_directory_path() / ("fennoria-cli-run-" + std::to_string(getpid()) +
                                                   "-" + std::to_string(counter++)))
                         .string();
  std::string full = "( " + command + " ) >" + quote(base + ".out") + " 2>" + quote(base + ".err") +
                     " </dev/null";
  int raw = std::system(full.c_str());
  Result run;
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  run.out = slurp(base + ".out");
  run.err = slurp(base + ".err");
  std::error_code ignored;
  fs::remove(base + ".out", ignored);
  fs::remove(base + ".err", ignored);
  return run;
}

Result runTool(const std::vector<std::string>& args, const std::string& cwd,
            const std::string& shellTail, const std::string& env) {
  std::string command;
  if (!cwd.empty()) command += "cd " + quote(cwd) + " && ";
  if (!env.empty()) command += env + " ";
  command += quote(toolPath());
  for (const auto& a : args) command += " " + quote(a);
  command += shellTail;
  return runShell(command);
}

bool commandExists(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace cli_test
