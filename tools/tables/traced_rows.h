// SPDX-License-Identifier: Apache-2.0
// Rows of tables by what trace records tell of their runs. Any thread.
#ifndef KW_TRX_TOOLS_TABLES_TRACED_ROWS_H_
#define KW_TRX_TOOLS_TABLES_TRACED_ROWS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "kw/platform.h"
#include "tables/flow.h"
#include "traces/slices.h"

namespace kw::trx::tools {

/// What is told of a row that ran.
struct TracedRow {
  std::string table;         ///< empty: not told
  std::uint32_t number = 0;  ///< NUMBER
  std::string command;
  std::optional<std::string> called;     ///< the HAP or table that it calls
  std::optional<std::uint32_t> wait_ms;  ///< of a WAIT row
  std::optional<bool> has_message;       ///< of an END row
};

/// By a slice of the row.
TracedRow tracedRowOf(const Slice& row);

/// By a record at `place`, which belongs to the row or begins it; none: it belongs to none.
std::optional<TracedRow> tracedRowOf(const kw::platform::TraceRecord& record,
                                     const SliceTracker::Place& place);

/// Finds rows in tables as they are now. The tables must outlive it.
class RowFinder {
 public:
  explicit RowFinder(const TableFlows& tables);

  struct Found {
    const TableFlow* table = nullptr;  ///< null: there is none of that name
    const FlowRow* row = nullptr;      ///< null: no row has the NUMBER
    bool is_same = false;  ///< nothing told says that another row had the NUMBER when it ran
  };
  Found find(const TracedRow& ran) const;

 private:
  struct Table {
    const TableFlow* flow;
    std::map<std::uint32_t, const FlowRow*> rows;  // by NUMBER
  };

  std::map<std::string, Table> tables_;
};

/// How a table that is found has changed since `ran`; empty: it has not.
std::string changeText(const RowFinder::Found& found, const TracedRow& ran);

/// That so many rows ran that are in no table `table`, empty for one whose name is not told.
std::string notFoundText(const std::string& table, std::uint64_t rows);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLES_TRACED_ROWS_H_
