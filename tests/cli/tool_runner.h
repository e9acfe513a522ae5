// Runs the fennoria program as a subprocess, as a user's shell would, and
// collects its exit status, stdout and stderr.
#pragma once

#include <string>
#include <vector>

namespace cli_test {

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

// `args` after the program name; `shellTail` is appended to the command line
// as it is (a pipe into another program, say); `cwd` the folder to run in.
Result runTool(const std::vector<std::string>& args, const std::string& cwd = "",
            const std::string& shellTail = "", const std::string& env = "");

// Runs a whole shell command line; status and outputs as above.
Result runShell(const std::string& command);

std::string quote(const std::string& text);
bool commandExists(const std::string& name);
std::string toolPath();

}  // namespace cli_test
