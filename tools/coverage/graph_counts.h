// SPDX-License-Identifier: Apache-2.0
// Coverage on the picture of tables.
#ifndef KW_TRX_TOOLS_COVERAGE_GRAPH_COUNTS_H_
#define KW_TRX_TOOLS_COVERAGE_GRAPH_COUNTS_H_

#include "coverage/coverage.h"
#include "tables/graph.h"

namespace kw::trx::tools {

/// The counts of those tables whose file `coverage` knows.
GraphCounts graphCountsOf(const TableFlows& tables, const Coverage& coverage);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COVERAGE_GRAPH_COUNTS_H_
