// SPDX-License-Identifier: Apache-2.0
// Every fault of a table file, as the engine's own checks find them.
#ifndef KW_TRX_TOOLS_TRXCTL_TABLE_CHECK_H_
#define KW_TRX_TOOLS_TRXCTL_TABLE_CHECK_H_

#include <string>
#include <vector>

#include "kw/trx/table_format.h"

namespace kw::trx::trxctl {

/// Something said about a table file.
struct Finding {
  bool is_error;
  unsigned int line;   ///< as an editor counts, from 1; 0: the file as a whole
  std::string column;  ///< letter of a spreadsheet, with the name of the column when it has one
  std::string words;
  unsigned int id = 0;  ///< trace id of an error
};

/// The name under which the engine registers the table of this file.
std::string tableNameOf(const std::string& file);

/// "G, PARA" for column 6 of `format`; the letter alone where columns have no names.
std::string columnTitle(trx::TblFmtFactory& format, unsigned int column, bool is_named);

/// The line at which each row of a file begins, and behind the last one the line after the file.
/// Quoted cells may hold line ends.
std::vector<unsigned int> linesOfRows(const trx::TableData& data);

/// Every fault of `file`; `file` is how it is called in words. None exactly when the engine loads
/// it. After each fault the engine's checks run again as if its cell were right.
std::vector<Finding> findFaults(const std::string& file);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_TABLE_CHECK_H_
