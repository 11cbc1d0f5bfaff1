// SPDX-License-Identifier: Apache-2.0
#include "coverage/row_counter.h"

#include "common/paths.h"

namespace kw::trx::tools {

RowCounter::RowCounter(const TableFlows& tables, Takes takes)
    : finder_(tables), takes_(std::move(takes)), tracker_([this](const Slice& slice) {
        if (slice.kind == Slice::Kind::kRow) {
          count(slice);
        }
      }) {
  for (const auto& [name, flow] : tables) {
    FileCoverage& file = coverage_[absolutePath(flow.file)] = emptyCoverage(flow);
    for (const FlowRow& row : flow.rows) {
      lines_[&row] = &file[row.line()];
    }
  }
}

SliceTracker::Place RowCounter::take(const kw::platform::TraceRecord& record) {
  // The slice of an END row ends with its record, that of a WAIT row with the next one.
  const auto told = tracedRowOf(record, {});
  if (told && (told->wait_ms || told->has_message)) {
    Told& thread = told_[{record.process_id, record.thread_id}];
    thread.former = std::move(thread.last);
    thread.last = *told;
  }
  SliceTracker::Place place = tracker_.take(record);
  if (told && innermost(place, Slice::Kind::kTable) == nullptr) {
    ++unknown_[kUnknownTable];
  }
  return place;
}

void RowCounter::count(const Slice& row) {
  if (takes_ ? !takes_(row) : row.resumed) {
    return;
  }
  const TracedRow ran = completed(row);
  const RowFinder::Found found = finder_.find(ran);
  if (!found.is_same) {
    ++unknown_[ran.table];
    if (found.table != nullptr && !row.doubtful) {
      changed_.emplace(std::make_pair(ran.table, ran.number), changeText(found, ran));
    }
    return;
  }
  LineCoverage& line = *lines_.at(found.row);
  ++line.runs;
  // An exception that is not the engine's interrupts the row, which begins anew when it goes on.
  const bool interrupted = row.cut || (row.thrown && row.code == 0);
  if (line.branches && !interrupted) {
    ++(*line.branches)[row.failed ? kBadly : kWell];
  }
}

/// What the slice and the record of a row tell of it.
TracedRow RowCounter::completed(const Slice& row) const {
  TracedRow ran = tracedRowOf(row);
  const auto thread = told_.find({row.process_id, row.thread_id});
  if (thread != told_.end()) {
    for (const TracedRow* const told : {&thread->second.former, &thread->second.last}) {
      if (told->command == ran.command && told->number == ran.number) {
        ran.wait_ms = told->wait_ms;
        ran.has_message = told->has_message;
      }
    }
  }
  return ran;
}

}  // namespace kw::trx::tools
