// SPDX-License-Identifier: Apache-2.0
#include "tables/flow.h"

#include <memory>

#include "common/paths.h"
#include "kw/trx/table_format.h"
#include "tables/finding.h"
#include "traces/record_collector.h"

namespace kw::trx::tools {
namespace {

/// Calls `visit` with each place that can follow the place `at`.
template <typename Visit>
void forFollowers(const TableFlow& flow, std::size_t at, bool with_errors, Visit visit) {
  const FlowRow& row = flow.rows[at];
  const bool last =
      row.command == trx::kCommandEnd || (row.command == trx::kCommandTable && row.name.empty());
  if (!last) {
    visit(at + 1);
  }
  if (with_errors && row.jump >= 0) {
    visit(static_cast<std::size_t>(row.jump));
  }
}

/// True when a run of `flow` can get to an END row through calls of tables that can end.
bool getsToEnd(const TableFlow& flow, const std::map<std::string, bool>& ends) {
  std::vector<bool> seen(flow.rows.size());
  std::vector<std::size_t> open = {0};
  while (!open.empty()) {
    const std::size_t at = open.back();
    open.pop_back();
    const FlowRow& row = flow.rows[at];
    const bool calls = row.command == trx::kCommandTable;
    const auto called = ends.find(row.name);
    if (row.command == trx::kCommandEnd || (calls && row.name.empty())) {
      return true;
    }
    if (seen[at] || (calls && called != ends.end() && !called->second)) {
      continue;
    }
    seen[at] = true;
    forFollowers(flow, at, true, [&](std::size_t next) { open.push_back(next); });
  }
  return false;
}

}  // namespace

bool FlowRow::endsOnError() const {
  return (command == trx::kCommandHAP || command == trx::kCommandCheck) && error.empty();
}

std::vector<bool> TableFlow::reached(bool with_errors) const {
  std::vector<bool> seen(rows.size());
  std::vector<std::size_t> open = {0};
  while (!open.empty()) {
    const std::size_t at = open.back();
    open.pop_back();
    if (!seen[at]) {
      seen[at] = true;
      forFollowers(*this, at, with_errors, [&](std::size_t next) { open.push_back(next); });
    }
  }
  return seen;
}

bool readFlow(const std::string& file, TableFlow& flow) {
  const RecordCollector quiet;
  flow = {tableNameOf(file), file, {}};
  auto data = std::make_unique<trx::TableData>();
  if (data->load(absolutePath(file)) != 0) {
    return false;
  }
  const std::unique_ptr<trx::TblFmtFactory> format(
      trx::TblFmtFactory::getTblFmt(flow.name, data.get()));
  if (format == nullptr) {
    return false;
  }
  const CellLines lines(*data.release());
  auto* format_00 = dynamic_cast<trx::TblFmt00*>(format.get());
  unsigned int start = 0;
  unsigned int end = 0;
  if (format->checkFormat() != 0 || format_00 == nullptr ||
      format_00->getRowOfTblArea(start, end) != 0) {
    return false;
  }
  std::map<std::string, int> places;
  for (unsigned int row = start; row <= end; ++row) {
    const auto cell = [&](const char* column) { return format->getMember(row, column); };
    std::array<unsigned int, trx::kPlaceError> lines_of_row{};
    for (unsigned int column = 0; column < lines_of_row.size(); ++column) {
      lines_of_row[column] = lines.lineOf(row, column);
    }
    flow.rows.push_back({lines_of_row, cell(trx::kColumnLabel), cell(trx::kColumnNumber),
                         cell(trx::kColumnCommand), cell(trx::kColumnName), cell(trx::kColumnMode),
                         cell(trx::kColumnError), cell(trx::kColumnPara)});
    places[flow.rows.back().label] = static_cast<int>(row - start);
  }
  for (FlowRow& row : flow.rows) {
    const bool mode = row.command == trx::kCommandHAP &&
                      (row.error == trx::kErrorNop || row.error == trx::kErrorStack);
    if (!row.error.empty() && !mode) {
      row.jump = places.at(row.error);
    }
  }
  return true;
}

std::map<std::string, bool> canEnd(const TableFlows& flows) {
  std::map<std::string, bool> ends;
  for (const auto& [name, flow] : flows) {
    ends[name] = false;
  }
  for (bool changed = true; changed;) {
    changed = false;
    for (const auto& [name, flow] : flows) {
      if (!ends[name] && getsToEnd(flow, ends)) {
        ends[name] = changed = true;
      }
    }
  }
  return ends;
}

}  // namespace kw::trx::tools
