// SPDX-License-Identifier: Apache-2.0
#include "trace/live_view.h"

#include <algorithm>

#include "common/times.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxFailures = 100;
constexpr std::size_t kMaxNames = 1000;
constexpr std::size_t kMaxDurations = 99;  // of one name
constexpr std::size_t kMaxRecent = 1000000;

LiveRequest liveOf(const OpenRequest& open) {
  LiveRequest live;
  live.request = open.request();
  live.since_ns = live.request.start_ns;
  live.waits = open.isWaiting();
  live.wants_lock = open.wantsLock();
  live.has_lock = open.hasLock();
  for (const Span& span : open.spans()) {
    if (span.kind == Span::Kind::kTable || span.end_ns != 0) {
      continue;
    }
    live.since_ns = span.start_ns;
    live.hap = span.isHAP() ? span.name : "";
    if (span.isRow()) {
      live.row = span.row;
    }
  }
  return live;
}

}  // namespace

LiveView::LiveView(CodeMeaning meaning)
    : RequestSummaries([this](const RequestSummary& summary) { take(summary); }),
      meaning_(std::move(meaning)) {}

/// Without an end a request was cut off when its ring was made anew.
void LiveView::take(const RequestSummary& summary) {
  const Request& request = summary.request;
  if (request.ending == Ending::kOpen || request.ending == Ending::kWaits) {
    return;
  }
  ++ended_;
  failed_ += request.hasFailed() ? 1 : 0;
  recent_.emplace_back(request.end_ns, request.hasFailed());
  if (recent_.size() > kMaxRecent) {
    recent_.pop_front();
  }
  if (request.hasFailed()) {
    failures_.push_front({request.end_ns, nameText(request), outcomeText(summary, meaning_)});
    failures_.resize(std::min(failures_.size(), kMaxFailures));
    return;
  }
  const Name name{request.kind, request.name};
  if (durations_ns_.size() < kMaxNames || durations_ns_.count(name) != 0) {
    std::deque<std::uint64_t>& durations_ns = durations_ns_[name];
    durations_ns.push_back(request.durationNs());
    if (durations_ns.size() > kMaxDurations) {
      durations_ns.pop_front();
    }
  }
}

std::uint64_t LiveView::usualNs(const Request& request) const {
  const auto found = durations_ns_.find({request.kind, request.name});
  if (found == durations_ns_.end()) {
    return 0;
  }
  std::vector<std::uint64_t> sorted(found->second.begin(), found->second.end());
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  return *middle;
}

std::vector<LiveRequest> LiveView::running(const RequestReader& reader) const {
  std::vector<LiveRequest> all;
  for (std::size_t ring = 0; ring < reader.rings(); ++ring) {
    for (const OpenRequest* const open : reader.builder(ring).running()) {
      if (open->state() == OpenRequest::State::kRuns) {
        all.push_back(liveOf(*open));
        all.back().usual_ns = usualNs(all.back().request);
      }
    }
  }
  std::stable_sort(all.begin(), all.end(), [](const LiveRequest& a, const LiveRequest& b) {
    return a.request.start_ns < b.request.start_ns;
  });
  return all;
}

std::pair<std::size_t, std::size_t> LiveView::perSecond(std::uint64_t now_ns) {
  while (!recent_.empty() && recent_.front().first + kNanosPerSecond < now_ns) {
    recent_.pop_front();
  }
  const auto failed =
      std::count_if(recent_.begin(), recent_.end(), [](const auto& one) { return one.second; });
  return {recent_.size(), static_cast<std::size_t>(failed)};
}

}  // namespace kw::trx::tools
