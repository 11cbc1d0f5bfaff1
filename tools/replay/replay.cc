// SPDX-License-Identifier: Apache-2.0
#include "replay/replay.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "cases/case_words.h"
#include "common/characters.h"
#include "kw/trx/errors.h"
#include "replay/request_recording.h"
#include "simulator/row_outcomes.h"
#include "table/row_finder.h"
#include "trace/request_summaries.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// Gives the calls of one run their outcomes: those of the same row and HAP in their order; for a
/// row that did not call the HAP, those of rows that do not call it any more. Beyond them the last
/// one counts again. Where none is recorded a call succeeds.
class RecordedOutcomes {
 public:
  /// `tables` are those of the run.
  RecordedOutcomes(const RecordedRequest& request, const RowFinder& tables);

  HAPOutcome choose(const HAPCall& call);

  /// What the run took for granted, a line each row.
  const std::vector<std::string>& assumed() const { return assumed_; }

 private:
  struct Calls {
    std::vector<HAPOutcome> outcomes;
    std::size_t taken = 0;
  };
  using Place = std::pair<RowId, std::string>;  // row and HAP

  void assume(const HAPCall& call, const std::string& words);

  std::map<Place, Calls> by_row_;
  std::map<std::string, Calls> by_hap_;  // of rows that do not call it any more
  std::vector<std::string> assumed_;
};

RecordedOutcomes::RecordedOutcomes(const RecordedRequest& request, const RowFinder& tables) {
  for (const RecordedRow& row : request.rows) {
    if (row.callsHAP()) {
      const std::string& hap = row.ran.name;
      (tables.find(row.ran).is_same ? by_row_[{row.ran.row, hap}] : by_hap_[hap])
          .outcomes.push_back(row.outcome);
    }
  }
}

HAPOutcome RecordedOutcomes::choose(const HAPCall& call) {
  const auto row = by_row_.find({call.row, call.hap});
  const auto hap = by_hap_.find(call.hap);
  if (row == by_row_.end() && hap == by_hap_.end()) {
    assume(call, "is not recorded here: it succeeds");
    return {};
  }
  Calls& calls = row != by_row_.end() ? row->second : hap->second;
  if (calls.taken == calls.outcomes.size()) {
    assume(call, "is called more often than recorded: it does again what it did last, " +
                     textOf(calls.outcomes.back()));
    return calls.outcomes.back();
  }
  if (row == by_row_.end()) {
    assume(call, "does what it did in the row that called it");
  }
  return calls.outcomes[calls.taken++];
}

void RecordedOutcomes::assume(const HAPCall& call, const std::string& words) {
  const std::string line = rowText(call.row) + ": HAP " + call.hap + " " + words;
  if (std::find(assumed_.begin(), assumed_.end(), line) == assumed_.end()) {
    assumed_.push_back(line);
  }
}

/// True when a row is in the tables what it was when it ran.
bool isAsRecorded(const RecordedRow& row, const RowFinder::Found& found) {
  return found.is_same && (!row.callsHAP() || visible(found.row->mode) == row.ran.mode);
}

bool isEndOf(const ExpectedEnd& end, const SimulatedRun& run) {
  switch (end.kind) {
    case ExpectedEnd::Kind::kOk:
      return run.failure.empty();
    case ExpectedEnd::Kind::kError:
      return run.code == trx::kCodeTableFailed;
    default:
      return !run.failure.empty() && end.code == run.code;
  }
}

bool hasEffect(const RecordedRow& row) {
  return row.ran.effect != Effect::kNone && row.ran.effect != Effect::kInterrupts;
}

/// The ERROR of a row that does this.
const char* errorText(Effect effect) {
  switch (effect) {
    case Effect::kIgnored:
      return trx::kErrorNop;
    case Effect::kKept:
      return trx::kErrorStack;
    case Effect::kJumps:
      return "a label";
    default:
      return "nothing";
  }
}

/// What has changed of the ERROR of rows that failed, a line each.
void addErrorChanges(const RecordedRequest& request, const RowFinder& tables,
                     std::vector<std::string>& changed) {
  std::set<RowId> seen;
  for (const RecordedRow& row : request.rows) {
    const RowFinder::Found found = tables.find(row.ran);
    if (found.is_same && hasEffect(row) && row.ran.effect != found.row->on_failure &&
        seen.insert(row.ran.row).second) {
      changed.push_back(row.name() + " has now " + errorText(found.row->on_failure) +
                        " in ERROR; it ran with " + errorText(row.ran.effect) +
                        (row.ran.effect == Effect::kIgnored ? ", or its host ignores errors" : ""));
    }
  }
}

