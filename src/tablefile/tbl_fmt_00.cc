// SPDX-License-Identifier: Apache-2.0
// Columns of format 00 and the place of its table area.
#include "kw/trx/table_format.h"
#include "tablefile/cells.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::trx {

TblFmt00::TblFmt00(const std::string& name, TableData* data) : TblFmtFactory(name, data) {
  // If memory runs out here, the base is destroyed while the caller still owns `data`.
  table_data_ = nullptr;
  for (unsigned int column = 0; column < kColumns; ++column) {
    column_map_[kColumnNames[column]] = static_cast<int>(column);
  }
  table_data_ = data;
}

TblFmt00::~TblFmt00() = default;

int TblFmt00::getRowOfTblStart() {
  if (tbl_start_row_ == -1) {
    const std::vector<unsigned int> rows = findCommand(kCommandStart);
    if (rows.empty()) {
      return refuse(kFmtNoStartRow);
    }
    tbl_start_row_ = static_cast<int>(rows.front());
  }
  return tbl_start_row_;
}

int TblFmt00::getRowOfTblEnd() {
  if (tbl_end_row_ == -1) {
    const std::vector<unsigned int> rows = findCommand(kCommandEnd);
    if (rows.empty()) {
      return refuse(kFmtNoEndRow);
    }
    tbl_end_row_ = static_cast<int>(rows.back());
  }
  return tbl_end_row_;
}

int TblFmt00::getRowOfTblArea(unsigned int& start, unsigned int& end) {
  const int start_row = getRowOfTblStart();
  const int end_row = getRowOfTblEnd();
  start = static_cast<unsigned int>(start_row);
  end = static_cast<unsigned int>(end_row);
  return start_row == -1 || end_row == -1 ? refuse(kFmtNoArea) : 0;
}

std::vector<unsigned int> TblFmt00::findCommand(const std::string& command) {
  return findEntry(columnIndex(kColumnCommand), command);
}

unsigned int TblFmt00::columnIndex(const std::string& name) {
  return static_cast<unsigned int>(getColumn(name));
}

bool TblFmt00::isLabelOfOneRow(const std::string& label, unsigned int start, unsigned int end,
                               LabelIndex* labels) {
  return labels->find(label, start, end).count == 1;
}

std::vector<unsigned int> TblFmt00::findLabel(const std::string& label, unsigned int start,
                                              unsigned int end) {
  return findEntry(columnIndex(kColumnLabel), label, start, end);
}

}  // namespace kw::trx::trx
