// SPDX-License-Identifier: Apache-2.0
// Tables as graphs of rows: what can follow what, and which table calls which.
#ifndef KW_TRX_TOOLS_TABLES_FLOW_H_
#define KW_TRX_TOOLS_TABLES_FLOW_H_

#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "zqm_trx/table_words.h"

namespace kw::trx::tools {

/// One row of a table.
struct FlowRow {
  std::array<unsigned int, trx::kPlaceRsv1> lines;  ///< of its cells up to PARA
  std::string label, number, command, name, mode, error, para;
  int jump = -1;                  ///< place of the row that an error jumps to; -1: none
  unsigned int number_value = 0;  ///< NUMBER as the engine reads it
  unsigned int wait_ms = 0;       ///< of a WAIT row, as the engine cuts it

  /// The line by which it is known.
  unsigned int line() const { return lines[trx::kPlaceCommand]; }
  /// True for a row whose run goes well or badly: a HAP, or a CHECK.
  bool canFail() const { return command == trx::kCommandHAP || command == trx::kCommandCheck; }
  /// True when a failure in this row ends the table.
  bool endsOnError() const;
  /// True when the table ends in this row.
  bool endsTable() const;
  /// True when a failure in this row is kept for CHECK.
  bool keepsFailure() const;

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

  /// The rows that can run, those after errors included or not.
  std::vector<bool> reached(bool with_errors) const;

  /// The places that can follow the place `at`, that behind an error included or not.
  std::vector<std::size_t> followers(std::size_t at, bool with_errors) const;
};

/// Tables by name.
using TableFlows = std::map<std::string, TableFlow>;

/// True when the engine loads `file`; `flow` is then its table, else its name alone.
bool readFlow(const std::string& file, TableFlow& flow);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLES_FLOW_H_
