// SPDX-License-Identifier: Apache-2.0
// What tables say of the rows that trace records belong to. One thread.
#ifndef KW_TRX_TOOLS_TABLES_ROW_NOTES_H_
#define KW_TRX_TOOLS_TABLES_ROW_NOTES_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "tables/surroundings.h"
#include "tables/traced_rows.h"
#include "traces/slices.h"

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

  /// Takes the next record; `called` as `RecordPlacer` hands it on. Returns the note of the row
  /// that it belongs to, null for none. It stays as it is for all records of a row, unless a later
  /// one tells that the row is another, and lives until the next call.
  RowNote* take(const kw::platform::TraceRecord& record, const SliceTracker::Place& place,
                const std::string* called);

  /// The note is told to the user for the first time: counts rows whose table is not there.
  void told(RowNote& note, const SliceTracker::Place& place);

  /// A sentence for each table of rows that were told of but that is not there, or none of the
  /// level that tells of rows.
  std::vector<std::string> missing() const;

 private:
  struct Thread {
    std::uint64_t begin_ns = 0;
    bool resumed = false;
    TracedRow ran;
    RowNote note;
  };

  void noteWait(TracedRow& ran, std::uint32_t request);
  RowNote noteOf(const TracedRow& ran, bool doubtful) const;

  const KnownTables tables_;
  const RowFinder finder_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, Thread> threads_;
  std::map<std::uint32_t, std::uint32_t> waits_ms_;  // of the last WAIT row, by request
  bool saw_row_ = false;
  std::map<std::string, std::uint64_t> missing_;  // rows by table
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLES_ROW_NOTES_H_
