// SPDX-License-Identifier: Apache-2.0
// What is said about a table file, and about which of its cells.
#ifndef KW_TRX_TOOLS_TABLE_FINDING_H_
#define KW_TRX_TOOLS_TABLE_FINDING_H_

#include <string>
#include <vector>

#include "kw/trx/table_data.h"

namespace kw::trx::tools {

/// Something said about a table file.
struct Finding {
  bool is_error;
  unsigned int line;   ///< as an editor counts, from 1; 0: the file as a whole
  std::string column;  ///< letter of a spreadsheet, with the name of the column when it has one
  std::string message;
  unsigned int id = 0;  ///< trace id of an error
};

/// The name under which the engine registers the table of this file.
std::string tableNameOf(const std::string& file);

/// "G, PARA" for column 6; the letter alone where columns have no names.
std::string columnTitle(unsigned int column, bool is_named);

/// The lines in which the cells of a file begin, as an editor counts them. Quoted cells may hold
/// line ends. The file must outlive it.
class CellLines {
 public:
  explicit CellLines(const trx::TableData& data);

  unsigned int lineOf(unsigned int row, unsigned int column) const;

 private:
  const trx::TableData& data_;
  std::vector<unsigned int> rows_;  // the line in which each row begins
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_FINDING_H_
