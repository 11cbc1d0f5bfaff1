// SPDX-License-Identifier: Apache-2.0
// The cells of one table file.
#ifndef KW_TRX_TABLE_DATA_H_
#define KW_TRX_TABLE_DATA_H_

#include <string>
#include <vector>

#include "kw/trx/export.h"

namespace kw::util::config {
class CommaSeparatedValues;
}

namespace kw::trx::trx {

/// Reads one table file and answers questions about its cells. It knows its two header keys, but
/// nothing of commands. Rows and columns count from 0. Failures are told by the result and a trace
/// record; only `std::bad_alloc` is thrown. Not synchronised: it belongs to the thread that loads.
class ZQM_TRX_API TableData {
 public:
  TableData();
  TableData(const TableData&) = delete;
  TableData& operator=(const TableData&) = delete;
  virtual ~TableData();

  /// Reads the file at `path`, which counts from the root directory and must have the extension csv
  /// in any letter case, in place of the file held. Returns 0, or -1 when it cannot be read, as
  /// with one that is no regular file or longer than 16 MiB; nothing is held then, except that an
  /// empty `path` leaves everything as it was.
  int load(const std::string& path);

  /// Reads the file at the path last given to `load`. Returns 0 or -1.
  int loadCSV();

  /// Forgets the file held.
  void unload();

  /// Number of rows; 0 when no file is held.
  unsigned int rowSize() const;

  /// Number of cells of `row`; 0 when no file is held.
  int columnSize(const unsigned int& row) const;

  /// Text of a cell; empty for a cell that does not exist.
  std::string getMember(const unsigned int& row, const unsigned int& col) const;

  /// The hexadecimal number in the second cell of the one row whose first cell is `key`, as 32
  /// bits; -1 when there is not exactly one such row or its value is no number of 1 to 8
  /// characters. The value ffffffff cannot be told from that failure.
  int getTblDefKey(const std::string& key) const;

 private:
  friend class TableRows;

  std::string file_path_;
  kw::util::config::CommaSeparatedValues* csv_ = nullptr;

 public:
  int formatNo = -1;   ///< value of the key FORMAT once a reader has stored it; -1 before
  int versionNo = -1;  ///< value of the key VERSION once a reader has stored it; -1 before
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLE_DATA_H_
