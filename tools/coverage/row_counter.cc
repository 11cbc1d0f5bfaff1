// SPDX-License-Identifier: Apache-2.0
#include "coverage/row_counter.h"

#include "common/paths.h"
#include "traces/record_words.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {

RowCounter::RowCounter(const TableFlows& tables)
    : finder_(tables), tracker_([](const Slice& /*ended*/) {}) {
  for (const auto& [name, flow] : tables) {
    FileCoverage& file = coverage_[absolutePath(flow.file)] = emptyCoverage(flow);
    for (const FlowRow& row : flow.rows) {
      lines_[&row] = &file[row.line()];
    }
  }
}

void RowCounter::take(const kw::platform::TraceRecord& record) {
  const SliceTracker::Place place = tracker_.take(record);
  Pending& pending = threads_[{record.process_id, record.thread_id}];
  if (rowCommandOf(record) != nullptr) {
    settle(pending);
    begin(pending, record, place);
  } else if (record.id == trx::kDriverErrorEnd.id || record.id == trx::kDriverStopped.id) {
    settle(pending);
  } else {
    noteFailure(pending, record);
  }
}

void RowCounter::begin(Pending& pending, const kw::platform::TraceRecord& record,
                       const SliceTracker::Place& place) {
  pending = Pending();
  const std::optional<TracedRow> ran = tracedRowOf(record, place);
  const RowFinder::Found found = finder_.find(*ran);
  if (!found.is_same) {
    ++unknown_[ran->table];
    return;
  }
  pending = {found.row, lines_.at(found.row), false};
  ++pending.line->runs;
}

/// The row has ended: the next one has begun, or the request ends.
void RowCounter::settle(Pending& pending) {
  if (pending.line != nullptr && pending.line->branches) {
    ++(*pending.line->branches)[pending.failed ? kBadly : kWell];
  }
  pending = Pending();
}

void RowCounter::noteFailure(Pending& pending, const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kCmdHAPNop.id:
    case trx::kCmdHAPStack.id:
    case trx::kCmdHAPJump.id:
    case trx::kCmdHAPStop.id:
    case trx::kCmdCheckJump.id:
    case trx::kCmdCheckStop.id:
      pending.failed = true;
      return;
    case trx::kHAPErrName.id:
      // The result of a HAP in a NOP row is told by no other record.
      pending.failed =
          pending.failed || (pending.row != nullptr && pending.row->error == trx::kErrorNop &&
                             pending.row->name == textOf(record));
      return;
    case trx::kCmdHAPForeignException.id:
      pending = Pending();  // the row was interrupted, and begins anew when it goes on
      return;
    default:
      return;
  }
}

}  // namespace kw::trx::tools
