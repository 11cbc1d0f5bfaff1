// SPDX-License-Identifier: Apache-2.0
#include "cases/rule_judge.h"

#include "cases/case_words.h"
#include "cases/ran_rows.h"

namespace kw::trx::tools {
void RuleJudge::take(const FlowRow& row, bool fails, std::uint64_t time_ms) {
  const bool was_broken = state_.is_broken;
  tools::take(rule_, state_, row, fails, time_ms);
  if (state_.is_broken && !was_broken) {
    broken_ = std::string(kCaseRule) + " " + rule_.name + ": row " + row.id.text() +
              " breaks it: " + rule_.text;
  }
}

void RuleJudge::takeEnd(bool ends) {
  const bool was_broken = state_.is_broken;
  tools::takeEnd(rule_, state_, ends);
  if (state_.is_broken && !was_broken) {
    broken_ = std::string(kCaseRule) + " " + rule_.name + ": " +
              (ends ? "the end breaks it: " : "a run without an end breaks it: ") + rule_.text;
  }
}

std::vector<std::string> brokenRules(const std::vector<LineOfRule>& rules, const SimulatedRun& run,
                                     const TableFlows& tables, std::vector<bool>& tested) {
  std::vector<std::string> broken;
  if (rules.empty()) {
    return broken;
  }
  const std::vector<RanRow> rows = ranRows(run, tables);
  tested.resize(rules.size());
  for (std::size_t i = 0; i < rules.size(); ++i) {
    RuleJudge judge(rules[i].rule);
    for (const RanRow& ran : rows) {
      judge.take(*ran.row, ran.fails, ran.row->wait_ms);
    }
    judge.takeEnd(!run.is_stopped);
    tested[i] = tested[i] || judge.isTested();
    if (!judge.broken().empty()) {
      broken.push_back(judge.broken());
    }
  }
  return broken;
}

}  // namespace kw::trx::tools
