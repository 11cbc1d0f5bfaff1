// SPDX-License-Identifier: Apache-2.0
// What tables say of the rows that trace records belong to. One thread.
#ifndef KW_TRX_TOOLS_TABLE_ROW_NOTES_H_
#define KW_TRX_TOOLS_TABLE_ROW_NOTES_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "table/environment.h"
#include "table/row_finder.h"
#include "trace/request_builder.h"

namespace kw::trx::tools {

/// What a table says of one run of a row.
struct RowNote {
  const TableFlow* table = nullptr;  ///< null: none of the tables is its own
  const FlowRow* row = nullptr;      ///< null: there is none, or `problem` tells that it is another
  std::string problem;               ///< how the table has changed since; empty: not noticeably
  bool is_told = false;
};

/// Follows the records of all threads.
class RowNotes {
 public:
  explicit RowNotes(KnownTables tables);
  RowNotes(const RowNotes&) = delete;
  RowNotes& operator=(const RowNotes&) = delete;
  ~RowNotes() = default;

  /// Takes the next event; `called` as `RecordPlacer` hands it on. Returns the note of the row
  /// that it belongs to, null for none. It stays as it is for all records of a row, unless a later
  /// one tells that the row is another, and lives until the next call.
  RowNote* take(const Event& event, const Place& place, const std::string* called);

  /// The note is told to the user for the first time: counts rows whose table is not there.
  void told(RowNote& note, const Place& place);

  /// A sentence for each table of rows that were told of but that is not there, or none of the
  /// level that tells of rows.
  std::vector<std::string> missing() const;

 private:
  struct Thread {
    Span ran;
    RowNote note;
  };

  RowNote noteOf(const Span& ran) const;

  const KnownTables tables_;
  const RowFinder finder_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, Thread> threads_;
  bool saw_row_ = false;
  std::map<std::string, std::uint64_t> missing_;  // rows by table
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_ROW_NOTES_H_
