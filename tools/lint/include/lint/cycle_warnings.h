// SPDX-License-Identifier: Apache-2.0
// What is said about rows that may run for ever.
#ifndef KW_TRX_TOOLS_LINT_CYCLE_WARNINGS_H_
#define KW_TRX_TOOLS_LINT_CYCLE_WARNINGS_H_

#include <vector>

#include "table/calls.h"
#include "table/finding.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// A warning for each cycle of rows, at the row that jumps back.
std::vector<Finding> cycleWarnings(const TableFlow& flow, const Calls& calls);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_CYCLE_WARNINGS_H_
