// SPDX-License-Identifier: Apache-2.0
// Rows of tables that may run for ever. Any thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_ROW_CYCLES_H_
#define KW_TRX_TOOLS_ANALYSIS_ROW_CYCLES_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "analysis/run_graph.h"

namespace kw::trx::tools {

/// Rows of one table that run one after the other, and the first again behind the last.
struct RowCycle {
  /// From the first to the second place rows follow each other.
  using Stretch = std::pair<std::size_t, std::size_t>;

  int table;
  bool mark;  ///< whether a STACK row has failed before
  /// The last row of each jumps to the next one; that of the last one jumps back.
  std::vector<Stretch> stretches;

  /// The row that jumps back.
  std::size_t jump() const { return stretches.back().second; }
  bool operator<(const RowCycle& other) const;
};

struct RowCycles {
  std::vector<RowCycle> found;  ///< in the order of tables and of rows that jump back
  bool is_complete = true;      ///< false: there may be more, but too many ways to follow
};

/// For each jump back in a run of `graph` the cycle without another jump, if there is one, and the
/// shortest one. Whoever stays in rows for ever stays in one of these, or in several by turns.
RowCycles rowCyclesOf(const RunGraph& graph);

/// "rows 2 to 5 run for ever when row 5 alone fails each time", with the NUMBERs of its table as
/// they are written; `max_listed`: so many stretches are named. A `prefix` such as "rails/" stands
/// before each.
std::string cycleText(const RowCycle& cycle, const Program& program, std::size_t max_listed,
                      const std::string& prefix = "");

/// The steps of a cycle in an activation, as pairs of a state and the place of its step; empty when
/// it is none there.
std::vector<std::pair<std::size_t, std::size_t>> stepsOf(const RowCycle& cycle,
                                                         const Activation& activation);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_ROW_CYCLES_H_
