// SPDX-License-Identifier: Apache-2.0
// Cases run by several processes at once.
#ifndef KW_TRX_TOOLS_CASES_CASE_WORKERS_H_
#define KW_TRX_TOOLS_CASES_CASE_WORKERS_H_

#include <string>
#include <vector>

#include "cases/case_file.h"

namespace kw::trx::tools {

struct CaseResult {
  std::string name;
  unsigned int line;
  std::vector<std::string> differences;  ///< empty: it passed
  std::vector<bool> tested_rules;        ///< of its file, which its run puts to the test
};

/// Runs all cases of `files` in `jobs` processes, each with an engine of its own. Returns the
/// results by file, in the order of the cases; a case whose process ended before it did failed. To
/// be called while no other thread runs. Throws `std::runtime_error` when no process can be
/// started.
std::vector<std::vector<CaseResult>> runCases(const std::vector<CaseFile>& files, std::size_t jobs);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_CASE_WORKERS_H_
