// SPDX-License-Identifier: Apache-2.0
#include "replay/replay.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "kw/trx/errors.h"
#include "replay/recorded_outcomes.h"
#include "simulation/case_words.h"
#include "simulation/row_outcomes.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// True when a row is in the tables what it was when it ran.
bool isAsRecorded(const RecordedRow& row, const RowFinder::Found& found) {
  return found.is_same && (!row.callsHAP() || found.row->mode == row.mode);
}

/// Says of `row` what `now` does.
void describe(const FlowRow& now, RecordedRow& row) {
  row.ran.command = now.command;
  if (now.command == trx::kCommandHAP || now.command == trx::kCommandTable) {
    row.ran.called = now.name;
  }
  if (now.command == trx::kCommandHAP) {
    row.mode = now.mode;
  } else if (now.command == trx::kCommandWait) {
    row.ran.wait_ms = now.wait_ms;
  } else if (now.command == trx::kCommandEnd) {
    row.ran.has_message = !now.name.empty();
  }
}

/// The rows of a run with what they do.
std::vector<RecordedRow> rowsOf(const SimulatedRun& run, const RowFinder& tables) {
  std::vector<RecordedRow> rows;
  for (const RanRow& ran : run.rows) {
    RecordedRow row;
    row.ran.table = ran.table;
    row.ran.number = ran.number;
    if (const FlowRow* const now = tables.find(row.ran).row) {
      describe(*now, row);
    }
    rows.push_back(std::move(row));
  }
  return rows;
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
  return row.effect != RecordedRow::Effect::kNone && row.effect != RecordedRow::Effect::kInterrupts;
}

/// What `row` makes of a failure.
RecordedRow::Effect effectOf(const FlowRow& row) {
  return row.keepsFailure() ? RecordedRow::Effect::kKept
         : row.command == trx::kCommandHAP && row.error == trx::kErrorNop
             ? RecordedRow::Effect::kIgnored
         : row.endsOnError() ? RecordedRow::Effect::kStops
                             : RecordedRow::Effect::kJumps;
}

/// The ERROR of a row that does this.
const char* errorText(RecordedRow::Effect effect) {
  switch (effect) {
    case RecordedRow::Effect::kIgnored:
      return trx::kErrorNop;
    case RecordedRow::Effect::kKept:
      return trx::kErrorStack;
    case RecordedRow::Effect::kJumps:
      return "a label";
    default:
      return "nothing";
  }
}

/// What has changed of the ERROR of rows that failed, a line each.
void addErrorChanges(const RecordedRequest& request, const RowFinder& tables,
                     std::vector<std::string>& changed) {
  std::set<std::pair<std::string, std::uint32_t>> seen;
  for (const RecordedRow& row : request.rows) {
    const RowFinder::Found found = tables.find(row.ran);
    if (found.is_same && hasEffect(row) && row.effect != effectOf(*found.row) &&
        seen.insert({row.ran.table, row.ran.number}).second) {
      changed.push_back(
          row.name() + " has now " + errorText(effectOf(*found.row)) + " in ERROR; it ran with " +
          errorText(row.effect) +
          (row.effect == RecordedRow::Effect::kIgnored ? ", or its host ignores errors" : ""));
    }
  }
}

/// What has changed of the rows of the request, a line each.
std::vector<std::string> changesOf(const RecordedRequest& request, const RowFinder& tables) {
  std::vector<std::string> changed;
  std::set<std::string> missing;
  std::set<std::pair<std::string, std::uint32_t>> seen;
  for (const RecordedRow& row : request.rows) {
    const RowFinder::Found found = tables.find(row.ran);
    if (!seen.insert({row.ran.table, row.ran.number}).second || isAsRecorded(row, found)) {
      continue;
    }
    if (found.table != nullptr) {
      changed.push_back((found.is_same ? row.name() + " now has the mode " + found.row->mode
                                       : changeText(found, row.ran)) +
                        "; it ran as " + row.action());
    } else if (missing.insert(row.ran.table).second) {
      changed.push_back("table " + row.ran.table + " is not among the files");
    }
  }
  addErrorChanges(request, tables, changed);
  return changed;
}

}  // namespace

Replay replay(const RecordedRequest& request, const Simulator& simulator) {
  Replay result;
  const RowFinder tables(simulator.tables());
  RecordedOutcomes outcomes(request, tables);
  SimulationRequest simulated;
  simulated.table = request.table;
  simulated.most_rows += request.rows.size();
  simulated.choose = [&outcomes](const HAPCall& call) { return outcomes.choose(call); };
  result.run = simulator.run(simulated);
  result.rows = rowsOf(result.run, tables);
  const auto is_same = [&tables](const RecordedRow& then, const RecordedRow& now) {
    return then.ran.table == now.ran.table && then.ran.number == now.ran.number &&
           isAsRecorded(then, tables.find(then.ran));
  };
  const auto differ = std::mismatch(request.rows.begin(), request.rows.end(), result.rows.begin(),
                                    result.rows.end(), is_same);
  if (differ.first != request.rows.end() || differ.second != result.rows.end()) {
    result.first_difference = static_cast<std::size_t>(differ.first - request.rows.begin());
  }
  result.same_end = isEndOf(request.end, result.run);
  const Failure& failure = result.run.record;
  const RecordedRow* const failing = request.firstFailing();
  result.same_failing = failing == nullptr ? failure.table.empty()
                                           : failing->ran.table == failure.table &&
                                                 failing->ran.number == failure.number;
  result.changed = changesOf(request, tables);
  result.assumed = outcomes.assumed();
  return result;
}

TableCase caseOf(const RecordedRequest& request, const std::string& name) {
  TableCase one{};
  one.name = name;
  one.table = request.table;
  one.end = request.end;
  const RecordedRow* const failing = request.firstFailing();
  one.first_failing = failing == nullptr
                          ? kFirstNone
                          : rowText(failing->ran.table, failing->ran.number, request.table);
  one.rows.emplace();
  std::uint64_t wait_ms = 0;
  std::map<std::pair<std::string, unsigned int>, RowOutcomes> outcomes;
  for (const RecordedRow& row : request.rows) {
    const std::string text = rowText(row.ran.table, row.ran.number, request.table);
    one.rows->push_back(text);
    wait_ms += row.ran.wait_ms.value_or(0);
    if (!row.callsHAP()) {
      continue;
    }
    outcomes[{row.ran.table, row.ran.number}].calls.push_back(row.outcome);
  }
  for (const auto& [place, calls] : outcomes) {
    const std::vector<OutcomeRule> rules = rulesOf({"", place.first, place.second}, calls);
    one.outcomes.insert(one.outcomes.end(), rules.begin(), rules.end());
  }
  if (wait_ms <= std::numeric_limits<unsigned int>::max()) {
    one.wait_ms = wait_ms;  // a case file has no greater one
  }
  return one;
}

std::vector<std::string> filesFor(const std::string& entry, const TableFlows& tables) {
  std::vector<std::string> names = {entry};
  std::vector<std::string> files;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto table = tables.find(names[i]);
    if (table == tables.end()) {
      continue;
    }
    files.push_back(table->second.file);
    for (const FlowRow& row : table->second.rows) {
      if (row.command == trx::kCommandTable &&
          std::find(names.begin(), names.end(), row.name) == names.end()) {
        names.push_back(row.name);
      }
    }
  }
  return files;
}

}  // namespace kw::trx::tools
