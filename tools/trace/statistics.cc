// SPDX-License-Identifier: Apache-2.0
#include "trace/statistics.h"

#include <algorithm>

#include "trace/request_summaries.h"

namespace kw::trx::tools {
namespace {

constexpr std::uint64_t kPercent = 100;

std::uint64_t less(std::uint64_t from, std::uint64_t part) { return from > part ? from - part : 0; }

Work workOf(const Span& span) {
  return span.isHAP() ? Work{{}, Command::kNone, span.name}
                      : Work{span.row, span.command, span.name};
}

}  // namespace

void Durations::add(std::uint64_t duration_ns) {
  min_ns_ = all_ns_.empty() ? duration_ns : std::min(min_ns_, duration_ns);
  max_ns_ = std::max(max_ns_, duration_ns);
  all_ns_.push_back(duration_ns);
  sum_ns_ += duration_ns;
}

void Durations::add(const Durations& others) {
  if (others.all_ns_.empty()) {
    return;
  }
  min_ns_ = all_ns_.empty() ? others.min_ns_ : std::min(min_ns_, others.min_ns_);
  max_ns_ = std::max(max_ns_, others.max_ns_);
  all_ns_.insert(all_ns_.end(), others.all_ns_.begin(), others.all_ns_.end());
  sum_ns_ += others.sum_ns_;
}

std::uint64_t Durations::quantile(unsigned int percent) const {
  if (percent == 0 || percent == kPercent || all_ns_.empty()) {
    return percent == 0 ? min_ns_ : max_ns_;
  }
  const std::uint64_t rank = (percent * std::uint64_t{all_ns_.size()} + kPercent - 1) / kPercent;
  const auto found = all_ns_.begin() + static_cast<std::ptrdiff_t>(rank - 1);
  std::nth_element(all_ns_.begin(), found, all_ns_.end());
  return *found;
}

void WorkFigures::add(const WorkFigures& others) {
  calls += others.calls;
  failures += others.failures;
  unfinished += others.unfinished;
  total.add(others.total);
  own.add(others.own);
  wait_ns += others.wait_ns;
  lock_ns += others.lock_ns;
  lock_wait_ns += others.lock_wait_ns;
}

Span spanOf(const Work& work) {
  Span span;
  span.kind = Span::Kind::kRow;
  span.row = work.row;
  span.command = work.command;
  span.name = work.name;
  span.was_called = !work.name.empty();
  return span;
}

std::string textOf(const Work& work) {
  if (work.isHAP()) {
    return "HAP " + work.name;
  }
  return rowText(work.row) + " (" + wordOf(work.command) +
         (work.name.empty() ? "" : ' ' + work.name) + ')';
}

std::vector<const Statistics::Entry*> Statistics::byOwnTime(bool haps) const {
  std::vector<const Entry*> entries;
  for (const Entry& entry : all_) {
    if (entry.first.isHAP() == haps) {
      entries.push_back(&entry);
    }
  }
  std::stable_sort(entries.begin(), entries.end(), [](const Entry* a, const Entry* b) {
    return a->second.own.sum() > b->second.own.sum();
  });
  return entries;
}

void Statistics::spanEnded(const Request&, const Span& span) {
  if (span.kind == Span::Kind::kTable) {
    return;
  }
  if (span.is_incomplete) {
    ++left_out_;
    return;
  }
  WorkFigures& figures = all_[workOf(span)];
  // What an exception interrupted was counted before.
  figures.calls += span.goes_on ? 0 : 1;
  figures.unfinished -= span.goes_on && figures.unfinished != 0 ? 1 : 0;
  if (span.failed()) {
    ++figures.failures;
    figures.last_failure = span.failure;
  }
  figures.wait_ns += span.wait_ns;
  figures.lock_ns += span.lock_ns;
  figures.lock_wait_ns += span.lock_wait_ns;
  if (!span.has_ended) {
    ++figures.unfinished;
    return;
  }
  // The wait of those that a called table ran lies in the time of the table.
  const std::uint64_t lock_wait_ns = span.isRowOf(Command::kTable) ? 0 : span.lock_wait_ns;
  figures.total.add(span.durationNs());
  figures.own.add(less(span.durationNs(), span.nested_ns + lock_wait_ns));
}

}  // namespace kw::trx::tools
