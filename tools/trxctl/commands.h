// SPDX-License-Identifier: Apache-2.0
// The commands of trxctl: each adds itself to the command line.
#ifndef KW_TRX_TOOLS_TRXCTL_COMMANDS_H_
#define KW_TRX_TOOLS_TRXCTL_COMMANDS_H_

#include <CLI/CLI.hpp>

namespace kw::trx::trxctl {

/// Exit statuses of the tool.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 2;

/// `trxctl trace FILE`: decodes a trace ring. Sets `status` when it runs.
void addTraceCommand(CLI::App& app, int& status);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_COMMANDS_H_
