// SPDX-License-Identifier: Apache-2.0
#include "cases/case_of_run.h"

#include <map>

#include "cases/case_words.h"
#include "kw/trx/errors.h"
#include "simulator/row_outcomes.h"

namespace kw::trx::tools {
namespace {

/// So many rows of a run that never ends are expected.
constexpr std::size_t kEndlessRows = 100;

ExpectedEnd endOf(const SimulatedRun& run) {
  ExpectedEnd end;
  if (run.is_stopped) {
    end.kind = ExpectedEnd::Kind::kNever;
  } else if (run.code == trx::kCodeTableFailed) {
    end.kind = ExpectedEnd::Kind::kError;
    if (!run.record.message.empty()) {
      end.message = run.record.message;
    }
  } else if (!run.failure.empty()) {
    end.kind = ExpectedEnd::Kind::kException;
    end.code = run.code;
  }
  return end;
}

}  // namespace

TableCase caseOf(const SimulatedRun& run, const std::string& table, const std::string& name) {
  TableCase one{};
  one.name = name;
  one.table = table;
  one.rows.emplace();
  for (std::size_t i = 0; i < run.rows.size() && !(run.is_stopped && i >= kEndlessRows); ++i) {
    one.rows->push_back(run.rows[i].text(table));
  }
  std::map<RowId, RowOutcomes> outcomes;
  for (const HAPCall& call : run.calls) {
    outcomes[call.row].calls.push_back(call.outcome);
  }
  for (const auto& [row, calls] : outcomes) {
    const std::vector<OutcomeRule> rules = rulesOf({"", row.table, row.number}, calls);
    one.outcomes.insert(one.outcomes.end(), rules.begin(), rules.end());
  }
  one.end = endOf(run);
  if (!run.is_stopped) {
    const std::optional<RowId>& failing = run.record.first_failing;
    one.first_failing = failing ? failing->text(table) : kFirstNone;
    one.wait_ms = run.wait_ms;
  }
  return one;
}

}  // namespace kw::trx::tools
