// SPDX-License-Identifier: Apache-2.0
// Runs that show a claim, as cases, and whether the engine runs them that way.
#ifndef KW_TRX_TOOLS_ANALYSIS_WITNESS_H_
#define KW_TRX_TOOLS_ANALYSIS_WITNESS_H_

#include <string>
#include <vector>

#include "analysis/claims.h"
#include "cases/case_file.h"

namespace kw::trx::tools {

/// The run of `claim`, which must have one, as a case of the table `entry` that expects all of it.
TableCase witnessCase(const Program& program, int entry, const Claim& claim);

/// The same for a run of the engine that is to confirm it: of one that never ends, some rounds.
TableCase confirmingCase(const Program& program, int entry, const Claim& claim);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_WITNESS_H_
