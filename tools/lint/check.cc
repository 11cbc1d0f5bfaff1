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

void append(std::vector<Finding>& findings, const std::vector<Finding>& more) {
  findings.insert(findings.end(), more.begin(), more.end());
}

}  // namespace

TableChecker::TableChecker(const Environment& around)
    : around_(around), cycles_(cycleWarnings(around.tables.flows)) {}

std::vector<Finding> TableChecker::warningsOf(const TableFlow& flow,
                                              const CycleWarnings& cycles) const {
  std::vector<Finding> warnings = flowWarnings(flow, around_);
  if (const auto found = cycles.find(flow.name); found != cycles.end()) {
    append(warnings, found->second);
  }
  append(warnings, descriptionWarnings(flow, around_.haps.descriptions));
  return warnings;
}

/// The warnings of a file that the engine loads; the tables around hold it already, unless another
/// file has its name.
std::vector<Finding> TableChecker::warningsOfFlow(const std::string& file) const {
  const auto known = around_.tables.flows.find(tableNameOf(file));
  if (known != around_.tables.flows.end() && known->second.file == file) {
    return warningsOf(known->second, cycles_);
  }
  TableFlow flow;
  if (!readFlow(file, flow)) {
    return {};
  }
  TableFlows flows = around_.tables.flows;
  flows[flow.name] = flow;
  return warningsOf(flow, cycleWarnings(flows));
}

bool CheckedFile::has(bool errors) const {
  return std::any_of(findings.begin(), findings.end(),
                     [errors](const Finding& finding) { return finding.is_error == errors; });
}

CheckedFile TableChecker::check(const std::string& file) const {
  const Faults faults = findFaults(file);
  CheckedFile checked{file, faults.findings, access(file.c_str(), R_OK) != 0};
  append(checked.findings, spreadsheetWarnings(file));
  if (!checked.has(true)) {
    append(checked.findings, warningsOfFlow(file));
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

CheckedFile checkFile(const std::string& file, const Environment& around) {
  return TableChecker(around).check(file);
}

}  // namespace kw::trx::tools
