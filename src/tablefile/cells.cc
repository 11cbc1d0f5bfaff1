// SPDX-License-Identifier: Apache-2.0
#include "tablefile/cells.h"

#include <cstring>

namespace kw::trx::trx {
namespace {

constexpr std::string_view kCommandNames[] = {kCommandHAP,  kCommandTable, kCommandCheck,
                                              kCommandWait, kCommandStart, kCommandEnd};

/// Where the virtual operations of an object are, which is what it begins with.
const void* operationsOf(const TblFmt00& format) {
  const void* operations = nullptr;
  std::memcpy(&operations, static_cast<const void*>(&format), sizeof(operations));
  return operations;
}

/// True for format 00 itself. Its type information would tell as well, but a class that is derived
/// from it elsewhere may have none.
bool isFormat00Itself(const TblFmt00& format) {
  static const void* const own = operationsOf(TblFmt00(std::string(), nullptr));
  return operationsOf(format) == own;
}

}  // namespace

Command commandOf(const std::string& name) {
  const auto* const found = std::find(std::begin(kCommandNames), std::end(kCommandNames), name);
  return static_cast<Command>(found - std::begin(kCommandNames));
}

Cells::Cells(TblFmt00& format, const TableData& data)
    : format_(format), rows_(data), in_place_(isFormat00Itself(format)) {}

const std::string& Cells::readByFormat(unsigned int row, Column column) {
  return copies_[column] = format_.getMember(row, kColumnNames[column]);
}

int Cells::check(unsigned int row, Column column, const CharacterSet& allowed) {
  if (in_place_) {
    return allowed.allowsAll(rows_.cell(row, column)) ? 0 : refuse(kFmtCharacter, row, column);
  }
  TblFmtFactory::item_check_list_t item = {};
  item.item = kColumnNames[column];
  item.rangeNum = static_cast<int>(allowed.ranges.size() / 2);
  for (std::size_t i = 0; i + 1 < allowed.ranges.size(); i += 2) {
    item.ranges[i / 2] = {allowed.ranges[i], allowed.ranges[i + 1]};
  }
  return format_.checkItemString(row, 1, &item);
}

LabelIndex::Rows LabelIndex::find(const std::string& label, unsigned int start, unsigned int end) {
  if (!in_place_) {
    const std::vector<unsigned int> rows = format_.findLabel(label, start, end);
    return {static_cast<unsigned int>(rows.size()), rows.empty() ? 0 : rows.front()};
  }
  if (!is_read_) {
    TableRows cells(data_);
    for (unsigned int row = start; row <= end; ++row) {
      Rows& rows = rows_[cells.cell(row, kPlaceLabel)];
      if (rows.count++ == 0) {
        rows.first = row;
      }
    }
    is_read_ = true;
  }
  const auto found = rows_.find(label);
  return found == rows_.end() ? Rows() : found->second;
}

}  // namespace kw::trx::trx
