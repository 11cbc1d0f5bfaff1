// SPDX-License-Identifier: Apache-2.0
// The commands of trxctl, each in a file of its own. One thread.
#ifndef KW_TRX_TOOLS_COMMANDS_COMMANDS_H_
#define KW_TRX_TOOLS_COMMANDS_COMMANDS_H_

#include "command_line/command_line.h"

namespace kw::trx::tools {

/// Each adds one command to the command line.
void addCheckCommand(CommandLine& line);
void addConfigCommand(CommandLine& line);
void addCoverageCommand(CommandLine& line);
void addDoctorCommand(CommandLine& line);
void addExplainCommand(CommandLine& line);
void addExploreCommand(CommandLine& line);
void addGraphCommand(CommandLine& line);
void addHAPCommand(CommandLine& line);
void addLockCommand(CommandLine& line);
void addModulesCommand(CommandLine& line);
void addRecordCommand(CommandLine& line);
void addReplayCommand(CommandLine& line);
void addReportCommand(CommandLine& line);
void addSimulateCommand(CommandLine& line);
void addStatsCommand(CommandLine& line);
void addTableCommand(CommandLine& line);
void addTestCommand(CommandLine& line);
void addTopCommand(CommandLine& line);
void addTraceCommand(CommandLine& line);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_COMMANDS_H_
