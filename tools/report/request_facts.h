// SPDX-License-Identifier: Apache-2.0
// What stands out in a kept request. Any thread.
#ifndef KW_TRX_TOOLS_REPORT_REQUEST_FACTS_H_
#define KW_TRX_TOOLS_REPORT_REQUEST_FACTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/report.h"
#include "tables/row_finder.h"

namespace kw::trx::tools {

/// How tables have changed since the request ran, in words as `changeText` has them, each once and
/// the first few alone. None for a request of whose records some are missing or damaged: a damaged
/// record looks like another row.
std::vector<std::string> changesSince(const KeptRequest& request, const RowFinder& finder);

/// A row of a request with the time that its runs took together.
struct LongestRow {
  RowId row;
  Command command = Command::kNone;
  std::string name;
  std::uint64_t runs = 0;
  std::uint64_t time_ns = 0;  ///< without that of tables which it called
};

/// The row that took most time, of the spans that are kept; none when no row is.
std::optional<LongestRow> longestRowOf(const KeptRequest& request);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_REQUEST_FACTS_H_
