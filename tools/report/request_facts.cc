// SPDX-License-Identifier: Apache-2.0
#include "report/request_facts.h"

#include <algorithm>
#include <map>
#include <utility>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kChangesMost = 5;

}  // namespace

std::vector<std::string> changesSince(const KeptRequest& request, const RowFinder& finder) {
  std::vector<std::string> changes;
  if (request.summary.damaged) {
    return changes;
  }
  for (const Slice& slice : request.slices) {
    if (slice.doubtful) {
      return {};
    }
    if (slice.kind != Slice::Kind::kRow || changes.size() == kChangesMost) {
      continue;
    }
    const TracedRow ran = tracedRowOf(slice);
    const std::string change = changeText(finder.find(ran), ran);
    if (!change.empty() && std::find(changes.begin(), changes.end(), change) == changes.end()) {
      changes.push_back(change);
    }
  }
  return changes;
}

std::optional<LongestRow> longestRowOf(const KeptRequest& request) {
  std::map<std::pair<std::string, std::uint32_t>, LongestRow> rows;
  std::optional<LongestRow> longest;
  for (const Slice& slice : request.slices) {
    if (slice.kind != Slice::Kind::kRow) {
      continue;
    }
    LongestRow& row = rows[{slice.table, slice.row}];
    const std::uint64_t all_ns = slice.end_ns - slice.begin_ns;
    row.time_ns += all_ns - std::min(all_ns, slice.nested_ns);
    ++row.runs;
    row = {slice.table, hexDigits(slice.row), slice.command, slice.name, row.runs, row.time_ns};
    if (!longest || row.time_ns > longest->time_ns) {
      longest = row;
    }
  }
  return longest;
}

}  // namespace kw::trx::tools
