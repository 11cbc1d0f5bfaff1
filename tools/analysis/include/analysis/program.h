// SPDX-License-Identifier: Apache-2.0
// Tables with their calls resolved.
#ifndef KW_TRX_TOOLS_ANALYSIS_PROGRAM_H_
#define KW_TRX_TOOLS_ANALYSIS_PROGRAM_H_

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "table/flow.h"

namespace kw::trx::tools {

constexpr int kAbsent = -1;

/// A row by its table and its place there.
using RowPlace = std::pair<int, std::size_t>;

struct ProgramTable {
  const TableFlow* flow = nullptr;
  std::vector<int> callees;   ///< by row the table that it calls; kAbsent: none that is loaded
  bool is_recursive = false;  ///< it can call itself, directly or through others
  std::vector<int>
      recursive_below;  ///< recursive tables that a run of it can get to, itself included
};

/// The tables in the order of their names.
struct Program {
  std::vector<ProgramTable> tables;

  const FlowRow& rowOf(int table, std::size_t row) const {
    return tables[static_cast<std::size_t>(table)].flow->rows[row];
  }
  int calleeOf(int table, std::size_t row) const {
    return tables[static_cast<std::size_t>(table)].callees[row];
  }

  /// The table of that name; kAbsent: there is none.
  int find(const std::string& name) const;
};

/// `flows` must outlive the result.
Program programOf(const TableFlows& flows);

/// `tables`, and all that these call, directly or through others.
std::set<int> withCallees(const Program& program, const std::vector<int>& tables);

/// The tables that hosts must be the ones to run: those that no other one calls, and of tables that
/// call each other all, when no further one calls them.
std::vector<int> entriesOf(const Program& program);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_PROGRAM_H_
