// SPDX-License-Identifier: Apache-2.0
// What tables that call each other make of their runs. Any thread.
#ifndef KW_TRX_TOOLS_TABLE_CALLS_H_
#define KW_TRX_TOOLS_TABLE_CALLS_H_

#include <set>
#include <string>

#include "table/flow.h"

namespace kw::trx::tools {

/// The names of the tables of which no run gets to an END row, all calls taken into account. Looks
/// at all of `flows` in time that grows as their rows do.
std::set<std::string> endlessTables(const TableFlows& flows);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_CALLS_H_
