// SPDX-License-Identifier: Apache-2.0
#include "simulator/row_outcomes.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

bool isAllOf(const std::vector<HAPOutcome>& outcomes, const HAPOutcome& one) {
  return std::count(outcomes.begin(), outcomes.end(), one) ==
         static_cast<std::ptrdiff_t>(outcomes.size());
}

/// Drops what the last outcome says all the same, as it holds for all further calls.
void shorten(RowOutcomes& outcomes) {
  std::vector<HAPOutcome>& calls = outcomes.calls;
  if (!outcomes.again.empty() && isAllOf(outcomes.again, outcomes.again[0])) {
    calls.push_back(outcomes.again[0]);
    outcomes.again.clear();
  }
  while (outcomes.again.empty() && calls.size() > 1 && calls[calls.size() - 2] == calls.back()) {
    calls.pop_back();
  }
}

}  // namespace

std::vector<OutcomeRule> rulesOf(const CallPattern& where, RowOutcomes outcomes) {
  std::vector<OutcomeRule> rules;
  const HAPOutcome success;
  if (isAllOf(outcomes.calls, success) && isAllOf(outcomes.again, success)) {
    return rules;
  }
  shorten(outcomes);
  OutcomeRule rule;
  rule.where = where;
  rule.first = 0;
  const auto add = [&](const HAPOutcome& outcome) {
    ++rule.first;
    rule.outcome = outcome;
    rules.push_back(rule);
  };
  std::for_each(outcomes.calls.begin(), outcomes.calls.end(), add);
  rule.period = static_cast<unsigned int>(std::max<std::size_t>(1, outcomes.again.size()));
  std::for_each(outcomes.again.begin(), outcomes.again.end(), add);
  return rules;
}

}  // namespace kw::trx::tools
