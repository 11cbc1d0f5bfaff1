// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>

#include "trxctl/commands.h"

namespace kw::trx::trxctl {
namespace {

/// Names the word that should have been a command; false when there is one.
bool failForCommand(const CLI::App& app, const std::string& word) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    names.push_back(command->get_name());
  }
  if (word[0] == '-' || std::find(names.begin(), names.end(), word) != names.end()) {
    return false;
  }
  const std::string near = nearestOf(word, names);
  fail("'" + word + "' is no command" + (near.empty() ? "" : "; did you mean " + near + "?") +
       "\nRun with --help for more information.");
  return true;
}

}  // namespace
}  // namespace kw::trx::trxctl

int main(int argc, char** argv) {
  using namespace kw::trx::trxctl;
  CLI::App app("Checks, shows and runs what the HAP engine loads, and tells what it did.",
               "trxctl");
  app.require_subcommand(1);
  app.set_version_flag("--version", ZQM_TRX_VERSION, "Print the version and exit");
  app.footer(
      "Each command has a help of its own: trxctl COMMAND --help\n"
      "Exit status: 0 all is well; 1 warnings with --strict, or a request that failed;\n"
      "2 errors found, or the command could not be carried out.");
  int status = kExitOk;
  for (const auto add : {addCheckCommand, addGraphCommand, addModulesCommand, addConfigCommand,
                         addHAPCommand, addTableCommand, addTraceCommand, addExplainCommand}) {
    add(app, status);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (argc > 1 && failForCommand(app, argv[1])) {
      return kExitFailed;
    }
    return app.exit(error) == 0 ? kExitOk : kExitFailed;
  } catch (const std::exception& exception) {
    return fail(exception.what());
  }
  errno = 0;
  if (!std::cout.flush()) {
    return fail(std::string("standard output: ") +
                (errno != 0 ? std::strerror(errno) : "not written"));
  }
  return status;
}
