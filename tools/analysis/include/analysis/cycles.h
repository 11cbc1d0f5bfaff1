// SPDX-License-Identifier: Apache-2.0
// States that a run can come back to.
#ifndef KW_TRX_TOOLS_ANALYSIS_CYCLES_H_
#define KW_TRX_TOOLS_ANALYSIS_CYCLES_H_

#include <vector>

#include "analysis/run_graph.h"

namespace kw::trx::tools {

/// The strongly connected components of the reached states of an activation, each before those that
/// lead to it. (R. Tarjan, Depth-first search and linear graph algorithms, 1972.)
std::vector<std::vector<std::size_t>> componentsOf(const Activation& activation);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_CYCLES_H_
