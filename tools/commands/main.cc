// SPDX-License-Identifier: Apache-2.0
// The tool: its commands register themselves.
#include "command_line/command_line.h"

int main(int argc, char** argv) { return kw::trx::tools::runCommandLine(argc, argv); }
