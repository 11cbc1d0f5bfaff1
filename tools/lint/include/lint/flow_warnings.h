// SPDX-License-Identifier: Apache-2.0
// What the rows of a table hold that loads, but is surely not meant.
#ifndef KW_TRX_TOOLS_LINT_FLOW_WARNINGS_H_
#define KW_TRX_TOOLS_LINT_FLOW_WARNINGS_H_

#include <vector>

#include "table/environment.h"
#include "table/finding.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// Warnings about the rows of a table that the engine loads.
std::vector<Finding> flowWarnings(const TableFlow& flow, const Environment& environment);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_FLOW_WARNINGS_H_
