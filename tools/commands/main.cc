// SPDX-License-Identifier: Apache-2.0
// The tool: its commands register themselves.
#include "command_line/command_line.h"
#include "command_line/text_output.h"

int main(int argc, char** argv) {
  kw::trx::tools::guardTerminal();
  return kw::trx::tools::runCommandLine(argc, argv);
}
