// SPDX-License-Identifier: Apache-2.0
// Tables in the language of Graphviz.
#ifndef KW_TRX_TOOLS_TABLES_GRAPH_H_
#define KW_TRX_TOOLS_TABLES_GRAPH_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tables/surroundings.h"

namespace kw::trx::tools {

/// What is told of the runs of a row.
struct RowCounts {
  std::uint64_t runs = 0;
  std::uint64_t onward = 0;  ///< to the next row
  std::uint64_t errors = 0;  ///< by a jump, or to the error end
  std::string note = {};     ///< further lines of its box
  bool failed = false;
};

/// By table, for each of its rows.
using GraphCounts = std::map<std::string, std::vector<RowCounts>>;

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

#endif  // KW_TRX_TOOLS_TABLES_GRAPH_H_
