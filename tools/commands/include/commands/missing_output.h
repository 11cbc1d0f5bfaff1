// SPDX-License-Identifier: Apache-2.0
// Cases for what those of a file do not take, as a case file.
#ifndef KW_TRX_TOOLS_COMMANDS_MISSING_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_MISSING_OUTPUT_H_

#include "cases/case_file.h"

namespace kw::trx::tools {

/// Prints the cases that are missing in `file`. Returns the exit status: failed when there are more
/// than `max_states` states of a table, so that more may be missing.
int printMissing(const CaseFile& file, std::size_t max_states);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_MISSING_OUTPUT_H_
