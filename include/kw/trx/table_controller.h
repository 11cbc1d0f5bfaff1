// SPDX-License-Identifier: Apache-2.0
// Owner of the loaded tables; loads table files and runs table requests.
#ifndef KW_TRX_TABLE_CONTROLLER_H_
#define KW_TRX_TABLE_CONTROLLER_H_

#include <string>
#include <vector>

#include "kw/trx/export.h"
#include "kw/trx/table.h"

namespace kw::trx::trx {

class TRXInfo;

/// The engine holds one. `execTable` may be called from any thread, each with its own context;
/// `load` and `releaseTable` only while no table runs, which the engine sees to.
class ZQM_TRX_API TableController {
 public:
  TableController();
  TableController(const TableController&) = delete;
  TableController& operator=(const TableController&) = delete;
  virtual ~TableController();

  /// Replaces all tables by those of `files` (paths from the root), each named like its file
  /// without folder and extension; of two tables of one name the later one stays. Takes the nest
  /// limit from the configuration. Throws `TRXException` `kCodeTableLoad` for the first unusable
  /// file when the configuration stops on load errors, and otherwise leaves unusable files out;
  /// passes on `std::bad_alloc`. The tables before the file that threw stay loaded.
  void load(std::vector<std::string>& files);

  /// Runs the table that `info` names, or goes on with the one that was interrupted in it. Throws
  /// `TRXException` `kCodeContext` for a null context, and what `TableDriver::execTable` throws.
  void execTable(TRXInfo* info);

  /// Destroys all tables.
  void releaseTable();

  /// False always, whatever is loaded.
  bool isLoadTable() const;

 private:
  void loadTable(const std::string& path, bool stop_on_error);

  TableList table_list_;
  int nest_limit_ = 10;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLE_CONTROLLER_H_
