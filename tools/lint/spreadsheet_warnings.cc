// SPDX-License-Identifier: Apache-2.0
#include "lint/spreadsheet_warnings.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "common/characters.h"
#include "common/paths.h"
#include "kw/trx/table_format.h"
#include "table/cell_number.h"
#include "trace/record_collector.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// Numbers below it are saved with all their digits: a spreadsheet keeps 15 of them.
constexpr double kPlainNumberMax = 1e15;

enum class Meaning { kText, kHex, kDecimal };

/// A cell cut into the parts that a number has; each may be empty.
struct NumberParts {
  std::string blanks, sign, whole, fraction, exponent;
  bool is_number = false;  ///< nothing else stands in the cell, and `whole` is not empty
};

/// True for no exponent, and for a letter, at most one sign and digits.
bool isExponent(const std::string& text) {
  const bool has_sign = text.size() > 1 && (text[1] == '+' || text[1] == '-');
  const std::size_t digits = has_sign ? 2 : 1;
  return text.empty() || (digits < text.size() &&
                          text.find_first_not_of("0123456789", digits) == std::string::npos);
}

NumberParts cutNumber(const std::string& cell) {
  std::size_t at = 0;
  const auto take = [&](const char* set) {
    const std::size_t begin = at;
    at = std::min(cell.find_first_not_of(set, begin), cell.size());
    return cell.substr(begin, at - begin);
  };
  NumberParts parts{take(" "), take("+-"), take("0123456789"), take(".0123456789"), ""};
  if (at < cell.size() && (cell[at] == 'e' || cell[at] == 'E')) {
    parts.exponent = take("eE+-0123456789");
  }
  parts.blanks += take(" ");
  parts.is_number = at == cell.size() && !parts.whole.empty() && parts.sign.size() < 2 &&
                    (parts.fraction.empty() || parts.fraction.rfind('.') == 0) &&
                    isExponent(parts.exponent);
  return parts;
}

/// What a spreadsheet makes of a cell when it reads and saves it; the cell itself when it stays.
std::string savedBySpreadsheet(const std::string& cell) {
  if (!cell.empty() && cell[0] == '=') {
    return "the result of a formula";
  }
  if (!cutNumber(cell).is_number) {
    return cell;
  }
  const double value = std::strtod(cell.c_str(), nullptr);
  if (std::abs(value) >= kPlainNumberMax) {
    return "another number";
  }
  if (value != std::floor(value)) {
    return cell.find_first_of("eE") == std::string::npos ? cell : "another number";
  }
  std::ostringstream out;
  out << std::fixed;
  out.precision(0);
  out << (value == 0 ? 0.0 : value);
  return out.str();
}

bool meansTheSame(const std::string& a, const std::string& b, Meaning meaning) {
  if (a == b || meaning == Meaning::kText) {
    return a == b;
  }
  const unsigned int base = meaning == Meaning::kHex ? trx::kHexBase : trx::kDecimalBase;
  const CellNumber number_a = cellNumber(a, base);
  const CellNumber number_b = cellNumber(b, base);
  return number_a.is_whole && number_b.is_whole && number_a.value == number_b.value;
}

Meaning meaningOf(const std::string& command, const std::string& column) {
  if (column == trx::kColumnNumber || column == trx::kColumnPara) {
    return Meaning::kHex;
  }
  const bool is_time = command == trx::kCommandWait && column == trx::kColumnMode;
  return is_time ? Meaning::kDecimal : Meaning::kText;
}

/// What to say of a cell; empty when nothing.
std::string spreadsheetMessage(const std::string& cell, Meaning meaning) {
  const NumberParts parts = cutNumber(cell);
  const bool scientific =
      parts.exponent.size() > 2 && parts.exponent[0] == 'E' && std::isdigit(parts.exponent[1]) == 0;
  if (parts.is_number && parts.blanks.empty() && parts.whole.size() == 1 && scientific) {
    return inQuotes(cell) + " looks like what a spreadsheet makes of a cell such as 1e5";
  }
  const std::string saved = savedBySpreadsheet(cell);
  if (cell == saved) {
    return {};
  }
  return "a spreadsheet saves " + inQuotes(cell) + " as " + saved + ", which means " +
         (meansTheSame(cell, saved, meaning) ? "the same here" : "something else here");
}

}  // namespace

std::vector<Finding> spreadsheetWarnings(const std::string& file) {
  const RecordCollector quiet;
  std::vector<Finding> findings;
  auto data = std::make_unique<trx::TableData>();
  if (data->load(absolutePath(file)) != 0) {
    return findings;
  }
  const trx::TableData& cells = *data;
  trx::TblFmt00 format(tableNameOf(file), data.get());
  static_cast<void>(data.release());
  const CellLines lines(cells);
  const auto warn = [&](unsigned int row, unsigned int column, Meaning meaning, bool is_named) {
    const std::string message = spreadsheetMessage(cells.getMember(row, column), meaning);
    if (!message.empty()) {
      findings.push_back(
          {false, lines.lineOf(row, column), columnTitle(column, is_named), message});
    }
  };
  for (const char* key : {trx::kKeyFormat, trx::kKeyVersion}) {
    for (const unsigned int row : format.findEntry(trx::kKeyColumn, key)) {
      warn(row, trx::kKeyColumn + 1, Meaning::kHex, false);
    }
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (format.getRowOfTblArea(start, end) != 0) {
    return findings;
  }
  for (unsigned int row = start; row <= end; ++row) {
    const std::string command = format.getMember(row, trx::kColumnCommand);
    for (const char* column : {trx::kColumnLabel, trx::kColumnNumber, trx::kColumnName,
                               trx::kColumnMode, trx::kColumnError, trx::kColumnPara}) {
      warn(row, static_cast<unsigned int>(format.getColumn(column)), meaningOf(command, column),
           true);
    }
  }
  return findings;
}

}  // namespace kw::trx::tools
