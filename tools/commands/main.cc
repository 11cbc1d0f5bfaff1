// SPDX-License-Identifier: Apache-2.0
#include "commands/commands.h"

int main(int argc, char** argv) {
  using namespace kw::trx::tools;
  CommandLine line;
  for (const auto add :
       {addCheckCommand, addGraphCommand, addModulesCommand, addConfigCommand, addDoctorCommand,
        addHAPCommand, addTableCommand, addSimulateCommand, addTestCommand, addExploreCommand,
        addTopCommand, addCoverageCommand, addReplayCommand, addRecordCommand, addTraceCommand,
        addStatsCommand, addReportCommand, addLockCommand, addExplainCommand}) {
    add(line);
  }
  return line.run(argc, argv);
}
