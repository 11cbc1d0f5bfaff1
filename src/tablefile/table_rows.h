// SPDX-License-Identifier: Apache-2.0
// The rows of one table file, for a walk over them. Belongs to the thread that loads.
#ifndef KW_TRX_TABLEFILE_TABLE_ROWS_H_
#define KW_TRX_TABLEFILE_TABLE_ROWS_H_

#include <string>
#include <vector>

#include "kw/trx/table_data.h"
#include "kw/util/config/comma_separated_values.h"

namespace kw::trx::trx {

/// Looks at the cells of a file in place. The file must not change meanwhile.
class TableRows {
 public:
  explicit TableRows(const TableData& data);

  /// The text that `TableData::getMember` copies, with the same records of what is missing; valid
  /// as long as the file and this object.
  __attribute__((always_inline)) const std::string& cell(unsigned int row, unsigned int col) {
    if (row != row_) {
      goTo(row);
    }
    return col < columns_ ? (*cells_)[col] : missing(col);
  }

 private:
  void goTo(unsigned int row) {
    row_ = row;
    columns_ = 0;
    if (row < rows_) {
      const int index = static_cast<int>(row);
      columns_ = static_cast<unsigned int>(csv_->columnCount(index));
      // A row without cells is not asked for.
      cells_ = columns_ == 0 ? nullptr : &(*csv_)[index];
    }
  }

  const std::string& missing(unsigned int col) const;

  kw::util::config::CommaSeparatedValues* csv_;
  unsigned int rows_;
  unsigned int row_ = ~0U;  // the row looked at last,
  unsigned int columns_ = 0;
  const std::vector<std::string>* cells_ = nullptr;  // and its cells
  const std::string none_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLEFILE_TABLE_ROWS_H_
