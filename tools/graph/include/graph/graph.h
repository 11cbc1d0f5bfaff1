// SPDX-License-Identifier: Apache-2.0
// Tables in the language of Graphviz.
#ifndef KW_TRX_TOOLS_GRAPH_GRAPH_H_
#define KW_TRX_TOOLS_GRAPH_GRAPH_H_

#include <string>
#include <vector>

#include "coverage/coverage.h"
#include "table/environment.h"

namespace kw::trx::tools {

/// What the counts are of.
enum class GraphView {
  kRuns,  ///< any number of runs: rows are coloured by whether they have run
  kWay,   ///< one run: its way is bold, the rows that failed red, all else pale
};

/// The tables called `names` and those that they call, also those that are not there, as `dot`
/// takes them.
std::string graphOf(const KnownTables& tables, const std::vector<std::string>& names,
                    const GraphCounts& counts = {}, GraphView view = GraphView::kRuns);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_GRAPH_GRAPH_H_
