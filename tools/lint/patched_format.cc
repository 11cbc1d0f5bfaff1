// SPDX-License-Identifier: Apache-2.0
#include "lint/patched_format.h"

#include <algorithm>

#include "trace/record_words.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

const std::map<std::string, int (trx::TblFmt00::*)(const unsigned int& row)> kRowChecks = {
    {trx::kCommandStart, &trx::TblFmt00::checkCmdSTART},
    {trx::kCommandEnd, &trx::TblFmt00::checkCmdEND},
    {trx::kCommandHAP, &trx::TblFmt00::checkCmdHAP},
    {trx::kCommandCheck, &trx::TblFmt00::checkCmdCHECK},
    {trx::kCommandWait, &trx::TblFmt00::checkCmdWAIT},
    {trx::kCommandTable, &trx::TblFmt00::checkCmdTABLE}};

}  // namespace

std::vector<std::string> commandWords() {
  std::vector<std::string> message;
  message.reserve(kRowChecks.size());
  for (const auto& known : kRowChecks) {
    message.push_back(known.first);
  }
  return message;
}

PatchedFormat::PatchedFormat(const std::string& name, trx::TableData* file)
    : TblFmt00(name, file), data(*file), lines(*file) {}

std::string PatchedFormat::getMember(const unsigned int& row, const unsigned int& column) {
  last_row = row;
  const auto patch = cells.find({row, column});
  return patch == cells.end() ? TblFmt00::getMember(row, column) : patch->second;
}

Rows PatchedFormat::findEntry(const unsigned int& column, const std::string& value,
                              const unsigned int& from, const unsigned int& to) {
  const auto search = searches.find({column, value});
  if (search != searches.end()) {
    return search->second;
  }
  Rows rows;
  if (to >= data.rowSize()) {
    return rows;
  }
  const Rows& all = rowsWith(column, value);
  for (auto row = std::lower_bound(all.begin(), all.end(), from); row != all.end() && *row <= to;
       ++row) {
    if (cells.count({*row, column}) == 0) {
      rows.push_back(*row);
    }
  }
  return rows;
}

const Rows& PatchedFormat::rowsWith(unsigned int column, const std::string& value) {
  static const Rows none;
  const auto [index, is_new] = indexes_.try_emplace(column);
  for (unsigned int row = 0; is_new && row < data.rowSize(); ++row) {
    index->second[data.getMember(row, column)].push_back(row);
  }
  const auto rows = index->second.find(value);
  return rows == index->second.end() ? none : rows->second;
}

int PatchedFormat::checkRow(unsigned int row) {
  const auto check = kRowChecks.find(getMember(row, trx::kPlaceCommand));
  return check != kRowChecks.end() ? (this->*check->second)(row)
                                   : checkAlone(row, &TblFmt00::checkTblCmd);
}

bool PatchedFormat::isHex(const std::string& text, RecordCollector& collector) {
  cells[{0, trx::kPlaceNumber}] = text;
  const bool is_hex = checkAlone(0, &TblFmt00::checkNumber) == 0;
  cells.erase({0, trx::kPlaceNumber});
  collector.taken();
  return is_hex;
}

std::string PatchedFormat::allowedIn(unsigned int row, unsigned int column,
                                     RecordCollector& collector) {
  const auto [known, is_new] = allowed_.try_emplace({getMember(row, trx::kPlaceCommand), column});
  if (is_new) {
    known->second = tryAllowed(row, column, collector);
  }
  cells[{row, column}].clear();
  return known->second;
}

std::string PatchedFormat::tryAllowed(unsigned int row, unsigned int column,
                                      RecordCollector& collector) {
  std::string allowed;
  std::string& patch = cells[{row, column}];
  for (char c = ' '; c < 0x7f; ++c) {
    patch = c;
    checkAlone(row, column == trx::kPlaceLabel ? &TblFmt00::checkLabel : &TblFmt00::checkTblCmd);
    const std::vector<TraceRecord> records = collector.taken();
    const bool refused = !records.empty() && records[0].id == trx::kFmtCharacter.id &&
                         wordOf(records[0], "column", 0) == column;
    if (!refused) {
      allowed += c;
    }
  }
  return allowed;
}

int PatchedFormat::checkAlone(unsigned int row, int (TblFmt00::*check)()) {
  const int start = std::exchange(tbl_start_row_, static_cast<int>(row));
  const int end = std::exchange(tbl_end_row_, static_cast<int>(row));
  const int result = (this->*check)();
  tbl_start_row_ = start;
  tbl_end_row_ = end;
  return result;
}

}  // namespace kw::trx::tools
