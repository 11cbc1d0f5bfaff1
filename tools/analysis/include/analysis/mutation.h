// SPDX-License-Identifier: Apache-2.0
// Faults that authors of tables make, put into them one by one. Any thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_MUTATION_H_
#define KW_TRX_TOOLS_ANALYSIS_MUTATION_H_

#include <string>
#include <vector>

#include "table/flow.h"

namespace kw::trx::tools {

/// A table with one fault.
struct Mutant {
  std::string table;
  unsigned int line;   ///< of the row in its file
  std::string change;  ///< such as "row 5: STACK becomes NOP"
  std::vector<FlowRow> rows;
};

/// All faults of one table: another label, a jump to the row before or behind, another error mode,
/// a lost row, a lost message of an END row, two rows in the other order, and a call of another one
/// of `tables`.
std::vector<Mutant> mutantsOf(const TableFlow& flow, const TableFlows& tables);

/// The table as a file that the engine loads, unless its rows do not fit together any more.
std::string tableText(const std::vector<FlowRow>& rows);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_MUTATION_H_
