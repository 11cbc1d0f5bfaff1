// SPDX-License-Identifier: Apache-2.0
#include "tablefile/label_index.h"

namespace kw::trx::trx {

LabelIndex::Rows LabelIndex::find(const std::string& label) {
  if (!read_) {
    for (unsigned int row = first_; row <= last_; ++row) {
      Rows& rows = rows_[data_.look(row, column_)];
      if (rows.count++ == 0) {
        rows.first = row;
      }
    }
    read_ = true;
  }
  const auto found = rows_.find(label);
  return found == rows_.end() ? Rows() : found->second;
}

}  // namespace kw::trx::trx
