// SPDX-License-Identifier: Apache-2.0
// Rules judged by runs. One thread.
#ifndef KW_TRX_TOOLS_CASES_RULE_JUDGE_H_
#define KW_TRX_TOOLS_CASES_RULE_JUDGE_H_

#include <string>
#include <vector>

#include "cases/case_file.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {

/// Judges one rule by one run.
class RuleJudge {
 public:
  /// `rule` must outlive it.
  explicit RuleJudge(const Rule& rule) : rule_(rule), state_(startOf(rule)) {}

  /// Each row, and the time until the next one.
  void take(const FlowRow& row, bool fails, std::uint64_t time_ms);
  void takeEnd(bool ends);

  bool isTested() const { return state_.is_tested; }
  /// How the run breaks the rule, such as "RULE off: row main/3 breaks it: A before B"; empty: it
  /// does not.
  const std::string& broken() const { return broken_; }

 private:
  const Rule& rule_;
  RuleState state_;
  std::string broken_;
};

/// How a run of `tables` breaks `rules`, a line each. Sets in `tested` which of them it puts to the
/// test.
std::vector<std::string> brokenRules(const std::vector<LineOfRule>& rules, const SimulatedRun& run,
                                     const TableFlows& tables, std::vector<bool>& tested);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_RULE_JUDGE_H_
