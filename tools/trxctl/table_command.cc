// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <chrono>
#include <memory>

#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "running/row_events.h"
#include "running/units.h"
#include "traces/record_collector.h"
#include "trxctl/commands.h"
#include "trxctl/request_run.h"
#include "trxctl/run_output.h"
#include "trxctl/wait_display.h"

namespace kw::trx::tools {
namespace {

using Clock = std::chrono::steady_clock;

/// Prints the rows of a table as they run.
class RowPrinter {
 public:
  void endWait() { wait_.reset(); }

  void print(const RowEvent& event) {
    const std::chrono::duration<double> time = Clock::now() - begin_;
    printRow(time.count(), event);
    if (event.wait_ms != 0 && isatty(STDOUT_FILENO) == 1 &&
        trx::TRXConfig::getInstance().isWaitInEngine()) {
      wait_ = std::make_unique<EngineWait>(std::chrono::milliseconds(event.wait_ms));
    }
  }

 private:
  const Clock::time_point begin_ = Clock::now();
  std::unique_ptr<EngineWait> wait_;
};

int runTable(const RequestOptions& options) {
  Units units(options.units);
  if (!beginRun(options)) {
    return kExitFailed;
  }
  trx::TRXInfo info;
  info.setTableName(options.name);
  info.setTableUnitList(units.list());
  RowPrinter printer;
  NameHints hints;
  RowEvents rows(info, [&printer](const RowEvent& event) { printer.print(event); });
  const RecordCollector collector(kw::platform::kTraceAll,
                                  [&](const kw::platform::TraceRecord& record) {
                                    printer.endWait();
                                    hints.take(record);
                                    rows.take(record);
                                  });
  const auto call = [&info] { trx::TRX::getInstance()->execTable(&info); };
  return runAndTell(info, "table " + options.name, {call, waitFor, {}}, rows.reason(), hints);
}

}  // namespace

void addTableCommand(CommandLine& line) {
  auto options = std::make_shared<RequestOptions>();
  Command command = line.add(
      "table", "Runs one table on the configured modules and tables",
      "Prints each row as it begins: seconds since the start, table, NUMBER of the row, command.\n"
      "Waits are done by this tool when the configuration hands them to the requester.\n"
      "Example: trxctl table selftest --root /opt/board --unit 300:2:rack/rail2\n"
      "Exit status: 0 the table ended well; 1 it ended with error; 2 it could not be run.");
  addRequestOptions(command, *options, "The table: its file name without folders and .csv");
  command.run([options] { return runTable(*options); });
}

}  // namespace kw::trx::tools
