// SPDX-License-Identifier: Apache-2.0
// What all runs of a table show of single rows.
#ifndef KW_TRX_TOOLS_ANALYSIS_ROW_CLAIMS_H_
#define KW_TRX_TOOLS_ANALYSIS_ROW_CLAIMS_H_

#include <string>
#include <vector>

#include "analysis/claims.h"
#include "analysis/row_cycles.h"
#include "analysis/shortest_runs.h"

namespace kw::trx::tools {

/// The NUMBER of a row, with its table when that is not `entry`.
std::string rowNameOf(const Program& program, int table, std::size_t row, int entry);

/// Claims about failures, messages and calls, in the order of tables and rows.
std::vector<Claim> rowClaims(const RunGraph& graph, const ShortestRuns& shortest,
                             Witnesses& witnesses);

/// A claim for each row from which on a run, that can end until then, cannot end any more.
std::vector<Claim> stuckClaims(const RunGraph& graph, const ShortestRuns& shortest,
                               Witnesses& witnesses);

/// A claim for each cycle of rows that a run can stay in.
std::vector<Claim> endlessClaims(const RunGraph& graph, const RowCycles& cycles,
                                 const ShortestRuns& shortest, Witnesses& witnesses);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_ROW_CLAIMS_H_
