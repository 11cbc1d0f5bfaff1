// SPDX-License-Identifier: Apache-2.0
// What the engine's own checks say of a table file, as if some of its cells held something else.
#ifndef KW_TRX_TOOLS_LINT_PATCHED_FORMAT_H_
#define KW_TRX_TOOLS_LINT_PATCHED_FORMAT_H_

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kw/trx/table_format.h"
#include "table/finding.h"
#include "trace/record_collector.h"

namespace kw::trx::tools {

using Rows = std::vector<unsigned int>;

/// The words that the engine takes for commands.
std::vector<std::string> commandWords();

/// Format 00 with some cells read, and some searches answered, as if they were right.
class PatchedFormat : public trx::TblFmt00 {
 public:
  PatchedFormat(const std::string& name, trx::TableData* file);

  using TblFmt00::findEntry;
  using TblFmt00::getMember;

  std::string getMember(const unsigned int& row, const unsigned int& column) override;

  /// A patched cell is not found by what it really holds.
  Rows findEntry(const unsigned int& column, const std::string& value, const unsigned int& from,
                 const unsigned int& to) override;

  /// The check that `checkTblCmd` makes of one row.
  int checkRow(unsigned int row);

  /// The checks of columns on one row alone, which see no content used twice.
  int checkNumberOf(unsigned int row) { return checkAlone(row, &TblFmt00::checkNumber); }
  int checkLabelOf(unsigned int row) { return checkAlone(row, &TblFmt00::checkLabel); }

  /// Whether the engine reads `text` as a hexadecimal number.
  bool isHex(const std::string& text, RecordCollector& collector);

  /// The printable characters that the engine allows in that cell. The patch of the cell is empty
  /// afterwards.
  std::string allowedIn(unsigned int row, unsigned int column, RecordCollector& collector);

  const trx::TableData& data;
  const CellLines lines;
  unsigned int last_row = 0;  ///< the row that was read last
  std::map<std::pair<unsigned int, unsigned int>, std::string> cells;  ///< by row and column
  std::map<std::pair<unsigned int, std::string>, Rows> searches;       ///< by column and value

 private:
  /// Lets `check` take `row` alone for the table.
  int checkAlone(unsigned int row, int (TblFmt00::*check)());

  /// All rows whose cell `column` holds `value`, from an index of that column.
  const Rows& rowsWith(unsigned int column, const std::string& value);

  /// `allowedIn` without what is known from another row of its command.
  std::string tryAllowed(unsigned int row, unsigned int column, RecordCollector& collector);

  std::map<unsigned int, std::unordered_map<std::string, Rows>> indexes_;  // by column
  std::map<std::pair<std::string, unsigned int>, std::string> allowed_;    // by command and column
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_PATCHED_FORMAT_H_
