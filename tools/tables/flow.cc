// SPDX-License-Identifier: Apache-2.0
#include "tables/flow.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "common/characters.h"
#include "common/paths.h"
#include "kw/trx/table.h"
#include "kw/trx/table_format.h"
#include "tables/finding.h"
#include "traces/record_collector.h"

namespace kw::trx::tools {
namespace {

/// The milliseconds of a WAIT row, whose MODE has digits alone.
unsigned int waitOf(const FlowRow& row) {
  if (row.command != trx::kCommandWait) {
    return 0;
  }
  const auto time_ms = std::strtoull(row.mode.c_str(), nullptr, trx::kDecimalBase);
  return static_cast<unsigned int>(std::min<unsigned long long>(time_ms, trx::kWaitMaxMs));
}

}  // namespace

bool FlowRow::endsOnError() const { return canFail() && error.empty(); }

bool FlowRow::endsTable() const {
  return command == trx::kCommandEnd || (command == trx::kCommandTable && name.empty());
}

bool FlowRow::keepsFailure() const {
  return command == trx::kCommandHAP && error == trx::kErrorStack;
}

std::vector<std::pair<const char*, std::string>> FlowRow::cells() const {
  return {{trx::kColumnLabel, label}, {trx::kColumnNumber, number}, {trx::kColumnCommand, command},
          {trx::kColumnName, name},   {trx::kColumnMode, mode},     {trx::kColumnError, error},
          {trx::kColumnPara, para},   {trx::kColumnRsv1, ""},       {trx::kColumnRsv2, ""}};
}

std::string FlowRow::text() const {
  std::string text;
  for (const auto& [column, cell] : cells()) {
    text += "," + cell;
  }
  return visible(text.substr(1));
}

std::vector<std::size_t> TableFlow::followers(std::size_t at, bool with_errors) const {
  std::vector<std::size_t> next;
  if (!rows[at].endsTable()) {
    next.push_back(at + 1);
  }
  if (with_errors && rows[at].jump >= 0) {
    next.push_back(static_cast<std::size_t>(rows[at].jump));
  }
  return next;
}

std::vector<bool> TableFlow::reached(bool with_errors) const {
  std::vector<bool> seen(rows.size());
  std::vector<std::size_t> open = {0};
  while (!open.empty()) {
    const std::size_t at = open.back();
    open.pop_back();
    if (!seen[at]) {
      seen[at] = true;
      for (const std::size_t next : followers(at, with_errors)) {
        open.push_back(next);
      }
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
  const std::unique_ptr<trx::HAPTable> table(format->createHAPTable());
  std::map<std::string, int> places;
  for (unsigned int row = start; row <= end; ++row) {
    const auto cell = [&](const char* column) { return format->getMember(row, column); };
    std::array<unsigned int, trx::kPlaceRsv1> lines_of_row{};
    for (unsigned int column = 0; column < lines_of_row.size(); ++column) {
      lines_of_row[column] = lines.lineOf(row, column);
    }
    flow.rows.push_back({lines_of_row, cell(trx::kColumnLabel), cell(trx::kColumnNumber),
                         cell(trx::kColumnCommand), cell(trx::kColumnName), cell(trx::kColumnMode),
                         cell(trx::kColumnError), cell(trx::kColumnPara)});
    const auto place = static_cast<int>(row - start);
    flow.rows.back().number_value = table->getEntry(place)->getNumber();
    flow.rows.back().wait_ms = waitOf(flow.rows.back());
    places[flow.rows.back().label] = place;
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

}  // namespace kw::trx::tools
