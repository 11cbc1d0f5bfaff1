// SPDX-License-Identifier: Apache-2.0
// What became slower or fails more between two traces. Any thread.
#ifndef KW_TRX_TOOLS_TRACE_CHANGES_H_
#define KW_TRX_TOOLS_TRACE_CHANGES_H_

#include <cstddef>
#include <string>
#include <vector>

#include "trace/statistics.h"

namespace kw::trx::tools {

struct Change {
  enum class Kind { kSlower, kFailsMore, kFaster, kFailsLess, kNew, kGone };

  Kind kind;
  Work work;
  const WorkFigures* before = nullptr;  ///< null: it did not run
  const WorkFigures* now = nullptr;
};

/// The changes from `before` to `now`, both of which must outlive them; the worst ones first, a HAP
/// before the rows that call it.
/// Slower: the median of its own time grew by half or more and by 50 microseconds or more; of
/// several hundred calls on both sides the 99th percentile counts too. Fails more: the share of
/// failures grew by half or more, or from none.
std::vector<Change> changesBetween(const Statistics& before, const Statistics& now);

/// How many HAPs and rows no change tells of.
struct Unchanged {
  std::size_t haps = 0, rows = 0;
  /// Of these no run has ended on one side, so that their times cannot be compared.
  std::size_t unended_haps = 0, unended_rows = 0;
};

/// Counts what `changes`, those from `before` to `now`, leave out.
Unchanged unchangedBetween(const Statistics& before, const Statistics& now,
                           const std::vector<Change>& changes);

/// True for those that are for the worse.
bool isWorse(Change::Kind kind);

/// The kind in words, such as "fails more".
const char* nameOf(Change::Kind kind);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_CHANGES_H_
