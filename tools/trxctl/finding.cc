// SPDX-License-Identifier: Apache-2.0
#include "trxctl/finding.h"

#include <algorithm>

#include "kw/trx/file_path.h"
#include "tablefile/words.h"

namespace kw::trx::trxctl {
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

std::vector<std::string> charactersOf(const std::string& cell) {
  std::vector<std::string> characters;
  for (std::size_t at = 0; at < cell.size(); at += characters.back().size()) {
    const auto first = static_cast<unsigned char>(cell[at]);
    const std::size_t size = first < 0xc2 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    const std::string character = cell.substr(at, first < 0xf5 ? size : 1);
    const bool is_whole =
        character.size() == size && std::all_of(character.begin() + 1, character.end(), [](char c) {
          return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
        });
    characters.push_back(is_whole ? character : cell.substr(at, 1));
  }
  return characters;
}

std::string inQuotes(const std::string& cell) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "'";
  for (const std::string& character : charactersOf(cell)) {
    const auto byte = static_cast<unsigned char>(character[0]);
    const std::string shown = "\t\n\r";
    const std::size_t letter = shown.find(character);
    if (letter != std::string::npos) {
      text += std::string("\\") + "tnr"[letter];
    } else if (character.size() == 1 && (byte < ' ' || byte > '~')) {
      text += std::string("\\x") + digits[byte / 16] + digits[byte % 16];
    } else {
      text += character;
    }
  }
  return text + "'";
}

}  // namespace kw::trx::trxctl
