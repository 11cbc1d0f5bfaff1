// SPDX-License-Identifier: Apache-2.0
// How format 00 reads and judges the cells of a file. Belongs to the thread that loads.
#ifndef KW_TRX_TABLEFILE_CELLS_H_
#define KW_TRX_TABLEFILE_CELLS_H_

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "kw/trx/table_data.h"
#include "kw/trx/table_format.h"
#include "support/requester_id.h"
#include "support/trace.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::trx {

/// The cells of one file, by column. They are looked at in place, except for a format derived from
/// format 00, whose own operations may read the file in another way.
class Cells {
 public:
  Cells(TblFmt00& format, const TableData& data)
      : format_(format), data_(data), in_place_(typeid(format) == typeid(TblFmt00)) {}

  bool inPlace() const { return in_place_; }

  /// Text of a cell, valid until the same column is read again; empty for one that does not exist.
  __attribute__((always_inline)) const std::string& text(unsigned int row, Column column) {
    if (cells_ == nullptr || row != row_ || column >= cells_->size()) {
      return textAnew(row, column);
    }
    return (*cells_)[column];
  }

 private:
  /// As `text`, for the first cell of a row and for those that are not looked at in place.
  const std::string& textAnew(unsigned int row, Column column) {
    if (!in_place_) {
      return copies_[column] = format_.getMember(row, kColumnNames[column]);
    }
    const std::vector<std::string>* cells = data_.cellsOf(row);
    if (cells == nullptr || column >= cells->size()) {
      return data_.look(row, column);  // which traces what is missing
    }
    row_ = row;
    cells_ = cells;
    return (*cells_)[column];
  }

  TblFmt00& format_;
  const TableData& data_;
  const bool in_place_;
  std::array<std::string, kColumns> copies_;
  const std::vector<std::string>* cells_ = nullptr;  // those looked at last
  unsigned int row_ = 0;                             // and their row
};

/// Allowed characters of a cell.
struct CharacterSet {
  /// `pairs` has the first and the last character of each range.
  constexpr explicit CharacterSet(std::string_view pairs) : ranges(pairs) {
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
      for (auto byte = static_cast<unsigned char>(pairs[i]);
           byte <= static_cast<unsigned char>(pairs[i + 1]); ++byte) {
        allows[byte] = true;
      }
    }
  }

  bool allowsAll(const std::string& text) const {
    return std::all_of(text.begin(), text.end(),
                       [this](char c) { return allows[static_cast<unsigned char>(c)]; });
  }

  std::string_view ranges;
  std::array<bool, 256> allows{};
};

/// What the check of a cell returns that has a character which it may not have.
inline int refuseCharacter(unsigned int row, int column) {
  trace(kFmtCharacter, requesterId(), row, traceWord(column));
  return -1;
}

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLEFILE_CELLS_H_
