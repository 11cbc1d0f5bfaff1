// SPDX-License-Identifier: Apache-2.0
#include "lint/check.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <tuple>

#include "lint/description_warnings.h"
#include "lint/fault_finder.h"
#include "lint/fault_log.h"
#include "lint/flow_warnings.h"
#include "lint/spreadsheet_warnings.h"

namespace kw::trx::tools {
namespace {

std::vector<Finding> warningsOf(const TableFlow& flow, const Environment& around) {
  std::vector<Finding> warnings = flowWarnings(flow, around);
  for (const Finding& finding : descriptionWarnings(flow, around.haps.descriptions)) {
    warnings.push_back(finding);
  }
  return warnings;
}

/// The warnings of a file that the engine loads; `around` holds it already, unless another file has
/// its name.
std::vector<Finding> warningsOfFlow(const std::string& file, const Environment& around) {
  const auto known = around.tables.flows.find(tableNameOf(file));
  if (known != around.tables.flows.end() && known->second.file == file) {
    return warningsOf(known->second, around);
  }
  TableFlow flow;
  return readFlow(file, flow) ? warningsOf(flow, around) : std::vector<Finding>();
}

}  // namespace

bool CheckedFile::has(bool errors) const {
  return std::any_of(findings.begin(), findings.end(),
                     [errors](const Finding& finding) { return finding.is_error == errors; });
}

CheckedFile checkFile(const std::string& file, const Environment& around) {
  const Faults faults = findFaults(file);
  CheckedFile checked{file, faults.findings, access(file.c_str(), R_OK) != 0};
  const auto append = [&](const std::vector<Finding>& more) {
    checked.findings.insert(checked.findings.end(), more.begin(), more.end());
  };
  append(spreadsheetWarnings(file));
  if (!checked.has(true)) {
    append(warningsOfFlow(file, around));
  }
  std::stable_sort(checked.findings.begin(), checked.findings.end(),
                   [](const Finding& a, const Finding& b) {
                     return std::tie(a.line, a.column) < std::tie(b.line, b.column);
                   });
  if (faults.has_more) {
    checked.findings.push_back(
        {true, 0, "",
         "there are more errors than the first " + std::to_string(kMaxFaults) + "; fix these first",
         faults.findings.back().id});
  }
  return checked;
}

}  // namespace kw::trx::tools
