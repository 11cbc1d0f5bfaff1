// SPDX-License-Identifier: Apache-2.0
// Results of cases as continuous integration reads them.
#ifndef KW_TRX_TOOLS_TRXCTL_JUNIT_H_
#define KW_TRX_TOOLS_TRXCTL_JUNIT_H_

#include <string>
#include <vector>

namespace kw::trx::tools {

struct CaseResult {
  std::string name;
  unsigned int line;
  std::vector<std::string> differences;  ///< empty: it passed
};

struct TestedFile {
  std::string file;
  std::vector<CaseResult> cases;
};

/// A suite for each file, in JUnit's XML.
std::string junitOf(const std::vector<TestedFile>& files);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRXCTL_JUNIT_H_
