// SPDX-License-Identifier: Apache-2.0
// What is said about rows that may run for ever. Any thread.
#ifndef KW_TRX_TOOLS_LINT_CYCLE_WARNINGS_H_
#define KW_TRX_TOOLS_LINT_CYCLE_WARNINGS_H_

#include <map>
#include <string>
#include <vector>

#include "table/finding.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// Warnings by the name of their table.
using CycleWarnings = std::map<std::string, std::vector<Finding>>;

/// A warning for each cycle of rows, at the row that jumps back. Hosts may run each of `flows`, and
/// a called table that is not among them ends the request with error.
CycleWarnings cycleWarnings(const TableFlows& flows);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_CYCLE_WARNINGS_H_
