// SPDX-License-Identifier: Apache-2.0
#include "analysis/rule_claims.h"

#include <algorithm>

#include "analysis/machine_runs.h"

namespace kw::trx::tools {
namespace {

using ActionKind = Machine::Action::Kind;

/// Looks at all runs for one rule.
class RuleSearch {
 public:
  RuleSearch(const Program& program, int entry, unsigned int nest_limit, std::size_t max_states,
             const Rule& rule)
      : machine_(program, nest_limit), max_states_(max_states), rule_(rule) {
    const RuleState start = startOf(rule);
    is_tested_ = start.is_tested;
    MachineRuns runs(machine_, max_states);
    bool has_ended = false;
    is_complete_ = runs.follow(machine_.start(entry), start.value,
                               [&](const MachineRuns::Ran& ran, std::uint64_t& value) {
                                 has_ended = ran.end != ActionKind::kGoesOn;
                                 return !breaks(ran, value);
                               });
    if (is_broken_) {
      path_ = runs.path();
      if (!has_ended && !addWayToEnd(machine_, runs.last(), max_states_, path_)) {
        path_.is_cut = true;
      }
    }
  }

  bool isComplete() const { return is_complete_; }
  bool isTested() const { return is_tested_; }
  bool isBroken() const { return is_broken_; }
  /// A run that breaks it; cut: it does not end, or is too long.
  const RunPath& path() const { return path_; }

 private:
  bool breaks(const MachineRuns::Ran& ran, std::uint64_t& value) {
    RuleState state{value, false, false};
    take(rule_, state, ran.row, ran.fails, ran.row.wait_ms);
    if (ran.end != ActionKind::kGoesOn) {
      takeEnd(rule_, state, true);
    }
    is_tested_ = is_tested_ || state.is_tested;
    is_broken_ = state.is_broken;
    value = state.value;
    return is_broken_;
  }

  Machine machine_;
  const std::size_t max_states_;
  const Rule& rule_;
  bool is_complete_ = true, is_tested_ = false, is_broken_ = false;
  RunPath path_;
};

/// "always ends" is broken by a run that goes round for ever, of which others claim.
void judgeEnds(const Rule& rule, const Exploration& exploration, RuleClaims& result) {
  const auto endless =
      std::find_if(exploration.claims.begin(), exploration.claims.end(),
                   [](const Claim& claim) { return claim.kind == Claim::Kind::kEndless; });
  result.is_complete = result.is_complete && exploration.is_complete;
  if (endless != exploration.claims.end()) {
    result.claims.push_back({Claim::Kind::kRule, rule.name,
                             "a run breaks the rule " + rule.name + ": " + rule.text,
                             endless->witness});
  }
}

}  // namespace

RuleClaims ruleClaims(const Program& program, const Exploration& exploration,
                      unsigned int nest_limit, std::size_t max_states,
                      const std::vector<LineOfRule>& rules) {
  RuleClaims result;
  for (const LineOfRule& one : rules) {
    const Rule& rule = one.rule;
    if (rule.kind == Rule::Kind::kEnds) {
      judgeEnds(rule, exploration, result);
      result.tested.push_back(true);
      continue;
    }
    const RuleSearch search(program, exploration.table, nest_limit, max_states, rule);
    result.is_complete = result.is_complete && search.isComplete();
    result.tested.push_back(search.isTested());
    if (search.isBroken()) {
      result.claims.push_back({Claim::Kind::kRule, rule.name,
                               "a run breaks the rule " + rule.name + ": " + rule.text,
                               std::nullopt});
      if (search.path().is_cut) {
        result.claims.back().message += "; not run, as it has no end that is near";
      } else {
        result.claims.back().witness = search.path();
      }
    }
  }
  return result;
}

std::vector<Claim> untestedClaims(const std::vector<LineOfRule>& rules,
                                  const std::vector<bool>& tested) {
  std::vector<Claim> claims;
  for (std::size_t i = 0; i < rules.size(); ++i) {
    if (!tested[i]) {
      claims.push_back(
          {Claim::Kind::kUntested, rules[i].rule.name,
           "no run puts the rule " + rules[i].rule.name + " to the test: " + rules[i].rule.text,
           std::nullopt});
    }
  }
  return claims;
}

}  // namespace kw::trx::tools
