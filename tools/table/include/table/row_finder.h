// SPDX-License-Identifier: Apache-2.0
// Finds rows that ran in tables as they are now. Any thread.
#ifndef KW_TRX_TOOLS_TABLE_ROW_FINDER_H_
#define KW_TRX_TOOLS_TABLE_ROW_FINDER_H_

#include <cstdint>
#include <map>
#include <string>

#include "table/flow.h"
#include "trace/span.h"

namespace kw::trx::tools {

/// Finds rows in tables as they are now. The tables must outlive it.
class RowFinder {
 public:
  explicit RowFinder(const TableFlows& tables);

  struct Found {
    const TableFlow* table = nullptr;  ///< null: there is none of that name
    const FlowRow* row = nullptr;      ///< null: no row has the NUMBER
    bool is_same = false;  ///< nothing told says that another row had the NUMBER when it ran
  };
  Found find(const Span& row) const;

 private:
  struct Table {
    const TableFlow* flow;
    std::map<std::uint32_t, const FlowRow*> rows;  // by NUMBER
  };

  std::map<std::string, Table> tables_;
};

/// How a table that is found has changed since `row` ran; empty: it has not.
std::string changeText(const RowFinder::Found& found, const Span& row);

/// That so many rows ran that are in no table `table`, empty for one whose name is not told.
std::string notFoundText(const std::string& table, std::uint64_t rows);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_ROW_FINDER_H_
