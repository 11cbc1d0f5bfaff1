// SPDX-License-Identifier: Apache-2.0
// What a row of a table is known by, does, and makes of failures, in files and in records. Any
// thread.
#ifndef KW_TRX_TOOLS_TRACE_ROW_ID_H_
#define KW_TRX_TOOLS_TRACE_ROW_ID_H_

#include <cstdint>
#include <optional>
#include <string>

namespace kw::trx::tools {

class JsonWriter;

/// The name of a table whose start is lost.
constexpr char kUnknownTable[] = "?";

/// Between the table and the NUMBER of a row.
constexpr char kRowSeparator = '/';

/// A row of a table.
struct RowId {
  std::string table;         ///< `kUnknownTable`: it is not known
  std::uint32_t number = 0;  ///< NUMBER

  /// TABLE/NUMBER; of a row of the table `within` its NUMBER alone.
  std::string text(const std::string& within = "") const;

  bool operator==(const RowId& other) const {
    return number == other.number && table == other.table;
  }
  bool operator<(const RowId& other) const {
    return table != other.table ? table < other.table : number < other.number;
  }
};

/// The command of a row.
enum class Command { kNone, kStart, kHAP, kCheck, kWait, kTable, kEnd };

/// The word for it in a table file; empty for `kNone`.
const char* wordOf(Command command);

/// The command that a table file writes so; `kNone` for any other word.
Command commandFrom(const std::string& word);

/// What comes of the failure of a row, or of one that a CHECK row finds.
enum class Effect { kNone, kIgnored, kKept, kJumps, kStops, kInterrupts };

/// A row in JSON: its table, and its NUMBER as the cell writes it.
void write(const RowId& row, JsonWriter& json);

/// The same, or null.
void write(const std::optional<RowId>& row, JsonWriter& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_ROW_ID_H_
