// SPDX-License-Identifier: Apache-2.0
// How format 00 reads and judges the cells of a file. Belongs to the thread that loads.
#ifndef KW_TRX_TABLEFILE_CELLS_H_
#define KW_TRX_TABLEFILE_CELLS_H_

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kw/trx/table_format.h"
#include "support/requester_id.h"
#include "support/trace.h"
#include "tablefile/table_rows.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::trx {

/// What a check or a search returns that fails, with the record that says why.
inline int refuse(const TracePoint& reason, unsigned long v1 = 0, unsigned long v2 = 0,
                  unsigned long v3 = 0) {
  trace(reason, requesterId(), v1, v2, v3);
  return -1;
}

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

/// The commands of rows.
enum class Command { kHAP, kTable, kCheck, kWait, kStart, kEnd, kNone };

/// The command with that name; `kNone` when there is none.
Command commandOf(const std::string& name);

/// The cells of one file by column, for one walk over them. They are looked at in place, except for
/// a format derived from format 00, whose own operations may read the file in another way.
class Cells {
 public:
  Cells(TblFmt00& format, const TableData& data);

  bool inPlace() const { return in_place_; }

  /// Text of a cell, valid until the same column is read again; empty for one that does not exist.
  __attribute__((always_inline)) const std::string& text(unsigned int row, Column column) {
    return in_place_ ? rows_.cell(row, column) : readByFormat(row, column);
  }

  /// 0 when the cell has characters of `allowed` alone; otherwise -1 with a record.
  int check(unsigned int row, Column column, const CharacterSet& allowed);

 private:
  const std::string& readByFormat(unsigned int row, Column column);

  TblFmt00& format_;
  TableRows rows_;
  const bool in_place_;
  std::array<std::string, kColumns> copies_;  // of what the format read
};

/// Finds the rows of a label without a scan of the area for each row that names one, so that a
/// large table loads in linear time. A look at a label writes no record, so the trace is that of a
/// scan. A derived format scans by its own operations.
class LabelIndex {
 public:
  /// How many rows have a label, and the first of them.
  struct Rows {
    unsigned int count = 0;
    unsigned int first = 0;
  };

  LabelIndex(TblFmt00& format, const TableData& data, const Cells& cells)
      : format_(format), data_(data), in_place_(cells.inPlace()) {}

  /// The rows of `label` from `start` to `end`, which are the same for every label.
  Rows find(const std::string& label, unsigned int start, unsigned int end);

 private:
  TblFmt00& format_;
  const TableData& data_;
  const bool in_place_;
  bool is_read_ = false;
  std::unordered_map<std::string, Rows> rows_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLEFILE_CELLS_H_
