// SPDX-License-Identifier: Apache-2.0
// Tables in the language of Graphviz.
#ifndef KW_TRX_TOOLS_TABLES_GRAPH_H_
#define KW_TRX_TOOLS_TABLES_GRAPH_H_

#include <string>
#include <vector>

#include "tables/surroundings.h"

namespace kw::trx::tools {

/// The tables called `names` and those that they call, as `dot` takes them.
std::string graphOf(const KnownTables& tables, const std::vector<std::string>& names);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLES_GRAPH_H_
