// SPDX-License-Identifier: Apache-2.0
#include "trace/request_summaries.h"

#include <algorithm>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

/// A ring made by hand may name any number of rows.
constexpr std::size_t kMaxRows = 4096;

}  // namespace

void RequestSummaries::spanEnded(const Request& request, const Span& span) {
  if (span.kind == Span::Kind::kTable) {
    return;
  }
  Running& running = running_[request.serial];
  if (!span.has_ended) {
    std::string& where = running.where;  // inner spans come first
    if (span.isRow()) {
      where = rowText(span.row) + (where.empty() ? "" : ", ") + where;
    } else if (where.empty()) {
      where = "HAP " + span.name;
    }
  }
  if (!span.isRow() || (running.rows.size() == kMaxRows && running.rows.count(span.row) == 0)) {
    return;
  }
  RowRuns& runs = running.rows[span.row];
  ++runs.runs;
  if (span.failed()) {
    ++runs.failures;
    runs.last = span.failure;
  }
}

void RequestSummaries::requestEnded(const Request& request) {
  RequestSummary summary{request, {}, {}, {}, 0, {}};
  const auto running = running_.find(request.serial);
  if (running != running_.end()) {
    if (request.ending == Ending::kOpen || request.ending == Ending::kWaits) {
      summary.where = running->second.where;
      addRounds(running->second, summary);
    }
    running_.erase(running);
  }
  on_request_(summary);
}

/// A table that goes round runs the same rows again and again.
void RequestSummaries::addRounds(const Running& running, RequestSummary& summary) {
  const auto max_of = [&running](std::uint64_t RowRuns::*count) {
    return std::max_element(
        running.rows.begin(), running.rows.end(),
        [count](const auto& a, const auto& b) { return a.second.*count < b.second.*count; });
  };
  const auto ran = max_of(&RowRuns::runs);
  if (ran != running.rows.end() && ran->second.runs > 1) {
    summary.often = rowText(ran->first) + " has run " + std::to_string(ran->second.runs) + " times";
  }
  const auto failed = max_of(&RowRuns::failures);
  if (failed != running.rows.end() && failed->second.failures > 1) {
    summary.repeated_row = failed->first;
    summary.repeated_times = failed->second.failures;
    summary.repeated = failed->second.last;
  }
}

std::string rowText(const RowId& row) {
  return "row " + (row.table.empty() ? kUnknownTable : row.table) + '/' + hexDigits(row.number);
}

std::string nameText(const Request& request) {
  if (request.name.empty()) {
    return request.isTable() ? "a table" : "a request";
  }
  std::string text = (request.isTable() ? "table " : "HAP ") + request.name;
  text += request.mode.empty() ? "" : ", mode " + request.mode;
  for (std::size_t i = 0; i < request.units.size(); ++i) {
    text += (i == 0 ? " on " : ", ") + request.units[i];
  }
  return text + (request.more_units ? " and others" : "");
}

}  // namespace kw::trx::tools
