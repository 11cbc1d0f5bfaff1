// SPDX-License-Identifier: Apache-2.0
#include "graph/ring_runs.h"

#include <algorithm>
#include <set>

#include "common/characters.h"
#include "common/times.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kTurnsShown = 4;
/// A damaged ring may name any number of rows and tables.
constexpr std::size_t kMaxProblems = 20;
constexpr unsigned int kMedian = 50, kMax = 100;

std::string countText(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// The others only choose what follows.
bool takesTime(Command command) {
  return command == Command::kHAP || command == Command::kWait || command == Command::kTable;
}

/// How many runs failed, or of a CHECK row found a failure: ", 2 failed". Empty: none did.
std::string failureText(Command command, const WorkFigures& figures) {
  if (figures.failures == 0) {
    return "";
  }
  const std::string count = figures.failures < figures.calls
                                ? std::to_string(figures.failures) + " "
                            : figures.calls == 1 ? ""
                                                 : "all ";
  return ", " + count + (command == Command::kCheck ? "found a failure" : "failed");
}

}  // namespace

RingRuns::RingRuns(const TableFlows& tables, bool is_way)
    : tables_(tables), is_way_(is_way), counter_(tables) {}

void RingRuns::rowStarted(const Request& request, const Span& row) {
  const auto before = ended_last_.find(request.serial);
  if (before != ended_last_.end() && before->second.table == row.row.table) {
    ++went_on_[before->second];
  }
  if (is_way_) {
    std::vector<std::uint64_t>& turns = turns_of_[row.row];
    ++turns_;
    if (turns.size() <= kTurnsShown) {
      turns.push_back(turns_);
    }
  }
}

void RingRuns::spanEnded(const Request& request, const Span& span) {
  if (span.isRow()) {
    ended_last_[request.serial] = span.row;
    statistics_.spanEnded(request, span);
    counter_.spanEnded(request, span);
  }
}

void RingRuns::requestEnded(const Request& request) {
  rings_.insert(request.ring);
  if (ended_last_.erase(request.serial) != 0) {
    start_ns_ = requests_ == 0 ? request.start_ns : std::min(start_ns_, request.start_ns);
    end_ns_ = std::max(end_ns_, request.end_ns);
    ++requests_;
  }
}

GraphCounts RingRuns::counts() const {
  GraphCounts counts = graphCountsOf(tables_, counter_.coverage());
  countOnward(counts);
  const RowFinder finder(tables_);
  std::map<const FlowRow*, WorkFigures> figures_of;
  for (const auto& [work, figures] : statistics_.all()) {
    const RowFinder::Found found = finder.find(spanOf(work));
    if (!found.is_same) {
      continue;
    }
    RowCounts& row = counts.at(
        found.table->name)[static_cast<std::size_t>(found.row - found.table->rows.data())];
    // Runs that were cut off before the record of their HAP are another entry.
    WorkFigures& of_row = figures_of[found.row];
    of_row.add(figures);
    row.note = row.runs == 0 ? "" : noteOf(work, of_row);
    row.failures = of_row.failures;
    row.unfinished = of_row.unfinished;
  }
  return counts;
}

/// A WAIT row may have been interrupted, and a called table may not have come back.
void RingRuns::countOnward(GraphCounts& counts) const {
  for (auto& [table, rows] : counts) {
    const TableFlow& flow = tables_.at(table);
    for (std::size_t at = 0; at < rows.size(); ++at) {
      const auto went_on = went_on_.find({visible(table), flow.rows[at].id.number});
      if (!flow.rows[at].canFail()) {
        rows[at].onward = rows[at].runs == 0 || went_on == went_on_.end() ? 0 : went_on->second;
      }
    }
  }
}

std::string RingRuns::noteOf(const Work& work, const WorkFigures& figures) const {
  std::string note = is_way_ ? "" : countText(figures.calls, "run");
  if (const auto turns = turns_of_.find(work.row); turns != turns_of_.end()) {
    for (std::size_t i = 0; i < std::min(turns->second.size(), kTurnsShown); ++i) {
      note += (note.empty() ? "#" : " #") + std::to_string(turns->second[i]);
    }
    note += turns->second.size() > kTurnsShown ? " ..." : "";
  }
  note += failureText(work.command, figures);
  note += figures.unfinished == 0 ? "" : ", " + std::to_string(figures.unfinished) + " not ended";
  const Durations& total = figures.total;
  if (takesTime(work.command) && total.count() != 0) {
    note += total.count() == 1 ? "\n" : "\nmedian ";
    note += millisText(total.quantile(kMedian)) + " ms";
    note += total.count() == 1 ? "" : ", max " + millisText(total.quantile(kMax)) + " ms";
  }
  return note;
}

std::vector<std::string> RingRuns::tables() const {
  const RowFinder finder(tables_);
  std::set<std::string> names;
  for (const auto& [work, figures] : statistics_.all()) {
    const TableFlow* const table = finder.find(spanOf(work)).table;
    names.insert(table == nullptr ? work.row.table : table->name);
  }
  return {names.begin(), names.end()};
}

std::vector<std::string> RingRuns::problems(const std::set<std::string>& tables) const {
  std::vector<std::string> problems;
  for (const auto& [row, message] : counter_.changed()) {
    if (tables.count(row.table) != 0) {
      problems.push_back(message);
    }
  }
  for (const auto& [table, rows] : counter_.unknown()) {
    const bool is_drawn = table == kUnknownTable ? !is_way_ : tables.count(table) != 0;
    if (tables_.count(table) == 0 && is_drawn) {
      problems.push_back(notFoundText(table, rows));
    }
  }
  if (problems.size() > kMaxProblems) {
    const std::size_t more = problems.size() - kMaxProblems;
    problems.resize(kMaxProblems);
    problems.push_back("of " + std::to_string(more) +
                       " more rows or tables the same could be said");
  }
  return problems;
}

}  // namespace kw::trx::tools
