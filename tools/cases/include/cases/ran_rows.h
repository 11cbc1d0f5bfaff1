// SPDX-License-Identifier: Apache-2.0
// The rows of a simulated run, with what their HAPs did. Any thread.
#ifndef KW_TRX_TOOLS_CASES_RAN_ROWS_H_
#define KW_TRX_TOOLS_CASES_RAN_ROWS_H_

#include <vector>

#include "simulator/simulator.h"

namespace kw::trx::tools {

struct RanRow {
  const FlowRow* row;
  bool fails;  ///< its HAP, also when no module can have it
};

/// The rows of `run`, which point into `tables`.
std::vector<RanRow> ranRows(const SimulatedRun& run, const TableFlows& tables);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_RAN_ROWS_H_
