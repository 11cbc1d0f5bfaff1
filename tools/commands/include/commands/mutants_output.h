// SPDX-License-Identifier: Apache-2.0
// Faults put into tables, and whether cases notice them.
#ifndef KW_TRX_TOOLS_COMMANDS_MUTANTS_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_MUTANTS_OUTPUT_H_

#include "analysis/mutant_test.h"

namespace kw::trx::tools {

/// Prints what the cases of `file` notice. Returns the exit status: findings for a fault that they
/// do not notice, failed when for some that is not known.
int printMutants(const CaseFile& file, const MutantOptions& options);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_MUTANTS_OUTPUT_H_
