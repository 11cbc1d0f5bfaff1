// SPDX-License-Identifier: Apache-2.0
#include "table/row_finder.h"

#include "common/characters.h"
#include "common/paths.h"
#include "common/text.h"
#include "kw/trace_record.h"

namespace kw::trx::tools {
namespace {

/// A name as a record keeps it: the first bytes of a long one.
bool isName(const std::string& name, const std::string& told) {
  if (name == told) {
    return true;
  }
  const std::string shown = visible(name);
  return shown == told || (told.size() >= kw::platform::kTraceDataMax && shown.rfind(told, 0) == 0);
}

bool isSame(const FlowRow& row, const Span& ran) {
  return row.command == ran.command && (!ran.was_called || isName(row.name, ran.name)) &&
         (!ran.wait_ms || *ran.wait_ms == row.wait_ms) &&
         (!ran.has_message || *ran.has_message == !row.name.empty());
}

}  // namespace

RowFinder::RowFinder(const TableFlows& tables) {
  for (const auto& [name, flow] : tables) {
    Table& table = tables_[visible(name)];
    table.flow = &flow;
    for (const FlowRow& row : flow.rows) {
      table.rows[row.id.number] = &row;
    }
  }
}

RowFinder::Found RowFinder::find(const Span& ran) const {
  const auto table = tables_.find(ran.row.table);
  if (table == tables_.end()) {
    return {};
  }
  const auto row = table->second.rows.find(ran.row.number);
  if (row == table->second.rows.end()) {
    return {table->second.flow, nullptr, false};
  }
  return {table->second.flow, row->second, isSame(*row->second, ran)};
}

std::string changeText(const RowFinder::Found& found, const Span& ran) {
  if (found.table == nullptr || found.is_same) {
    return {};
  }
  const std::string number = hexDigits(ran.row.number);
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
