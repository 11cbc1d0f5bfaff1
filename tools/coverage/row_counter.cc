// SPDX-License-Identifier: Apache-2.0
#include "coverage/row_counter.h"

#include "common/paths.h"

namespace kw::trx::tools {

RowCounter::RowCounter(const TableFlows& tables) : finder_(tables) {
  for (const auto& [name, flow] : tables) {
    FileCoverage& file = coverage_[absolutePath(flow.file)] = emptyCoverage(flow);
    for (const FlowRow& row : flow.rows) {
      lines_[&row] = &file[row.line()];
    }
  }
}

void RowCounter::spanEnded(const Request&, const Span& row) {
  if (!row.isRow() || row.goes_on) {
    return;
  }
  if (row.is_incomplete) {
    ++left_out_;
    return;
  }
  const RowFinder::Found found = finder_.find(row);
  if (!found.is_same) {
    ++unknown_[row.row.table];
    if (found.table != nullptr) {
      changed_.emplace(row.row, changeText(found, row));
    }
    return;
  }
  LineCoverage& line = *lines_.at(found.row);
  ++line.runs;
  // An exception that is not the engine's interrupts the row, which starts anew when it goes on.
  if (line.branches && row.has_ended && row.effect != Effect::kInterrupts) {
    ++(*line.branches)[row.failed() ? kBranchFailed : kBranchSucceeded];
  }
}

}  // namespace kw::trx::tools
