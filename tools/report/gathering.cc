// SPDX-License-Identifier: Apache-2.0
#include "report/gathering.h"

#include <algorithm>
#include <tuple>

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr std::size_t kMaxLanes = 64;
constexpr std::size_t kMaxBuckets = 256;

/// Spreads a part of a request over the buckets that it was busy in.
void addTo(TimeBuckets<ThreadLoad>& load, const Request::Part& part) {
  load.at(part.end_ns);  // from now on buckets are as wide as they have to be
  const std::uint64_t width_ns = load.widthNs();
  for (std::uint64_t at_ns = std::max(part.start_ns, load.startNs()); at_ns < part.end_ns;) {
    const std::uint64_t bucket_end_ns = at_ns + width_ns - (at_ns - load.startNs()) % width_ns;
    const std::uint64_t until_ns = std::min(bucket_end_ns, part.end_ns);
    load.at(at_ns).busy_ns += until_ns - at_ns;
    at_ns = until_ns;
  }
}

/// Adds a further record of a request.
void add(KeptRecords& records, const TraceRecord& record) {
  if (records.first.size() < kFirstRecords) {
    records.first.push_back(record);
    return;
  }
  records.last.push_back(record);
  if (records.last.size() > kLastRecords) {
    records.last.pop_front();
    ++records.left_out;
  }
}

}  // namespace

void ReportGatherer::Figures::spanEnded(const Request& request, const Span& span) {
  statistics.spanEnded(request, span);
  rows.spanEnded(request, span);
}

ReportGatherer::ReportGatherer(const TableFlows& tables, const RequestFilter& filter)
    : RequestSummaries([this](const RequestSummary& summary) { addSummary(summary); }),
      tables_(tables),
      filter_(filter),
      figures_(tables),
      filtered_(filter, figures_) {}

void ReportGatherer::recordTaken(const Request& request, const TraceRecord& record) {
  start_ns_ = start_ns_ == 0 ? record.time_ns : std::min(start_ns_, record.time_ns);
  add(running_[request.serial].records, record);
}

void ReportGatherer::requestJoined(const Request& request, std::uint64_t fresh) {
  for (const TraceRecord& record : running_[fresh].records.first) {
    add(running_[request.serial].records, record);
  }
  running_.erase(fresh);
}

void ReportGatherer::spanEnded(const Request& request, const Span& span) {
  filtered_.spanEnded(request, span);
  RequestSummaries::spanEnded(request, span);
  Running& running = running_[request.serial];
  if (running.spans.size() == kMaxSlices) {
    running.spans.erase(running.spans.begin(), running.spans.begin() + kMaxSlices / 2);
    running.spans_left_out += kMaxSlices / 2;
  }
  running.spans.push_back(span);
}

void ReportGatherer::requestEnded(const Request& request) {
  filtered_.requestEnded(request);
  RequestSummaries::requestEnded(request);
}

void ReportGatherer::addSummary(const RequestSummary& summary) {
  const Request& request = summary.request;
  Running running = std::move(running_[request.serial]);
  running_.erase(request.serial);
  const auto no_meaning = [](const std::string&, std::uint32_t) { return std::string(); };
  if (!filter_.takes(request, filter_.text.empty() ? "" : outcomeText(summary, no_meaning))) {
    return;
  }
  count(request);
  if (running.records.first.empty()) {
    running.records.first.push_back(request.last);
  }
  const auto kept = std::make_shared<const KeptRequest>(
      KeptRequest{summary, std::move(running.spans), running.spans_left_out});
  keeper_.add(kept);
  if (request.hasFailed()) {
    failures_.add(kept, std::move(running.records), start_ns_);
  } else if (request.ending == Ending::kSucceeded) {
    failures_.addSuccess(request);
  }
}

void ReportGatherer::count(const Request& request) {
  ++counts_[request.ending];
  const bool succeeded = request.ending == Ending::kSucceeded;
  ThreadLoad& load = laneOf(request, request.thread_id).load.at(request.start_ns);
  ++load.requests;
  load.failed += request.hasFailed() ? 1 : 0;
  for (const Request::Part& part : request.parts) {
    addTo(laneOf(request, part.thread_id).load, part);
  }
  const std::pair<Request::Kind, std::string> name{request.kind, request.name};
  if (names_.size() == kMaxNames && names_.count(name) == 0) {
    ++other_names_;
    return;
  }
  NamedRequests& same = names_[name];
  same.kind = request.kind;
  same.name = request.name;
  same.failed += request.hasFailed() ? 1 : 0;
  same.others += request.hasFailed() || succeeded ? 0 : 1;
  same.durations.add(request.durationNs());
}

ThreadLane& ReportGatherer::laneOf(const Request& request, std::uint32_t thread_id) {
  ThreadId id{request.ring, request.process_id, thread_id};
  if (lanes_.size() >= kMaxLanes && lanes_.count(id) == 0) {
    id = {0, 0, 0};
  }
  ThreadLane& lane = lanes_.emplace(id, ThreadLane(start_ns_, kMaxBuckets)).first->second;
  std::tie(lane.ring, lane.process_id, lane.thread_id) = id;
  return lane;
}

void ReportGatherer::finish(Report& report) {
  report.unknown_rows = figures_.rows.unknown();
  report.left_out_runs = figures_.statistics.leftOut();
  report.requests = counts_;
  report.failures = failures_.groups();
  report.other_failures = failures_.others();
  std::vector<KeptRequestPtr> last_failures;
  for (const FailureGroup& group : report.failures) {
    last_failures.push_back(group.last);
  }
  report.kept = keeper_.requests(last_failures);
  for (auto& lane : lanes_) {
    report.lanes.push_back(std::move(lane.second));
  }
  for (auto& name : names_) {
    report.names.push_back(std::move(name.second));
  }
  std::stable_sort(report.names.begin(), report.names.end(),
                   [](const NamedRequests& a, const NamedRequests& b) {
                     return a.failed != b.failed ? a.failed > b.failed
                                                 : a.durations.count() > b.durations.count();
                   });
  report.other_names = other_names_;
  report.statistics = std::move(figures_.statistics);
  report.counts = graphCountsOf(tables_, figures_.rows.coverage());
}

}  // namespace kw::trx::tools
