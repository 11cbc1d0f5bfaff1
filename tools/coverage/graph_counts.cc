// SPDX-License-Identifier: Apache-2.0
#include "coverage/graph_counts.h"

#include "common/paths.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

bool goesOnAfterFailure(const FlowRow& row) {
  return row.command == trx::kCommandHAP && row.jump < 0 && !row.error.empty();
}

std::vector<RowCounts> countsOf(const TableFlow& flow, const FileCoverage& file) {
  std::vector<RowCounts> counts(flow.rows.size());
  for (std::size_t at = 0; at < counts.size(); ++at) {
    const FlowRow& row = flow.rows[at];
    const auto line = file.find(row.line());
    if (line == file.end()) {
      continue;
    }
    counts[at].runs = counts[at].onward = line->second.runs;
    if (line->second.branches) {
      const auto& [well, badly] = *line->second.branches;
      counts[at].onward = well + (goesOnAfterFailure(row) ? badly : 0);
      counts[at].errors = goesOnAfterFailure(row) ? 0 : badly;
    }
  }
  return counts;
}

/// A called table may not come back: what goes on behind a TABLE row is what runs there and did not
/// jump there.
void countReturns(const TableFlow& flow, std::vector<RowCounts>& counts) {
  std::vector<std::uint64_t> jumps(counts.size());
  for (std::size_t at = 0; at < counts.size(); ++at) {
    if (flow.rows[at].jump >= 0) {
      jumps[static_cast<std::size_t>(flow.rows[at].jump)] += counts[at].errors;
    }
  }
  for (std::size_t at = 0; at + 1 < counts.size(); ++at) {
    if (flow.rows[at].command == trx::kCommandTable) {
      counts[at].onward =
          counts[at + 1].runs > jumps[at + 1] ? counts[at + 1].runs - jumps[at + 1] : 0;
    }
  }
}

}  // namespace

GraphCounts graphCountsOf(const TableFlows& tables, const Coverage& coverage) {
  GraphCounts counts;
  for (const auto& [name, flow] : tables) {
    const auto file = coverage.find(absolutePath(flow.file));
    if (file != coverage.end()) {
      counts[name] = countsOf(flow, file->second);
      countReturns(flow, counts[name]);
    }
  }
  return counts;
}

}  // namespace kw::trx::tools
