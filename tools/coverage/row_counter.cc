// SPDX-License-Identifier: Apache-2.0
#include "coverage/row_counter.h"

#include "common/paths.h"
#include "traces/record_words.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// The command of the row that begins with a record; null: none does.
const char* commandOf(const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kCmdStart.id:
      return trx::kCommandStart;
    case trx::kCmdHAP.id:
      return trx::kCommandHAP;
    case trx::kCmdCheck.id:
      return trx::kCommandCheck;
    case trx::kCmdWait.id:
      return trx::kCommandWait;
    case trx::kCmdTable.id:
      return trx::kCommandTable;
    case trx::kCmdEnd.id:
    case trx::kCmdEndMessage.id:
      return trx::kCommandEnd;
    default:
      return nullptr;
  }
}

/// The innermost table that runs; empty when none is known.
std::string tableAt(const SliceTracker::Place& place) {
  std::string table;
  for (std::size_t i = 0; place.slices && i < place.slices->size(); ++i) {
    const Slice& slice = (*place.slices)[i];
    table = slice.kind == Slice::Kind::kTable ? slice.name : table;
  }
  return table;
}

}  // namespace

RowCounter::RowCounter(const TableFlows& tables) : tracker_([](const Slice& /*ended*/) {}) {
  for (const auto& [name, flow] : tables) {
    Table& table = tables_[name];
    table.file = &(coverage_[absolutePath(flow.file)] = emptyCoverage(flow));
    for (const FlowRow& row : flow.rows) {
      table.rows[row.number_value] = &row;
    }
  }
}

void RowCounter::take(const kw::platform::TraceRecord& record) {
  const SliceTracker::Place place = tracker_.take(record);
  Pending& pending = threads_[{record.process_id, record.thread_id}];
  if (commandOf(record) != nullptr) {
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
  const std::string name = tableAt(place);
  const auto table = tables_.find(name);
  if (table != tables_.end()) {
    const auto row = table->second.rows.find(wordOf(record, "number", 0));
    if (row != table->second.rows.end() && row->second->command == commandOf(record)) {
      LineCoverage& line = (*table->second.file)[lineOf(*row->second)];
      ++line.runs;
      pending = {row->second, &line, false};
      return;
    }
  }
  ++unknown_[name];
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
