// SPDX-License-Identifier: Apache-2.0
#include <exception>

#include "trxctl/commands.h"

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
    return app.exit(error) == 0 ? kExitOk : kExitFailed;
  } catch (const std::exception& exception) {
    return fail(exception.what());
  }
  return status;
}
