// SPDX-License-Identifier: Apache-2.0
// Tables as graphs of rows: what can follow what, and which table calls which.
#ifndef KW_TRX_TOOLS_TABLE_FLOW_H_
#define KW_TRX_TOOLS_TABLE_FLOW_H_

#include <array>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "trace/row_id.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {

/// One row of a table.
struct FlowRow {
  RowId id;
  Command command = Command::kNone;
  Effect on_failure = Effect::kNone;  ///< of its HAP, or of what a CHECK row finds; else `kNone`
  int jump = -1;                      ///< place of the row that a failure jumps to; -1: none
  bool can_succeed = true;            ///< false: no module can have its HAP
  unsigned int wait_ms = 0;           ///< of a WAIT row, as the engine cuts it
  std::string name;                   ///< what it calls; of an END row its message
  std::string label, number, mode, error, para;       ///< its other cells
  std::array<unsigned int, trx::kPlaceRsv1> lines{};  ///< of its cells up to PARA

  /// The line by which it is known.
  unsigned int line() const { return lines[trx::kPlaceCommand]; }
  /// True for a row whose run can fail: a HAP, or a CHECK.
  bool canFail() const { return on_failure != Effect::kNone; }
  /// True for a HAP row of mode NOP or STACK.
  bool goesOnAfterFailure() const {
    return on_failure == Effect::kIgnored || on_failure == Effect::kKept;
  }
  /// True for a TABLE row with the name of one.
  bool callsTable() const { return command == Command::kTable && !name.empty(); }
  /// True when the table ends in this row.
  bool endsTable() const { return command == Command::kEnd || isNamelessCall(); }
  /// True for an END row with a message.
  bool endsWithMessage() const { return command == Command::kEnd && !name.empty(); }
  /// True for a TABLE row without a name.
  bool isNamelessCall() const { return command == Command::kTable && name.empty(); }

  /// Its cells by the names of their columns; those behind PARA are empty in every row.
  std::vector<std::pair<const char*, std::string>> cells() const;
  /// The same as they stand in a file, with commas between.
  std::string text() const;
};

/// One table that the engine loads.
struct TableFlow {
  std::string name;
  std::string file;
  std::vector<FlowRow> rows;

  /// The names of the tables that its rows call, in their order.
  std::vector<std::string> called() const;

  /// The rows that can run, those after errors included or not.
  std::vector<bool> reached(bool with_errors) const;

  /// The places that can follow the place `at`, that behind an error included or not.
  std::vector<std::size_t> followers(std::size_t at, bool with_errors) const;
};

/// Tables by name.
using TableFlows = std::map<std::string, TableFlow>;

/// `names`, and those of all tables that these call, directly or through others, there or not.
std::set<std::string> withCalled(const std::vector<std::string>& names, const TableFlows& tables);

/// True when the engine loads `file`; `flow` is then its table, else its name alone.
bool readFlow(const std::string& file, TableFlow& flow);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_FLOW_H_
