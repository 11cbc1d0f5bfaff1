// SPDX-License-Identifier: Apache-2.0
// What the rows of a table hold that loads, but is surely not meant.
#ifndef KW_TRX_TOOLS_TABLES_FLOW_WARNINGS_H_
#define KW_TRX_TOOLS_TABLES_FLOW_WARNINGS_H_

#include <vector>

#include "tables/finding.h"
#include "tables/flow.h"
#include "tables/surroundings.h"

namespace kw::trx::tools {

/// Warnings about the rows of a table that the engine loads.
std::vector<Finding> flowWarnings(const TableFlow& flow, const Surroundings& surroundings);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLES_FLOW_WARNINGS_H_
