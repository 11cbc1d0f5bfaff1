// SPDX-License-Identifier: Apache-2.0
// The runner of one table request, and the record that a context keeps of each running table.
#ifndef KW_TRX_TABLE_DRIVER_H_
#define KW_TRX_TABLE_DRIVER_H_

#include <string>
#include <vector>

#include "kw/sysobj/component.h"
#include "kw/trx/export.h"

namespace kw::trx::trx {

class TRXInfo;
class TableList;

/// Where one running table of a request stands. It names its table, so that the table may be loaded
/// anew while the request is interrupted. Belongs to the context on whose stack of tables it is,
/// and like the context to one thread at a time.
class ZQM_TRX_API TblCtlInfo {
 public:
  /// A table at its START row. The unit list is copied, the units stay the host's.
  TblCtlInfo(const std::string& table_name, const std::vector<kw::sysobj::Component*>& units);
  TblCtlInfo(const TblCtlInfo&) = delete;
  TblCtlInfo& operator=(const TblCtlInfo&) = delete;
  virtual ~TblCtlInfo();

  std::string tableName;                         ///< name of the table
  std::vector<kw::sysobj::Component*> unitList;  ///< units that its HAPs work on
  int index = 0;                                 ///< entry to run next; -1: the table must end
  std::string callTableName;                     ///< table that a TABLE row calls; empty: none
  bool errEnd = false;                           ///< the table ended with error
};

/// Runs the tables of a request from row to row. It keeps nothing of a request, which is all in its
/// context: a request that left the driver in the middle of a table goes on there when the driver
/// is called again with the same context.
class ZQM_TRX_API TableDriver {
 public:
  /// `nest_limit`: how many runs of a table may be in progress on a context when the same table is
  /// called again. With a negative one no table can call a table.
  explicit TableDriver(int nest_limit);
  TableDriver(const TableDriver&) = delete;
  TableDriver& operator=(const TableDriver&) = delete;
  virtual ~TableDriver();

  /// Runs the table that `info` names, or goes on with the one that was interrupted in it, looking
  /// its tables up in `tables`; neither may be null. Returns when every table has ended normally.
  /// Throws `TRXException` `kCodeTableFailed` after an error end and for a table nested too deeply,
  /// and `kCodeTableStopped` when the stop flag is found set before a row; the stack of tables is
  /// empty then. Passes on what a command throws; the stack then stays for the next call.
  void execTable(TRXInfo* info, TableList* tables);

  /// Leaves the current table of `info`, which must have one: the table that it calls becomes the
  /// current one, or its caller does. An error end goes over to the caller. Throws `TRXException`
  /// `kCodeTableFailed` for a table nested too deeply.
  void endCurrentTable(TRXInfo* info);

  /// Destroys every record on the stack of tables of `info`.
  void releaseAllTblCtlInfo(TRXInfo* info);

 private:
  void startOrResume(TRXInfo* info);
  void callTable(TRXInfo* info);
  void finishTable(TRXInfo* info);

  int nest_limit_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLE_DRIVER_H_
