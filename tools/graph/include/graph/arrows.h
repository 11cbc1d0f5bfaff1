// SPDX-License-Identifier: Apache-2.0
// The tables of a picture and the arrows between their rows. Any thread.
#ifndef KW_TRX_TOOLS_GRAPH_ARROWS_H_
#define KW_TRX_TOOLS_GRAPH_ARROWS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "graph/graph.h"

namespace kw::trx::tools {

/// One way from a row to what follows it.
struct Arrow {
  enum class Kind {
    kNext,      ///< to the next row
    kError,     ///< to the row that a failure jumps to
    kErrorEnd,  ///< a failure ends the table
    kCall,      ///< to the table that the row calls
  };

  Kind kind = Kind::kNext;
  std::size_t from = 0;  ///< place of the row
  std::size_t to = 0;    ///< place of the next row or of that which is jumped to; else 0
  bool is_reached = true;
  std::optional<std::uint64_t> count;  ///< how often it was taken; none: not known
};

/// The names of the tables of a picture, each before those that it calls first.
std::vector<std::string> drawnTables(const Picture& picture);

/// The counts of the rows of a table; null: they are not known.
const std::vector<RowCounts>* countsOf(const Picture& picture, const std::string& table);

/// The arrows of a table in the order of its rows.
std::vector<Arrow> arrowsOf(const TableFlow& flow, const std::vector<RowCounts>* counts);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_GRAPH_ARROWS_H_
