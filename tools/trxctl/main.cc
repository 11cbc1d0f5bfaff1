// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>

#include "trxctl/commands.h"

namespace kw::trx::trxctl {
namespace {

/// What is wrong with a command line that was not understood, whose first word is `first`.
std::string wordsFor(const CLI::App& app, const std::string& first, const CLI::Error& error) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    names.push_back(command->get_name());
  }
  if (first[0] != '-' && std::find(names.begin(), names.end(), first) == names.end()) {
    const std::string near = nearestOf(first, names);
    return "'" + first + "' is no command" + (near.empty() ? "" : "; did you mean " + near + "?");
  }
  // An unknown option is the reason when words seem to be missing as well.
  for (const std::string& word : app.remaining(true)) {
    if (word.size() > 1 && word[0] == '-') {
      return "'" + word + "' is no option " +
             (first[0] == '-' ? "of trxctl itself; write those of a command behind its name"
                              : "of trxctl " + first);
    }
  }
  return error.what();
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
    if (error.get_exit_code() == 0) {
      return app.exit(error);
    }
    return fail(wordsFor(app, argc > 1 ? argv[1] : "-", error) +
                "\nRun with --help for more information.");
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
