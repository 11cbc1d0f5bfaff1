// SPDX-License-Identifier: Apache-2.0
#include "replay/visible_replay.h"

#include <algorithm>

#include "kw/trx/errors.h"
#include "replay/request_recording.h"

namespace kw::trx::tools {
namespace {

std::string endText(const ExpectedEnd& end) {
  return end.kind == ExpectedEnd::Kind::kOk      ? "succeeds"
         : end.kind == ExpectedEnd::Kind::kError ? "fails"
                                                 : "ends with an exception";
}

std::string endText(const SimulatedRun& run) {
  return run.failure.empty()                 ? "succeeds"
         : run.is_stopped                    ? "does not end"
         : run.code == trx::kCodeTableFailed ? "fails"
                                             : "ends with an exception";
}

std::vector<std::string> visibleRows(const std::vector<RecordedRow>& rows) {
  std::vector<std::string> lines;
  for (const RecordedRow& row : rows) {
    if (row.callsHAP() || (row.ran.command == Command::kWait && row.ran.wait_ms.value_or(0) != 0)) {
      lines.push_back(row.action());
    }
  }
  return lines;
}

void addFailing(const RecordedRow* row, std::vector<std::string>& lines) {
  if (row != nullptr) {
    lines.push_back("first failing row: " + row->action());
  }
}

const RecordedRow* findRow(const std::vector<RecordedRow>& rows, const std::optional<RowId>& id) {
  const auto found = std::find_if(rows.begin(), rows.end(),
                                  [&id](const RecordedRow& row) { return row.ran.row == id; });
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace

VisibleReplay visibleReplay(const RecordedRequest& recorded, const Simulator& simulator) {
  std::vector<HAPOutcome> outcomes;
  for (const RecordedRow& row : recorded.rows) {
    if (row.callsHAP()) {
      outcomes.push_back(row.outcome);
    }
  }
  RequestRecording recording(0);
  SimulationRequest simulated;
  simulated.table = recorded.request.name;
  simulated.max_rows += recorded.rows.size();
  simulated.listener = &recording;
  std::size_t calls = 0;
  simulated.choose = [&](const HAPCall&) {
    return calls < outcomes.size() ? outcomes[calls++] : HAPOutcome();
  };
  const SimulatedRun run = simulator.run(simulated);
  std::vector<RecordedRow> rows;
  const std::vector<Span> ran = recording.rows();
  rows.reserve(ran.size());
  for (const Span& row : ran) {
    rows.push_back({row, {}});
  }
  VisibleReplay result{visibleRows(recorded.rows), visibleRows(rows)};
  result.recorded.push_back(endText(recorded.end));
  addFailing(recorded.firstFailing(), result.recorded);
  result.replayed.push_back(endText(run));
  addFailing(findRow(rows, run.record.first_failing), result.replayed);
  return result;
}

}  // namespace kw::trx::tools
