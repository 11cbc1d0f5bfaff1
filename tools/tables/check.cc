// SPDX-License-Identifier: Apache-2.0
#include "tables/check.h"

#include <algorithm>
#include <tuple>

#include "tables/fault_finder.h"
#include "tables/flow_warnings.h"
#include "tables/spreadsheet_warnings.h"

namespace kw::trx::tools {

bool CheckedFile::has(bool errors) const {
  return std::any_of(findings.begin(), findings.end(),
                     [errors](const Finding& finding) { return finding.is_error == errors; });
}

CheckedFile checkFile(const std::string& file, const Surroundings& around) {
  CheckedFile checked{file, findFaults(file)};
  const auto append = [&](const std::vector<Finding>& more) {
    checked.findings.insert(checked.findings.end(), more.begin(), more.end());
  };
  append(spreadsheetWarnings(file));
  TableFlow flow;
  if (!checked.has(true) && readFlow(file, flow)) {
    append(flowWarnings(flow, around));
  }
  std::stable_sort(checked.findings.begin(), checked.findings.end(),
                   [](const Finding& a, const Finding& b) {
                     return std::tie(a.line, a.column) < std::tie(b.line, b.column);
                   });
  return checked;
}

}  // namespace kw::trx::tools
