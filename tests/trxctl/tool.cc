// SPDX-License-Identifier: Apache-2.0
#include "tool.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "kw/trx/testing/temp_dir.h"

namespace kw::trx::testing {
namespace {

struct Run {
  std::string out, err;
  int status;
};

Run run(const std::string& arguments, const std::string& folder) {
  const TempDir dir;
  const std::string command = "cd '" + folder + "' && " TRXCTL " " + arguments + " >" + dir.path() +
                              "/out 2>" + dir.path() + "/err";
  const int status = std::system(command.c_str());
  return {readFile(dir.path() + "/out"), readFile(dir.path() + "/err"),
          WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

}  // namespace

std::string runTool(const std::string& arguments, const std::string& folder) {
  const Run done = run(arguments, folder);
  std::string text = done.out;
  std::istringstream errors(done.err);
  for (std::string line; std::getline(errors, line);) {
    text += "! " + line + "\n";
  }
  return text + "= " + std::to_string(done.status) + "\n";
}

std::string outputOf(const std::string& arguments, const std::string& folder) {
  return run(arguments, folder).out;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace kw::trx::testing
