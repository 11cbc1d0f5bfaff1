// SPDX-License-Identifier: Apache-2.0
// What the calls of one row do, as rules. Any thread.
#ifndef KW_TRX_TOOLS_SIMULATOR_ROW_OUTCOMES_H_
#define KW_TRX_TOOLS_SIMULATOR_ROW_OUTCOMES_H_

#include <vector>

#include "simulator/rules.h"

namespace kw::trx::tools {

struct RowOutcomes {
  std::vector<HAPOutcome> calls;  ///< in their order
  std::vector<HAPOutcome> again;  ///< what all further calls repeat; empty: any will do for them
};

/// As few rules as give the calls of `where` these outcomes; none when all of them succeed, as
/// calls without a rule do.
std::vector<OutcomeRule> rulesOf(const CallPattern& where, RowOutcomes outcomes);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_SIMULATOR_ROW_OUTCOMES_H_
