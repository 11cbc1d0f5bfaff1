// SPDX-License-Identifier: Apache-2.0
#include "replay/recorded_rules.h"

#include <algorithm>

#include "cases/rule_judge.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr std::uint64_t kNsPerMs = 1000000;

bool isRecorded(const Rule& rule) {
  const std::vector<const RuleEvent*> events = rule.events();
  return std::all_of(events.begin(), events.end(),
                     [](const RuleEvent* event) { return event->isRecorded(); });
}

/// As much of a row as records tell.
FlowRow rowOf(const Span& span) {
  FlowRow row;
  row.id = span.row;
  row.command = span.command;
  row.name = span.command == Command::kEnd ? "" : span.name;
  row.mode = span.mode;
  return row;
}

RuleJudge judgeOf(const Rule& rule, const RecordedRequest& recorded) {
  RuleJudge judge(rule);
  for (std::size_t i = 0; i < recorded.rows.size(); ++i) {
    const RecordedRow& row = recorded.rows[i];
    const std::uint64_t start = row.ran.start_ns / kNsPerMs;
    const std::uint64_t next = i + 1 < recorded.rows.size()
                                   ? recorded.rows[i + 1].ran.start_ns / kNsPerMs
                                   : std::max(start, row.ran.end_ns / kNsPerMs);
    judge.take(rowOf(row.ran), row.outcome.kind != HAPOutcome::Kind::kSuccess,
               next - std::min(start, next));
  }
  judge.takeEnd(true);
  return judge;
}

}  // namespace

RecordedRules judgeRecorded(const std::vector<LineOfRule>& rules,
                            const std::vector<RequestRecording::Recorded>& recorded) {
  RecordedRules result;
  for (const RequestRecording::Recorded& one : recorded) {
    if (one.problem.empty()) {
      ++result.judged;
    } else {
      result.not_judged.push_back(one.problem);
    }
  }
  for (const LineOfRule& line : rules) {
    const Rule& rule = line.rule;
    if (!isRecorded(rule)) {
      result.not_recorded.push_back(rule.name);
      continue;
    }
    bool is_tested = false;
    for (const RequestRecording::Recorded& one : recorded) {
      if (!one.problem.empty()) {
        continue;
      }
      const RuleJudge judge = judgeOf(rule, one.request);
      is_tested = is_tested || judge.isTested();
      if (!judge.broken().empty()) {
        const Request& request = one.request.request;
        result.broken.push_back(
            {requestText(request.id, request.number), rule.name, judge.broken()});
      }
    }
    if (!is_tested) {
      result.untested.push_back(rule.name);
    }
  }
  return result;
}

}  // namespace kw::trx::tools
