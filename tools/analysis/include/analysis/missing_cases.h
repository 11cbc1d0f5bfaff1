// SPDX-License-Identifier: Apache-2.0
// Cases for rows and branches that those of a file do not take. One thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_MISSING_CASES_H_
#define KW_TRX_TOOLS_ANALYSIS_MISSING_CASES_H_

#include <string>
#include <vector>

#include "cases/case_file.h"

namespace kw::trx::tools {

struct MissingCases {
  std::vector<TableCase> cases;
  std::vector<std::string> left;  ///< branches that only runs without a near end take
  bool is_complete = true;        ///< false: there may be more branches that runs can take
};

/// Few cases that take, with those of `file`, every row and every branch that a run of its tables
/// can take: of a HAP row that it succeeds and fails, of a CHECK row that it finds a failure and
/// finds none. They expect what the tables do now. Runs begin with tables of the cases and those
/// that no other one calls; `max_states`: of each.
MissingCases missingCases(const CaseFile& file, std::size_t max_states);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_MISSING_CASES_H_