/// What has changed of the rows of the request, a line each.
std::vector<std::string> changesOf(const RecordedRequest& request, const RowFinder& tables) {
  std::vector<std::string> changed;
  std::set<std::string> missing;
  std::set<RowId> seen;
  for (const RecordedRow& row : request.rows) {
    const RowFinder::Found found = tables.find(row.ran);
    if (!seen.insert(row.ran.row).second || isAsRecorded(row, found)) {
      continue;
    }
    if (found.table != nullptr) {
      changed.push_back((found.is_same ? row.name() + " now has the mode " + found.row->mode
                                       : changeText(found, row.ran)) +
                        "; it ran as " + row.action());
    } else if (missing.insert(row.ran.row.table).second) {
      changed.push_back("table " + row.ran.row.table + " is not among the files");
    }
  }
  addErrorChanges(request, tables, changed);
  return changed;
}

}  // namespace

Replay replay(const RecordedRequest& recorded, const Simulator& simulator) {
  Replay result;
  const RowFinder tables(simulator.tables());
  RecordedOutcomes outcomes(recorded, tables);
  RequestRecording recording(0);
  SimulationRequest simulated;
  simulated.table = recorded.request.name;
  simulated.max_rows += recorded.rows.size();
  simulated.choose = [&outcomes](const HAPCall& call) { return outcomes.choose(call); };
  simulated.listener = &recording;
  result.run = simulator.run(simulated);
  for (const Span& row : recording.rows()) {
    result.rows.push_back({row, {}});
  }
  const auto is_same = [&tables](const RecordedRow& then, const RecordedRow& now) {
    return then.ran.row == now.ran.row && isAsRecorded(then, tables.find(then.ran));
  };
  const auto differ = std::mismatch(recorded.rows.begin(), recorded.rows.end(), result.rows.begin(),
                                    result.rows.end(), is_same);
  if (differ.first != recorded.rows.end() || differ.second != result.rows.end()) {
    result.first_difference = static_cast<std::size_t>(differ.first - recorded.rows.begin());
  }
  result.same_end = isEndOf(recorded.end, result.run);
  const ReportedFailure& failure = result.run.record;
  const RecordedRow* const failing = recorded.firstFailing();
  result.same_failing =
      failing == nullptr ? !failure.first_failing : failing->ran.row == failure.first_failing;
  result.changed = changesOf(recorded, tables);
  result.assumed = outcomes.assumed();
  return result;
}

TableCase caseOf(const RecordedRequest& recorded, const std::string& name) {
  TableCase one{};
  const std::string& table = recorded.request.name;
  one.name = name;
  one.table = table;
  one.end = recorded.end;
  const RecordedRow* const failing = recorded.firstFailing();
  one.first_failing = failing == nullptr ? kFirstNone : failing->ran.row.text(table);
  one.rows.emplace();
  std::uint64_t wait_ms = 0;
  std::map<RowId, RowOutcomes> outcomes;
  for (const RecordedRow& row : recorded.rows) {
    const std::string text = row.ran.row.text(table);
    one.rows->push_back(text);
    wait_ms += row.ran.wait_ms.value_or(0);
    if (!row.callsHAP()) {
      continue;
    }
    outcomes[row.ran.row].calls.push_back(row.outcome);
  }
  for (const auto& [place, calls] : outcomes) {
    const std::vector<OutcomeRule> rules = rulesOf({"", place.table, place.number}, calls);
    one.outcomes.insert(one.outcomes.end(), rules.begin(), rules.end());
  }
  if (wait_ms <= std::numeric_limits<unsigned int>::max()) {
    one.wait_ms = wait_ms;  // a case file has no greater one
  }
  return one;
}

std::vector<std::string> filesFor(const std::string& entry, const TableFlows& tables) {
  std::vector<std::string> files = {tables.at(entry).file};
  for (const std::string& name : withCalled({entry}, tables)) {
    if (const auto table = tables.find(name); name != entry && table != tables.end()) {
      files.push_back(table->second.file);
    }
  }
  return files;
}

}  // namespace kw::trx::tools
