// SPDX-License-Identifier: Apache-2.0
#include "report/gathering.h"

#include <algorithm>
#include <tuple>

#include "coverage/graph_counts.h"
#include "report/bounds.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr std::size_t kLanesMost = 64;
constexpr std::size_t kBucketsMost = 256;

/// Spreads a request over the buckets that it was busy in.
void addTo(TimeBuckets<ThreadLoad>& load, const RequestSummary& request) {
  load.at(request.end_ns);  // from now on buckets are as wide as they have to be
  ThreadLoad& first = load.at(request.begin_ns);
  ++first.requests;
  first.failed += isFailure(request.end) ? 1 : 0;
  const std::uint64_t width_ns = load.widthNs();
  for (std::uint64_t at_ns = std::max(request.begin_ns, load.beginNs()); at_ns < request.end_ns;) {
    const std::uint64_t bucket_end_ns = at_ns + width_ns - (at_ns - load.beginNs()) % width_ns;
    const std::uint64_t until_ns = std::min(bucket_end_ns, request.end_ns);
    load.at(at_ns).busy_ns += until_ns - at_ns;
    at_ns = until_ns;
  }
}

}  // namespace

ReportGatherer::ReportGatherer(const TableFlows& tables, std::size_t rings) : tables_(tables) {
  const auto lock = std::make_shared<LockHistory>();
  for (std::size_t ring = 0; ring < rings; ++ring) {
    rings_.push_back(std::make_unique<Ring>(ring, *this, lock));
  }
}

void ReportGatherer::take(const TraceRecord& record, std::size_t ring) {
  begin_ns_ = records_ == 0 ? record.time_ns : std::min(begin_ns_, record.time_ns);
  end_ns_ = std::max(end_ns_, record.time_ns);
  ++records_;
  rings_[ring]->requests.take(record);
  rings_[ring]->rows.take(record);
}

void ReportGatherer::takeSlice(const Slice& slice, std::size_t ring) {
  statistics_.take(slice, ring);
}

void ReportGatherer::takeWhole(KeptRequest&& request, KeptRecords&& records,
                               std::uint64_t well_before_ns) {
  const auto kept = std::make_shared<const KeptRequest>(std::move(request));
  keeper_.take(kept);
  if (isFailure(kept->summary.end)) {
    failures_.take(kept, std::move(records), {begin_ns_, well_before_ns});
  }
}

void ReportGatherer::takeEnd(const RequestSummary& request, std::size_t ring) {
  ++counts_.all;
  switch (request.end) {
    case RequestEnd::kOk:
      ++counts_.ok;
      failures_.takeWell(request);
      break;
    case RequestEnd::kFailed:
      ++counts_.failed;
      break;
    case RequestEnd::kRefused:
      ++counts_.refused;
      break;
    case RequestEnd::kWaits:
      ++counts_.waits;
      break;
    default:
      ++counts_.open;
  }
  ThreadLane& lane = laneOf(request, ring);
  ++lane.requests;
  lane.failed += isFailure(request.end) ? 1 : 0;
  addTo(lane.load, request);
  const std::pair<bool, std::string> name{request.is_table, request.name};
  if (names_.size() == kNamesMost && names_.count(name) == 0) {
    ++other_names_;
    return;
  }
  NamedRequests& same = names_[name];
  same.is_table = request.is_table;
  same.name = request.name;
  same.failed += isFailure(request.end) ? 1 : 0;
  same.others += isFailure(request.end) || request.end == RequestEnd::kOk ? 0 : 1;
  same.durations.add(request.end_ns - request.begin_ns);
}

ThreadLane& ReportGatherer::laneOf(const RequestSummary& request, std::size_t ring) {
  ThreadId id{ring, request.process_id, request.thread_id};
  if (lanes_.size() >= kLanesMost && lanes_.count(id) == 0) {
    id = {0, 0, 0};
  }
  ThreadLane& lane = lanes_.emplace(id, ThreadLane(begin_ns_, kBucketsMost)).first->second;
  std::tie(lane.ring, lane.process_id, lane.thread_id) = id;
  return lane;
}

void ReportGatherer::finish(Report& report) {
  Coverage coverage;
  for (const auto& ring : rings_) {
    ring->requests.finish();
    report.threads += ring->requests.threads();
    merge(coverage, ring->rows.coverage());
    for (const auto& [table, rows] : ring->rows.unknown()) {
      report.unknown_rows[table] += rows;
    }
  }
  statistics_.finish();
  report.records = records_;
  report.begin_ns = begin_ns_;
  report.end_ns = end_ns_;
  report.requests = counts_;
  report.failures = failures_.taken();
  report.other_failures = failures_.others();
  std::vector<KeptRequestPtr> told;
  for (const FailureGroup& group : report.failures) {
    told.push_back(group.last);
  }
  report.kept = keeper_.taken(told);
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
  report.statistics = std::move(statistics_);
  report.counts = graphCountsOf(tables_, coverage);
}

}  // namespace kw::trx::tools
