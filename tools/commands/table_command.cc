// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>

#include "command_line/command_line.h"
#include "commands/request_run.h"
#include "commands/run_json.h"
#include "commands/run_output.h"
#include "commands/wait_display.h"
#include "engine/row_events.h"
#include "engine/units.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "trace/record_collector.h"

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

/// Collects the rows of a table as they run, for JSON.
class RowList {
 public:
  void add(const RowEvent& event) {
    if (event.is_row) {
      rows_.push_back(
          {event, std::chrono::duration<double, std::milli>(Clock::now() - begin_), {}});
    } else if (!rows_.empty()) {
      rows_.back().notes.push_back(event.message);
    }
  }

  void write(JsonWriter& json) const {
    json.key("rows").beginArray();
    for (const Row& row : rows_) {
      char time[32];
      std::snprintf(time, sizeof(time), "%.3f", row.time.count());
      json.beginObject().key("timeMs").raw(time);
      tools::write(RowId{row.event.table, row.event.number}, json.key("row"));
      json.member("message", row.event.message).texts("notes", row.notes).endObject();
    }
    json.endArray();
  }

 private:
  struct Row {
    RowEvent event;
    std::chrono::duration<double, std::milli> time;  ///< since the start
    std::vector<std::string> notes;
  };

  const Clock::time_point begin_ = Clock::now();
  std::vector<Row> rows_;
};

void write(const RunReport& report, const RowList& rows, bool is_json) {
  if (!is_json) {
    return printRun(report);
  }
  JsonWriter json(2);
  startOutput("table", json);
  writeRun(report, json);
  rows.write(json);
  std::cout << json.endObject().taken() << '\n';
}

int runTable(const RequestOptions& options) {
  Units units(options.units);
  if (!beginRun(options)) {
    return kExitFailed;
  }
  trx::TRXInfo info;
  info.setTableName(options.name);
  info.setTableUnitList(units.list());
  RowPrinter printer;
  RowList list;
  RowEvents rows(
      info, [&](const RowEvent& event) { options.json ? list.add(event) : printer.print(event); });
  const RecordCollector collector(kw::platform::kTraceAll,
                                  [&](const kw::platform::TraceRecord& record) {
                                    printer.endWait();
                                    rows.take(record);
                                  });
  const auto call = [&info] { trx::TRX::getInstance()->execTable(&info); };
  const auto wait = [&options](unsigned int time_ms) { waitFor(time_ms, !options.json); };
  const RunReport report = runRequest(info, options, {call, wait, {}}, rows);
  write(report, list, options.json);
  return statusOf(report);
}

void describeTable(CommandOptions& command) {
  auto options = std::make_shared<RequestOptions>();
  options->kind = RequestKind::kTable;
  addRequestOptions(command, *options, "The table: its file name without folders and .csv");
  command.run([options] { return runApart(*options, [options] { return runTable(*options); }); });
}

const RegisteredCommand kTableCommand(
    {"table", Group::kRequests, "Runs one table on the configured modules and tables",
     "Prints each row as it starts: seconds since the start, table, NUMBER of the row, command. "
     "Waits are done by this tool when the configuration hands them to the requester. It runs in a "
     "process of its own: a crash is told with its signal and the last records.",
     "selftest --root /opt/board --unit 300:2:rack/rail2", "the table succeeded", "it failed",
     "a HAP crashed"},
    describeTable);

}  // namespace
}  // namespace kw::trx::tools
