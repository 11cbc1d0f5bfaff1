// SPDX-License-Identifier: Apache-2.0
// Cases that expect what a run did. Any thread.
#ifndef KW_TRX_TOOLS_CASES_CASE_OF_RUN_H_
#define KW_TRX_TOOLS_CASES_CASE_OF_RUN_H_

#include <string>

#include "cases/case_file.h"

namespace kw::trx::tools {

/// A case whose HAPs do what they did in `run` of `table`, and that expects its rows, first failing
/// row, end and waits.
TableCase caseOf(const SimulatedRun& run, const std::string& table, const std::string& name);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_CASE_OF_RUN_H_
