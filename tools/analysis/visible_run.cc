// SPDX-License-Identifier: Apache-2.0
#include "analysis/visible_run.h"

#include "cases/ran_rows.h"

namespace kw::trx::tools {
namespace {

constexpr char kSucceeds[] = "succeeds";
constexpr char kFails[] = "fails";
constexpr char kNever[] = "does not end";

std::string failsText(const std::string& message) {
  return message.empty() ? kFails : std::string(kFails) + " with " + message;
}

/// The lines of one run as it comes.
class VisibleLines {
 public:
  explicit VisibleLines(bool rows) : rows_(rows) {}

  bool isFull() const { return lines_.size() >= kMaxVisible; }

  void addRow(const FlowRow& row) {
    if (rows_ && !isFull()) {
      lines_.push_back(row.id.text() + (row.label.empty() ? "" : " " + row.label));
    }
  }

  void addCall(const FlowRow& row, bool fails) {
    add(callText(row) + (fails ? ": fails" : ""));
    if (fails) {
      addFailure(row);
    }
  }

  void addFailure(const FlowRow& row) {
    if (first_failing_.empty() && row.on_failure != Effect::kIgnored) {
      first_failing_ = "first failing row: HAP " + row.name;
    }
  }

  void addWait(const FlowRow& row) { add("waits " + std::to_string(row.wait_ms) + " ms"); }

  void addEnd(const std::string& end) {
    add(end);
    if (!first_failing_.empty() && end != kNever) {
      add(first_failing_);
    }
  }

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  void add(const std::string& line) {
    if (!isFull()) {
      lines_.push_back(line);
    }
  }

  const bool rows_;
  std::string first_failing_;
  std::vector<std::string> lines_;
};

}  // namespace

std::string callText(const FlowRow& row) {
  return "HAP " + row.name + (row.mode.empty() ? "" : ", mode " + row.mode) +
         (row.para.empty() ? "" : ", words " + row.para);
}

std::string endText(const Machine::Action& end) {
  switch (end.kind) {
    case Machine::Action::Kind::kSucceeds:
      return kSucceeds;
    case Machine::Action::Kind::kFails:
      return failsText(end.row == nullptr ? "" : end.row->name);
    default:
      return kNever;
  }
}

std::vector<std::string> visibleRun(Machine& machine, int table, const std::vector<bool>& fails,
                                    bool rows) {
  using Kind = Machine::Action::Kind;
  VisibleLines lines(rows);
  MachineState at = machine.start(table);
  std::size_t calls = 0;
  while (!lines.isFull()) {
    const Machine::Action action = machine.next(at, [&lines](const FlowRow& row, bool is_failing) {
      lines.addRow(row);
      if (is_failing) {
        lines.addFailure(row);
      }
    });
    if (action.kind != Kind::kCalls && action.kind != Kind::kWaits) {
      lines.addEnd(endText(action));
      break;
    }
    lines.addRow(*action.row);
    bool is_failing = false;
    if (action.kind == Kind::kWaits) {
      lines.addWait(*action.row);
    } else {
      is_failing = calls < fails.size() && fails[calls];
      ++calls;
      lines.addCall(*action.row, is_failing);
    }
    machine.goOn(at, is_failing);
  }
  return lines.lines();
}

std::vector<std::string> visibleRun(const Simulator& simulator, const std::string& table,
                                    const std::vector<bool>& fails, bool rows,
                                    std::size_t max_rows) {
  SimulationRequest request;
  request.table = table;
  request.max_rows = max_rows;
  request.choose = failingInTurn(fails);
  const SimulatedRun run = simulator.run(request);
  VisibleLines lines(rows);
  std::size_t calls = 0;
  for (const RanRow& ran : ranRows(run, simulator.tables())) {
    const FlowRow& row = *ran.row;
    lines.addRow(row);
    if (row.command == Command::kHAP && !row.can_succeed) {
      lines.addFailure(row);
    } else if (row.command == Command::kHAP && calls++ < run.calls.size()) {
      lines.addCall(row, ran.fails);
    } else if (row.wait_ms != 0) {
      lines.addWait(row);
    }
  }
  lines.addEnd(run.is_stopped        ? kNever
               : run.failure.empty() ? kSucceeds
                                     : failsText(run.record.message));
  return lines.lines();
}

}  // namespace kw::trx::tools
