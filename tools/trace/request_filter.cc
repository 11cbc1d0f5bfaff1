// SPDX-License-Identifier: Apache-2.0
#include "trace/request_filter.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxItems = 20000;  // of one request

bool hasText(const Request& request, const std::string& outcome, const std::string& text) {
  const auto has = [&text](const std::string& shown) {
    return shown.find(text) != std::string::npos;
  };
  return has(request.name) || has(request.mode) || has(outcome) ||
         std::any_of(request.units.begin(), request.units.end(), has);
}

}  // namespace

bool RequestFilter::takesAll() const {
  return !since_ns && !until_ns && process == 0 && thread == 0 && !request && !failed &&
         min_start_ns == 0 && text.empty();
}

bool RequestFilter::takes(const Request& one, const std::string& outcome) const {
  const bool of_thread = thread == 0 || std::any_of(one.parts.begin(), one.parts.end(),
                                                    [this](const Request::Part& part) {
                                                      return part.thread_id == thread;
                                                    });
  return one.start_ns >= min_start_ns && !(since_ns && one.end_ns < *since_ns) &&
         !(until_ns && one.start_ns > *until_ns) && (process == 0 || process == one.process_id) &&
         of_thread && request.value_or(one.id) == one.id &&
         (request_number == 0 || request_number == one.number) && (!failed || one.hasFailed()) &&
         (text.empty() || hasText(one, outcome, text));
}

FilteredRequests::FilteredRequests(const RequestFilter& filter, RequestListener& next)
    : filter_(filter),
      takes_all_(filter.takesAll()),
      next_(next),
      summaries_([this](const RequestSummary& summary) { handOn(summary); }) {}

void FilteredRequests::rowStarted(const Request& request, const Span& row) {
  takes_all_ ? next_.rowStarted(request, row) : keep(request, true, row);
}

void FilteredRequests::spanEnded(const Request& request, const Span& span) {
  if (takes_all_) {
    return next_.spanEnded(request, span);
  }
  summaries_.spanEnded(request, span);
  keep(request, false, span);
}

void FilteredRequests::requestEnded(const Request& request) {
  if (takes_all_) {
    ++taken_;
    return next_.requestEnded(request);
  }
  summaries_.requestEnded(request);
}

void FilteredRequests::keep(const Request& request, bool starts, const Span& span) {
  std::vector<Item>& items = kept_[request.serial];
  if (items.size() == kMaxItems) {
    items.erase(items.begin(), items.begin() + kMaxItems / 2);
  }
  items.push_back({starts, span});
}

void FilteredRequests::handOn(const RequestSummary& summary) {
  const Request& request = summary.request;
  const auto no_meaning = [](const std::string&, std::uint32_t) { return std::string(); };
  if (filter_.takes(request, filter_.text.empty() ? "" : outcomeText(summary, no_meaning))) {
    ++taken_;
    for (const Item& item : kept_[request.serial]) {
      item.starts ? next_.rowStarted(request, item.span) : next_.spanEnded(request, item.span);
    }
    next_.requestEnded(request);
  }
  kept_.erase(request.serial);
}

}  // namespace kw::trx::tools
