// SPDX-License-Identifier: Apache-2.0
// Results of cases as continuous integration reads them.
#ifndef KW_TRX_TOOLS_COMMANDS_JUNIT_H_
#define KW_TRX_TOOLS_COMMANDS_JUNIT_H_

#include <string>
#include <vector>

#include "cases/case_workers.h"

namespace kw::trx::tools {

struct TestedFile {
  std::string file;
  std::vector<CaseResult> cases;
};

/// A suite for each file, in JUnit's XML.
std::string junitOf(const std::vector<TestedFile>& files);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_JUNIT_H_
