// SPDX-License-Identifier: Apache-2.0
// Which failures that STACK rows keep CHECK rows find.
#ifndef KW_TRX_TOOLS_ANALYSIS_MARK_CLAIMS_H_
#define KW_TRX_TOOLS_ANALYSIS_MARK_CLAIMS_H_

#include <vector>

#include "analysis/claims.h"
#include "analysis/run_graph.h"

namespace kw::trx::tools {

/// For each CHECK row that a run with a kept failure gets to a claim that names the STACK rows of
/// its table whose failure it can be, and one that names those of other tables.
std::vector<Claim> markClaims(const RunGraph& graph);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_MARK_CLAIMS_H_
