// SPDX-License-Identifier: Apache-2.0
#include "lint/cycle_warnings.h"

#include <algorithm>

#include "common/text.h"
#include "lint/flow_cycles.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// The longest list that is written out.
constexpr std::size_t kMaxListed = 12;

std::string numberOf(const FlowRow& row) { return row.number.empty() ? "0" : row.number; }

/// "row 5", "rows 2 to 5 and 9".
std::string rowsText(const std::vector<std::string>& rows, bool is_one) {
  return (is_one ? "row " : "rows ") + listed(rows, kMaxListed);
}

std::string messageFor(const Cycle& cycle, const TableFlow& flow) {
  std::vector<std::string> stretches;
  std::vector<std::string> failing;
  bool is_checked = false;
  for (const auto& [first, last] : cycle) {
    const std::string end = numberOf(flow.rows[last]);
    if (last > first + 1) {
      stretches.push_back(numberOf(flow.rows[first]) + " to " + end);
    } else {
      if (last != first) {
        stretches.push_back(numberOf(flow.rows[first]));
      }
      stretches.push_back(end);
    }
    if (flow.rows[last].command == Command::kCheck) {
      is_checked = true;
    } else {
      failing.push_back(end);
    }
  }
  const bool is_row = cycle.size() == 1 && cycle[0].first == cycle[0].second;
  const bool is_one = failing.size() == 1;
  std::string message = rowsText(stretches, is_row) + (is_row ? " runs" : " run") + " for ever" +
                        (is_checked ? " once a failure is kept for CHECK" : "");
  if (is_row && is_one) {
    message += " when it fails each time";
  } else if (!failing.empty()) {
    message += std::string(is_checked ? " and " : " when ") + rowsText(failing, is_one) +
               " alone " + (is_one ? "fails" : "fail") + " each time";
  }
  return message;
}

}  // namespace

std::vector<Finding> cycleWarnings(const TableFlow& flow, const Calls& calls) {
  std::vector<Finding> findings;
  const Cycles cycles = cyclesOf(flow, calls);
  for (const Cycle& cycle : cycles.found) {
    const FlowRow& jump = flow.rows[cycle.back().second];
    findings.push_back({false, jump.lines[trx::kPlaceError], columnTitle(trx::kPlaceError, true),
                        messageFor(cycle, flow)});
  }
  if (!cycles.is_complete) {
    findings.push_back({false, 0, "",
                        "more rows than these may run for ever: there are too many jumps to follow "
                        "all ways back"});
  }
  return findings;
}

}  // namespace kw::trx::tools
