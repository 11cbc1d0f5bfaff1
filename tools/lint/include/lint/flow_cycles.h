// SPDX-License-Identifier: Apache-2.0
// Rows of a table that may run for ever. Any thread.
#ifndef KW_TRX_TOOLS_LINT_FLOW_CYCLES_H_
#define KW_TRX_TOOLS_LINT_FLOW_CYCLES_H_

#include <cstddef>
#include <utility>
#include <vector>

#include "table/calls.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// Rows that run one after the other, and the first again behind the last. In each stretch, from
/// the first to the second place, rows follow each other; its last row jumps to the next stretch.
using Cycle = std::vector<std::pair<std::size_t, std::size_t>>;

struct Cycles {
  std::vector<Cycle> found;  ///< the last stretch ends with the row that jumps back
  bool is_complete = true;   ///< false: there may be more, but too many ways to follow
};

/// The cycles that rows of `flow` run for ever when each of them has the same outcome every time:
/// for each jump back the one without another jump, if there is one, and the shortest one.
Cycles cyclesOf(const TableFlow& flow, const Calls& calls);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_FLOW_CYCLES_H_
