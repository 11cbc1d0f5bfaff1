// SPDX-License-Identifier: Apache-2.0
#include "table/finding.h"

#include <algorithm>

#include "kw/trx/file_path.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

unsigned int lineEndsIn(const std::string& cell) {
  unsigned int count = 0;
  for (std::size_t i = 0; i < cell.size(); ++i) {
    const bool pair = cell[i] == '\r' && i + 1 < cell.size() && cell[i + 1] == '\n';
    count += (cell[i] == '\n' || cell[i] == '\r') && !pair ? 1 : 0;
  }
  return count;
}

}  // namespace

std::string tableNameOf(const std::string& file) {
  trx::FilePath name(file);
  name.erasePath();
  name.eraseFileExtension();
  return name.value;
}

std::string columnTitle(unsigned int column, bool is_named) {
  const std::string letter(1, static_cast<char>('A' + column));
  return is_named ? letter + ", " + trx::kColumnNames[column] : letter;
}

CellLines::CellLines(const trx::TableData& data) : data_(data), rows_(data.rowSize()) {
  unsigned int line = 1;
  for (unsigned int row = 0; row < data.rowSize(); ++row) {
    rows_[row] = line++;
    for (int column = 0; column < data.columnSize(row); ++column) {
      line += lineEndsIn(data.getMember(row, static_cast<unsigned int>(column)));
    }
  }
}

unsigned int CellLines::lineOf(unsigned int row, unsigned int column) const {
  unsigned int line = rows_[row];
  for (unsigned int before = 0; before < column; ++before) {
    line += lineEndsIn(data_.getMember(row, before));
  }
  return line;
}

}  // namespace kw::trx::tools
