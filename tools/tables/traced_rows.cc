// SPDX-License-Identifier: Apache-2.0
#include "tables/traced_rows.h"

#include "common/characters.h"
#include "common/paths.h"
#include "common/text.h"
#include "traces/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// A name as a record keeps it: the first bytes of a long one.
bool isName(const std::string& name, const std::string& told) {
  return name == told || (told.size() >= kw::platform::kTraceDataMax && name.rfind(told, 0) == 0);
}

bool isSame(const FlowRow& row, const TracedRow& ran) {
  return row.command == ran.command && (!ran.called || isName(row.name, *ran.called)) &&
         (!ran.wait_ms || *ran.wait_ms == row.wait_ms) &&
         (!ran.has_message || *ran.has_message == !row.name.empty());
}

}  // namespace

TracedRow tracedRowOf(const Slice& row) {
  TracedRow ran{row.table, row.row, row.command, {}, {}, {}};
  if (!row.name.empty()) {
    ran.called = row.name;
  }
  return ran;
}

std::optional<TracedRow> tracedRowOf(const kw::platform::TraceRecord& record,
                                     const SliceTracker::Place& place) {
  const Slice* const slice = innermost(place, Slice::Kind::kRow);
  const char* const command = rowCommandOf(record);
  if (command == nullptr) {
    return slice == nullptr ? std::nullopt : std::make_optional(tracedRowOf(*slice));
  }
  const Slice* const table = innermost(place, Slice::Kind::kTable);
  TracedRow ran{
      table == nullptr ? "" : table->name, wordOf(record, "number", 0), command, {}, {}, {}};
  if (record.id == trx::kCmdWait.id) {
    ran.wait_ms = wordOf(record, "time", 0);
  } else if (record.id == trx::kCmdEnd.id || record.id == trx::kCmdEndMessage.id) {
    ran.has_message = record.id == trx::kCmdEndMessage.id;
  }
  return ran;
}

RowFinder::RowFinder(const TableFlows& tables) {
  for (const auto& [name, flow] : tables) {
    Table& table = tables_[name];
    table.flow = &flow;
    for (const FlowRow& row : flow.rows) {
      table.rows[row.number_value] = &row;
    }
  }
}

RowFinder::Found RowFinder::find(const TracedRow& ran) const {
  const auto table = tables_.find(ran.table);
  if (table == tables_.end()) {
    return {};
  }
  const auto row = table->second.rows.find(ran.number);
  if (row == table->second.rows.end()) {
    return {table->second.flow, nullptr, false};
  }
  return {table->second.flow, row->second, isSame(*row->second, ran)};
}

std::string changeText(const RowFinder::Found& found, const TracedRow& ran) {
  if (found.table == nullptr || found.is_same) {
    return {};
  }
  const std::string number = hexDigits(ran.number);
  return visible(fileNameOf(found.table->file)) + " has changed since: " +
         (found.row == nullptr ? "it has no row " + number + " now"
                               : "row " + number + " is now " + found.row->text());
}

std::string notFoundText(const std::string& table, std::uint64_t rows) {
  return std::to_string(rows) + " rows that ran " +
         (table.empty() || table == kUnknownTable
              ? "in tables that began before its first record"
              : "stand in no table " + table + " among the files");
}

}  // namespace kw::trx::tools
