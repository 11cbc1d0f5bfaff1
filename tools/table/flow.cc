// SPDX-License-Identifier: Apache-2.0
#include "table/flow.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include "common/characters.h"
#include "common/closure.h"
#include "common/paths.h"
#include "kw/trx/table.h"
#include "kw/trx/table_format.h"
#include "table/finding.h"
#include "trace/record_collector.h"
#include "zqm_trx/module_key.h"

namespace kw::trx::tools {
namespace {

/// The milliseconds of a WAIT row, whose MODE has digits alone.
unsigned int waitOf(const std::string& mode) {
  const auto time_ms = std::strtoull(mode.c_str(), nullptr, trx::kDecimalBase);
  return static_cast<unsigned int>(std::min<unsigned long long>(time_ms, trx::kWaitMaxMs));
}

Effect effectOf(Command command, const std::string& error) {
  if (command != Command::kHAP && command != Command::kCheck) {
    return Effect::kNone;
  }
  const bool has_mode = command == Command::kHAP;
  return error.empty()                           ? Effect::kStops
         : has_mode && error == trx::kErrorNop   ? Effect::kIgnored
         : has_mode && error == trx::kErrorStack ? Effect::kKept
                                                 : Effect::kJumps;
}

}  // namespace

std::vector<std::pair<const char*, std::string>> FlowRow::cells() const {
  return {{trx::kColumnLabel, label},
          {trx::kColumnNumber, number},
          {trx::kColumnCommand, wordOf(command)},
          {trx::kColumnName, name},
          {trx::kColumnMode, mode},
          {trx::kColumnError, error},
          {trx::kColumnPara, para},
          {trx::kColumnRsv1, ""},
          {trx::kColumnRsv2, ""}};
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

std::vector<std::string> TableFlow::called() const {
  std::vector<std::string> names;
  for (const FlowRow& row : rows) {
    if (row.callsTable()) {
      names.push_back(row.name);
    }
  }
  return names;
}

std::vector<bool> TableFlow::reached(bool with_errors) const {
  std::vector<bool> reached(rows.size());
  for (const std::size_t at : closureOf<std::size_t>(
           {0}, [&](std::size_t from) { return followers(from, with_errors); })) {
    reached[at] = true;
  }
  return reached;
}

std::set<std::string> withCalled(const std::vector<std::string>& names, const TableFlows& tables) {
  return closureOf(names, [&](const std::string& name) {
    const auto table = tables.find(name);
    return table == tables.end() ? std::vector<std::string>() : table->second.called();
  });
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
    const auto place = static_cast<int>(row - start);
    FlowRow read;
    read.id = {flow.name, table->getEntry(place)->getNumber()};
    read.command = commandFrom(cell(trx::kColumnCommand));
    read.name = cell(trx::kColumnName);
    read.label = cell(trx::kColumnLabel);
    read.number = cell(trx::kColumnNumber);
    read.mode = cell(trx::kColumnMode);
    read.error = cell(trx::kColumnError);
    read.para = cell(trx::kColumnPara);
    read.on_failure = effectOf(read.command, read.error);
    read.can_succeed = read.command != Command::kHAP || !trx::keyOfHAP(read.name).empty();
    read.wait_ms = read.command == Command::kWait ? waitOf(read.mode) : 0;
    for (unsigned int column = 0; column < read.lines.size(); ++column) {
      read.lines[column] = lines.lineOf(row, column);
    }
    places[read.label] = place;
    flow.rows.push_back(std::move(read));
  }
  for (FlowRow& row : flow.rows) {
    row.jump = row.on_failure == Effect::kJumps ? places.at(row.error) : -1;
  }
  return true;
}

}  // namespace kw::trx::tools
