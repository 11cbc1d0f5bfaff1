// SPDX-License-Identifier: Apache-2.0
#include "trxctl/finding.h"

#include "kw/trx/file_path.h"
#include "tablefile/words.h"

namespace kw::trx::trxctl {

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

std::vector<unsigned int> linesOfRows(const trx::TableData& data) {
  std::vector<unsigned int> lines = {1};
  for (unsigned int row = 0; row < data.rowSize(); ++row) {
    unsigned int next = lines.back() + 1;
    for (int column = 0; column < data.columnSize(row); ++column) {
      next += lineEndsIn(data.getMember(row, static_cast<unsigned int>(column)));
    }
    lines.push_back(next);
  }
  return lines;
}

unsigned int lineEndsIn(const std::string& cell) {
  unsigned int count = 0;
  for (std::size_t i = 0; i < cell.size(); ++i) {
    const bool pair = cell[i] == '\r' && i + 1 < cell.size() && cell[i + 1] == '\n';
    count += (cell[i] == '\n' || cell[i] == '\r') && !pair ? 1 : 0;
  }
  return count;
}

std::string quoted(const std::string& cell) {
  std::string text = "'";
  for (const char c : cell) {
    text += static_cast<unsigned char>(c) < ' ' ? '?' : c;
  }
  return text + "'";
}

}  // namespace kw::trx::trxctl
