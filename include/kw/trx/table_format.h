// SPDX-License-Identifier: Apache-2.0
// Table formats: how the cells of a table file are checked and become a table. A format object
// lives for the loading of one file and belongs to the thread that loads.
#ifndef KW_TRX_TABLE_FORMAT_H_
#define KW_TRX_TABLE_FORMAT_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kw/trx/export.h"
#include "kw/trx/table.h"
#include "kw/trx/table_data.h"

namespace kw::trx::trx {

class Cells;
class LabelIndex;

/// Base of the formats: cells by column name, searches, and the choice of the format of a file.
/// Failures are told by the result and a trace record; only `std::bad_alloc` is thrown.
class ZQM_TRX_API TblFmtFactory {
 public:
  /// What one column may hold in a row.
  struct item_check_list_t {
    std::string item;  ///< name of the column
    int rangeNum;      ///< number of ranges used, 0 to 20; 0: the cell must be empty
    std::pair<char, char> ranges[20];  ///< allowed characters (low, high), as unsigned bytes
  };

  /// A format object for `data`, which must not be null and which it owns from now on; `name`
  /// becomes the name of the table. When memory runs out `data` stays the caller's.
  TblFmtFactory(const std::string& name, TableData* data);
  TblFmtFactory(const TblFmtFactory&) = delete;
  TblFmtFactory& operator=(const TblFmtFactory&) = delete;
  virtual ~TblFmtFactory();

  /// Checks the file by the rules of the format. Returns 0, or -1 with trace records that tell why.
  virtual int checkFormat() = 0;

  /// Builds the table of a file that `checkFormat` has accepted. The caller owns it; null when the
  /// file has no table.
  virtual HAPTable* createHAPTable() = 0;

  /// Index of the column called `name`, or -1.
  virtual int getColumn(const std::string& name);

  /// Text of a cell; empty for a cell or a column that does not exist.
  virtual std::string getMember(const unsigned int& row, const std::string& column);
  virtual std::string getMember(const unsigned int& row, const unsigned int& col);

  /// The rows from `from` to `to`, both included, whose cell `col` is exactly `value`, in ascending
  /// order. None when `to` is behind the last row or before `from`.
  virtual std::vector<unsigned int> findEntry(const unsigned int& col, const std::string& value,
                                              const unsigned int& from, const unsigned int& to);
  /// The same over the whole file.
  virtual std::vector<unsigned int> findEntry(const unsigned int& col, const std::string& value);

  /// Checks the characters of the cells of `row` by the first `num` entries of `list`. Returns 0,
  /// or -1 at the first cell with a character that its entry does not allow. Empty cells always
  /// pass.
  int checkItemString(const unsigned int& row, const int& num, item_check_list_t* list);

  /// A format object for the file in `data`, which it owns from then on; the caller owns the format
  /// object. Null when `data` is null, lacks a header key, or is of an unknown format; `data` then
  /// stays the caller's, as it does after `std::bad_alloc`.
  static TblFmtFactory* getTblFmt(const std::string& name, TableData* data);

 protected:
  std::map<std::string, int> column_map_;
  int tbl_start_row_ = -1;
  int tbl_end_row_ = -1;
  TableData* table_data_;
  std::string table_name_;
};

/// Format 00, the only one: header keys, nine fixed columns, and the table area from the START row
/// to the last END row. Checks return 0, or -1 with trace records that tell why.
class ZQM_TRX_API TblFmt00 : public TblFmtFactory {
 public:
  /// As `TblFmtFactory`.
  TblFmt00(const std::string& name, TableData* data);
  ~TblFmt00() override;

  int checkFormat() override;
  HAPTable* createHAPTable() override;

  /// Checks the command of every row of the table area.
  virtual int checkTblCmd();

  /// Checks header keys, START and END.
  int checkFileFmt();
  /// Checks the NUMBER column of the table area.
  int checkNumber();
  /// Checks the LABEL column of the table area.
  int checkLabel();

  /// Check one row as a row of that command.
  int checkCmdSTART(const unsigned int& row);
  int checkCmdEND(const unsigned int& row);
  int checkCmdHAP(const unsigned int& row);
  int checkCmdCHECK(const unsigned int& row);
  int checkCmdWAIT(const unsigned int& row);
  int checkCmdTABLE(const unsigned int& row);

  /// The START row, or -1.
  int getRowOfTblStart();
  /// The last END row, or -1.
  int getRowOfTblEnd();
  /// Stores both; -1 when either is missing.
  int getRowOfTblArea(unsigned int& start, unsigned int& end);

  /// Make the command of `row`, a row of the table area that has passed its check. The caller owns
  /// it.
  HAPTableCommand* createCmdSTART(const unsigned int& number, const unsigned int& row);
  HAPTableCommand* createCmdEND(const unsigned int& number, const unsigned int& row);
  HAPTableCommand* createCmdHAP(const unsigned int& number, const unsigned int& row);
  HAPTableCommand* createCmdCHECK(const unsigned int& number, const unsigned int& row);
  HAPTableCommand* createCmdWAIT(const unsigned int& number, const unsigned int& row);
  HAPTableCommand* createCmdTABLE(const unsigned int& number, const unsigned int& row);

 private:
  friend class LabelIndex;

  unsigned int columnIndex(const std::string& name);
  std::vector<unsigned int> findCommand(const std::string& command);
  std::vector<unsigned int> findLabel(const std::string& label, unsigned int start,
                                      unsigned int end);
  int checkHAPRow(const unsigned int& row, Cells& cells, LabelIndex* labels);
  int checkCheckRow(const unsigned int& row, Cells& cells, LabelIndex* labels);
  bool isLabelOfOneRow(const std::string& label, unsigned int start, unsigned int end,
                       LabelIndex* labels);
  HAPTableCommand* createHAPRow(const unsigned int& number, const unsigned int& row, Cells& cells,
                                LabelIndex* labels);
  HAPTableCommand* createCheckRow(const unsigned int& number, const unsigned int& row, Cells& cells,
                                  LabelIndex* labels);
  int entryIndex(const unsigned int& row);
  int labelIndex(const std::string& label, LabelIndex* labels);
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLE_FORMAT_H_
