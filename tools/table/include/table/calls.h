// SPDX-License-Identifier: Apache-2.0
// What tables that call each other make of their runs. Any thread.
#ifndef KW_TRX_TOOLS_TABLE_CALLS_H_
#define KW_TRX_TOOLS_TABLE_CALLS_H_

#include <set>
#include <string>

#include "table/flow.h"

namespace kw::trx::tools {

/// Names of tables; each takes all calls into account.
struct Calls {
  std::set<std::string> endless;      ///< no run gets to an END row
  std::set<std::string> no_way_on;    ///< no run gets to an END row without a message
  std::set<std::string> kept_after;   ///< a run may leave a failure that is kept for CHECK
  std::set<std::string> kept_before;  ///< a run may find one when it is called
};

/// Looks at all of `flows` in time that grows as their rows do.
Calls callsOf(const TableFlows& flows);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_CALLS_H_
