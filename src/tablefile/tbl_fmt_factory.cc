// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/file_path.h"
#include "kw/trx/table_format.h"
#include "tablefile/cells.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::trx {
namespace {

constexpr int kNotRead = -1;
constexpr int kFormat00 = 0;

}  // namespace

TblFmtFactory::TblFmtFactory(const std::string& name, TableData* data)
    : table_data_(data), table_name_(name) {}

TblFmtFactory::~TblFmtFactory() { delete table_data_; }

int TblFmtFactory::getColumn(const std::string& name) {
  const auto column = column_map_.find(name);
  return column == column_map_.end() ? -1 : column->second;
}

std::string TblFmtFactory::getMember(const unsigned int& row, const std::string& column) {
  const int index = getColumn(column);
  return index < 0 ? std::string() : getMember(row, static_cast<unsigned int>(index));
}

std::string TblFmtFactory::getMember(const unsigned int& row, const unsigned int& col) {
  return table_data_->getMember(row, col);
}

std::vector<unsigned int> TblFmtFactory::findEntry(const unsigned int& col,
                                                   const std::string& value,
                                                   const unsigned int& from,
                                                   const unsigned int& to) {
  std::vector<unsigned int> found;
  const unsigned int rows = table_data_->rowSize();
  if (to >= rows) {
    return found;
  }
  TableRows cells(*table_data_);
  for (unsigned int row = from; row <= to; ++row) {
    if (cells.cell(row, col) == value) {
      found.push_back(row);
    }
  }
  return found;
}

std::vector<unsigned int> TblFmtFactory::findEntry(const unsigned int& col,
                                                   const std::string& value) {
  return findEntry(col, value, 0, table_data_->rowSize() - 1);
}

int TblFmtFactory::checkItemString(const unsigned int& row, const int& num,
                                   item_check_list_t* list) {
  for (int i = 0; i < num; ++i) {
    const item_check_list_t& entry = list[i];
    const std::string cell = getMember(row, entry.item);
    if (cell.empty()) {
      continue;
    }
    const FilePath text(cell);
    const std::vector<std::pair<char, char>> ranges(entry.ranges, entry.ranges + entry.rangeNum);
    if (!text.isUsedValidChars(ranges)) {
      return refuse(kFmtCharacter, row, traceWord(getColumn(entry.item)));
    }
  }
  return 0;
}

TblFmtFactory* TblFmtFactory::getTblFmt(const std::string& name, TableData* data) {
  if (data == nullptr) {
    return nullptr;
  }
  if (data->formatNo == kNotRead) {
    data->formatNo = data->getTblDefKey(kKeyFormat);
  }
  if (data->formatNo == kNotRead) {
    return nullptr;
  }
  if (data->versionNo == kNotRead) {
    data->versionNo = data->getTblDefKey(kKeyVersion);
  }
  if (data->versionNo == kNotRead || data->formatNo != kFormat00) {
    return nullptr;
  }
  return new TblFmt00(name, data);
}

}  // namespace kw::trx::trx
