// SPDX-License-Identifier: Apache-2.0
#include "lint/cycle_warnings.h"

#include <algorithm>

#include "analysis/row_cycles.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {
namespace {

/// The longest list that is written out.
constexpr std::size_t kMaxListed = 12;
/// Of all tables together: a table has two for each row, and as often as it is called otherwise.
constexpr std::size_t kMaxStates = 1000000;

Finding findingOf(const RowCycle& cycle, const Program& program) {
  const FlowRow& jump = program.rowOf(cycle.table, cycle.jump());
  return {false, jump.lines[trx::kPlaceError], columnTitle(trx::kPlaceError, true),
          cycleText(cycle, program, kMaxListed)};
}

bool jumpsBack(const TableFlow& flow) {
  for (std::size_t at = 0; at < flow.rows.size(); ++at) {
    if (flow.rows[at].jump >= 0 && static_cast<std::size_t>(flow.rows[at].jump) <= at) {
      return true;
    }
  }
  return false;
}

}  // namespace

CycleWarnings cycleWarnings(const TableFlows& flows) {
  const Program program = programOf(flows);
  std::vector<int> tables(program.tables.size());
  for (std::size_t table = 0; table < tables.size(); ++table) {
    tables[table] = static_cast<int>(table);
  }
  const RunGraph graph(program, tables, kTableNestLimit, kMaxStates);
  const RowCycles cycles = rowCyclesOf(graph);
  CycleWarnings warnings;
  for (const RowCycle& cycle : cycles.found) {
    const std::string& table = program.tables[static_cast<std::size_t>(cycle.table)].flow->name;
    warnings[table].push_back(findingOf(cycle, program));
  }
  for (const auto& [name, flow] : flows) {
    if (!cycles.is_complete && jumpsBack(flow)) {
      warnings[name].push_back(
          {false, 0, "",
           "more rows than these may run for ever: there are too many ways to follow"});
    }
  }
  return warnings;
}

}  // namespace kw::trx::tools
