// SPDX-License-Identifier: Apache-2.0
#include "trxctl/table_warnings.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "kw/trx/table_format.h"
#include "tablefile/words.h"
#include "trxctl/commands.h"
#include "trxctl/record_collector.h"

namespace kw::trx::trxctl {
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
  const auto base = static_cast<int>(meaning == Meaning::kHex ? trx::kHexBase : trx::kDecimalBase);
  char* end = nullptr;
  const unsigned long number = std::strtoul(b.c_str(), &end, base);
  return *end == '\0' && std::strtoul(a.c_str(), nullptr, base) == number;
}

Meaning meaningOf(const std::string& command, const std::string& column) {
  if (column == trx::kColumnNumber || column == trx::kColumnPara) {
    return Meaning::kHex;
  }
  const bool is_time = command == trx::kCommandWait && column == trx::kColumnMode;
  return is_time ? Meaning::kDecimal : Meaning::kText;
}

/// What to say of a cell; empty when nothing.
std::string spreadsheetWords(const std::string& cell, Meaning meaning) {
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

class FlowWarner {
 public:
  FlowWarner(const TableFlow& flow, const Surroundings& surroundings)
      : flow_(flow), around_(surroundings), reached_(flow.reached(true)) {}

  std::vector<Finding> run() {
    const std::vector<bool> without_errors = flow_.reached(false);
    std::vector<bool> named(flow_.rows.size());
    for (const FlowRow& row : flow_.rows) {
      if (row.jump >= 0) {
        named[static_cast<std::size_t>(row.jump)] = true;
      }
    }
    for (std::size_t at = 0; at < flow_.rows.size(); ++at) {
      const FlowRow& row = flow_.rows[at];
      if (!reached_[at]) {
        add(row, trx::kPlaceCommand, "no path reaches this row");
      }
      if (row.command == trx::kCommandEnd && !row.name.empty() && without_errors[at]) {
        add(row, trx::kPlaceName,
            "a run without any failure gets here, and the message '" + row.name +
                "' makes it an error end");
      }
      if (!row.label.empty() && !named[at]) {
        add(row, trx::kPlaceLabel, "no row names the label '" + row.label + "'");
      }
      warnOfName(row);
      warnOfWait(row);
    }
    warnOfEndlessCalls();
    return findings_;
  }

 private:
  void add(const FlowRow& row, trx::Column column, const std::string& words) {
    findings_.push_back({false, row.lines[column], columnTitle(column, true), words});
  }

  void warnOfName(const FlowRow& row) {
    if (row.command == trx::kCommandTable && row.name.empty()) {
      add(row, trx::kPlaceName, "a TABLE row without a name ends its table");
    } else if (row.command == trx::kCommandTable && around_.tables.flows.count(row.name) == 0) {
      warnOfTable(row);
    }
    if (row.command == trx::kCommandHAP && row.name.empty()) {
      add(row, trx::kPlaceName, "a HAP row without a name fails: no HAP has it");
    } else if (row.command == trx::kCommandHAP && around_.haps &&
               around_.haps->count(row.name) == 0) {
      warnOfHAP(row);
    }
  }

  void warnOfTable(const FlowRow& row) {
    if (around_.tables.refused.count(row.name) != 0) {
      add(row, trx::kPlaceName,
          "the engine does not load the table '" + row.name + "'; trxctl check tells why");
      return;
    }
    std::vector<std::string> names(around_.tables.refused.begin(), around_.tables.refused.end());
    for (const auto& table : around_.tables.flows) {
      names.push_back(table.first);
    }
    add(row, trx::kPlaceName,
        "no table '" + row.name + "' is among the files or the configuration" + hint(row, names));
  }

  void warnOfHAP(const FlowRow& row) {
    const auto lost = around_.lost_haps.find(row.name);
    if (lost != around_.lost_haps.end()) {
      add(row, trx::kPlaceName,
          "the module that exports the HAP '" + row.name + "' " + lost->second +
              "; trxctl modules tells more");
      return;
    }
    add(row, trx::kPlaceName,
        "no listed module exports the HAP '" + row.name + "'" +
            hint(row, {around_.haps->begin(), around_.haps->end()}));
  }

  static std::string hint(const FlowRow& row, const std::vector<std::string>& known) {
    const std::string near = nearestOf(row.name, known);
    return near.empty() ? "" : "; did you mean " + near + "?";
  }

  void warnOfWait(const FlowRow& row) {
    if (row.command == trx::kCommandWait &&
        std::strtoul(row.mode.c_str(), nullptr, trx::kDecimalBase) > trx::kWaitMaxMs) {
      add(row, trx::kPlaceMode, "the wait is cut to one hour, 3600000 ms");
    }
  }

  /// Every run of such a table calls a table that cannot end either, until the nest limit.
  void warnOfEndlessCalls() {
    const std::map<std::string, bool> ends = canEnd(around_.tables.flows);
    const auto own = ends.find(flow_.name);
    if (own == ends.end() || own->second) {
      return;
    }
    for (std::size_t at = 0; at < flow_.rows.size(); ++at) {
      const FlowRow& row = flow_.rows[at];
      const auto called = ends.find(row.name);
      if (reached_[at] && row.command == trx::kCommandTable && called != ends.end() &&
          !called->second) {
        add(row, trx::kPlaceName,
            "every run gets to a call like this one and cannot end: the tables call themselves "
            "without a way out");
        return;
      }
    }
  }

  const TableFlow& flow_;
  const Surroundings& around_;
  const std::vector<bool> reached_;
  std::vector<Finding> findings_;
};

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
    const std::string words = spreadsheetWords(cells.getMember(row, column), meaning);
    if (!words.empty()) {
      findings.push_back({false, lines.lineOf(row, column), columnTitle(column, is_named), words});
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

std::vector<Finding> flowWarnings(const TableFlow& flow, const Surroundings& surroundings) {
  return FlowWarner(flow, surroundings).run();
}

}  // namespace kw::trx::trxctl
