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
  if (request.request().is_incomplete) {
    return changes;
  }
  for (const Span& span : request.spans) {
    if (span.is_incomplete) {
      return {};
    }
    if (!span.isRow() || changes.size() == kChangesMost) {
      continue;
    }
    const std::string change = changeText(finder.find(span), span);
    if (!change.empty() && std::find(changes.begin(), changes.end(), change) == changes.end()) {
      changes.push_back(change);
    }
  }
  return changes;
}

std::optional<LongestRow> longestRowOf(const KeptRequest& request) {
  std::map<RowId, LongestRow> rows;
  std::optional<LongestRow> longest;
  for (const Span& span : request.spans) {
    if (!span.isRow()) {
      continue;
    }
    LongestRow& row = rows[span.row];
    const std::uint64_t all_ns = span.durationNs();
    row.time_ns += all_ns - std::min(all_ns, span.nested_ns);
    ++row.runs;
    row = {span.row, span.command, span.name, row.runs, row.time_ns};
    if (!longest || row.time_ns > longest->time_ns) {
      longest = row;
    }
  }
  return longest;
}

}  // namespace kw::trx::tools
