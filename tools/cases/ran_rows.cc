// SPDX-License-Identifier: Apache-2.0
#include "cases/ran_rows.h"

#include <algorithm>

namespace kw::trx::tools {

std::vector<RanRow> ranRows(const SimulatedRun& run, const TableFlows& tables) {
  std::vector<RanRow> rows;
  rows.reserve(run.rows.size());
  std::size_t call = 0;
  for (const RowId& id : run.rows) {
    const std::vector<FlowRow>& all = tables.at(id.table).rows;
    const FlowRow& row =
        *std::find_if(all.begin(), all.end(), [&id](const FlowRow& one) { return one.id == id; });
    bool fails = row.command == Command::kHAP && !row.can_succeed;
    if (row.command == Command::kHAP && row.can_succeed && call < run.calls.size()) {
      fails = run.calls[call++].outcome.kind != HAPOutcome::Kind::kSuccess;
    }
    rows.push_back({&row, fails});
  }
  return rows;
}

}  // namespace kw::trx::tools
