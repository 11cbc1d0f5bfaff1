// SPDX-License-Identifier: Apache-2.0
// The labels of a table area, for a walk over all its rows.
#ifndef KW_TRX_TABLEFILE_LABEL_INDEX_H_
#define KW_TRX_TABLEFILE_LABEL_INDEX_H_

#include <string>
#include <unordered_map>

#include "kw/trx/table_data.h"

namespace kw::trx::trx {

/// Finds the rows of a label without a scan of the area for each row that names one, so that a
/// large table loads in linear time. It reads the labels at the first look-up; the file must not
/// change. A look at a label writes no trace record, so the trace is that of a scan.
class LabelIndex {
 public:
  /// How many rows have a label, and the first of them.
  struct Rows {
    unsigned int count = 0;
    unsigned int first = 0;
  };

  /// For the rows `first` to `last` of `data`, whose labels stand in cell `column`.
  LabelIndex(const TableData& data, unsigned int column, unsigned int first, unsigned int last)
      : data_(data), column_(column), first_(first), last_(last) {}

  Rows find(const std::string& label);

 private:
  const TableData& data_;
  unsigned int column_;
  unsigned int first_;
  unsigned int last_;
  bool read_ = false;
  std::unordered_map<std::string, Rows> rows_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLEFILE_LABEL_INDEX_H_
