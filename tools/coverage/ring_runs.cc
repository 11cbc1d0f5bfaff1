// SPDX-License-Identifier: Apache-2.0
#include "coverage/ring_runs.h"

#include <algorithm>
#include <set>

#include "common/times.h"
#include "coverage/graph_counts.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kTurnsShown = 4;
/// A damaged ring may name any number of rows and tables.
constexpr std::size_t kMostProblems = 20;
constexpr unsigned int kMedian = 50, kGreatest = 100;

TracedRow tracedRowOf(const Work& work) {
  TracedRow row{work.table, work.row, work.command, {}, {}, {}};
  if (!work.name.empty()) {
    row.called = work.name;
  }
  return row;
}

std::string countText(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

RingRuns::RingRuns(const TableFlows& tables, const std::optional<Request>& request)
    : tables_(tables), request_(request) {}

RowCounter& RingRuns::counterOf(std::size_t ring) {
  return counters_
      .try_emplace(ring, tables_, [this, ring](const Slice& row) { return takes(row, ring); })
      .first->second;
}

/// A row that goes on after an interruption has run before, but in another request.
bool RingRuns::takes(const Slice& row, std::size_t ring) {
  if (request_ && *request_ != Request{row.request, row.number}) {
    return false;
  }
  statistics_.take(row, ring);
  went_on_[{row.table, row.row}] += row_begins_ ? 1 : 0;
  return request_ || !row.resumed;
}

SliceTracker::Place RingRuns::take(const kw::platform::TraceRecord& record, std::size_t ring) {
  row_begins_ = rowCommandOf(record) != nullptr;
  SliceTracker::Place place = counterOf(ring).take(record);
  if (request_ && *request_ == Request{place.request, place.number}) {
    rings_of_request_.insert(ring);
    noteTurns(record, place);
  }
  return place;
}

void RingRuns::finish() {
  row_begins_ = false;
  for (auto& counter : counters_) {
    counter.second.finish();
  }
  statistics_.finish();
}

std::map<std::uint32_t, std::uint32_t> RingRuns::requests() const {
  std::map<std::uint32_t, std::uint32_t> most;
  for (const auto& counter : counters_) {
    for (const auto& [id, number] : counter.second.requests()) {
      most[id] = std::max(most[id], number);
    }
  }
  return most;
}

void RingRuns::noteTurns(const kw::platform::TraceRecord& record,
                         const SliceTracker::Place& place) {
  const auto note = [this](const Slice& row) {
    Turns& turns = turns_of_[{row.table, row.row}];
    ++turns_;
    turns.has_more = turns.first.size() == kTurnsShown;
    if (!turns.has_more) {
      turns.first.push_back(turns_);
    }
  };
  if (record.id == trx::kDriverResume.id && place.slices != nullptr) {
    for (const Slice& slice : *place.slices) {
      if (slice.kind == Slice::Kind::kRow) {
        note(slice);
      }
    }
  } else if (const Slice* const row = innermost(place, Slice::Kind::kRow);
             row != nullptr && rowCommandOf(record) != nullptr) {
    note(*row);
  }
}

GraphCounts RingRuns::counts() const {
  Coverage coverage;
  for (const auto& counter : counters_) {
    merge(coverage, counter.second.coverage());
  }
  GraphCounts counts = graphCountsOf(tables_, coverage);
  countOnward(counts);
  const RowFinder finder(tables_);
  std::map<const FlowRow*, std::uint64_t> most_calls;
  for (const auto& [work, figures] : statistics_.all()) {
    const RowFinder::Found found = finder.find(tracedRowOf(work));
    if (!found.is_same) {
      continue;
    }
    RowCounts& row =
        counts.at(work.table)[static_cast<std::size_t>(found.row - found.table->rows.data())];
    // A row whose HAP is not told, as it was cut off, is another entry.
    const auto [most, is_first] = most_calls.emplace(found.row, figures.calls);
    if (row.runs != 0 && (is_first || figures.calls > most->second)) {
      most->second = figures.calls;
      row.note = noteOf(work, figures);
    }
    const bool fails_below = work.command == trx::kCommandTable && tables_.count(work.name) != 0;
    row.failed = row.failed || (figures.failures != 0 && !fails_below);
  }
  return counts;
}

/// A WAIT row may have been interrupted, and a called table may not have come back.
void RingRuns::countOnward(GraphCounts& counts) const {
  for (auto& [table, rows] : counts) {
    const TableFlow& flow = tables_.at(table);
    for (std::size_t at = 0; at < rows.size(); ++at) {
      const auto went_on = went_on_.find({table, flow.rows[at].number_value});
      if (!flow.rows[at].canFail()) {
        rows[at].onward = rows[at].runs == 0 || went_on == went_on_.end() ? 0 : went_on->second;
      }
    }
  }
}

std::string RingRuns::noteOf(const Work& work, const WorkFigures& figures) const {
  std::string note = request_ ? "" : countText(figures.calls, "run");
  if (const auto turns = turns_of_.find({work.table, work.row}); turns != turns_of_.end()) {
    for (const std::uint64_t turn : turns->second.first) {
      note += (note.empty() ? "#" : " #") + std::to_string(turn);
    }
    note += turns->second.has_more ? " ..." : "";
  }
  if (figures.failures != 0) {
    note += figures.failures == figures.calls ? ", failed"
                                              : ", " + std::to_string(figures.failures) + " failed";
  }
  const Durations& total = figures.total;
  if (total.count() != 0) {
    note += total.count() == 1 ? "\n" : "\nmedian ";
    note += millisText(total.quantile(kMedian)) + " ms";
    note += total.count() == 1 ? "" : ", at most " + millisText(total.quantile(kGreatest)) + " ms";
  }
  return note;
}

std::vector<std::string> RingRuns::tables() const {
  std::set<std::string> names;
  for (const auto& [work, figures] : statistics_.all()) {
    names.insert(work.table);
  }
  return {names.begin(), names.end()};
}

std::vector<std::string> RingRuns::problems(const std::set<std::string>& tables) const {
  std::map<RowName, std::string> changed;
  std::map<std::string, std::uint64_t> unknown;
  for (const auto& counter : counters_) {
    changed.insert(counter.second.changed().begin(), counter.second.changed().end());
    for (const auto& [table, rows] : counter.second.unknown()) {
      unknown[table] += rows;
    }
  }
  std::vector<std::string> problems;
  for (const auto& [row, words] : changed) {
    if (tables.count(row.first) != 0) {
      problems.push_back(words);
    }
  }
  for (const auto& [table, rows] : unknown) {
    const bool is_drawn = table.empty() ? !request_ : tables.count(table) != 0;
    if (tables_.count(table) == 0 && is_drawn) {
      problems.push_back(notFoundText(table, rows));
    }
  }
  if (problems.size() > kMostProblems) {
    const std::size_t more = problems.size() - kMostProblems;
    problems.resize(kMostProblems);
    problems.push_back("of " + std::to_string(more) +
                       " more rows or tables there would be the same to say");
  }
  return problems;
}

}  // namespace kw::trx::tools
