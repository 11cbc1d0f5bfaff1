// SPDX-License-Identifier: Apache-2.0
#include "trxctl/commands.h"

int main(int argc, char** argv) {
  CLI::App app("Looks at what the HAP engine did.");
  app.require_subcommand(1);
  int status = kw::trx::trxctl::kExitOk;
  kw::trx::trxctl::addTraceCommand(app, status);
  CLI11_PARSE(app, argc, argv);
  return status;
}
