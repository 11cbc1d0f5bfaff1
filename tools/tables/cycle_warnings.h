// SPDX-License-Identifier: Apache-2.0
// What is said about rows that may run for ever.
#ifndef KW_TRX_TOOLS_TABLES_CYCLE_WARNINGS_H_
#define KW_TRX_TOOLS_TABLES_CYCLE_WARNINGS_H_

#include <vector>

#include "tables/calls.h"
#include "tables/finding.h"
#include "tables/flow.h"

namespace kw::trx::tools {

/// A warning for each cycle of rows, at the row that jumps back.
std::vector<Finding> cycleWarnings(const TableFlow& flow, const Calls& calls);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLES_CYCLE_WARNINGS_H_
