// SPDX-License-Identifier: Apache-2.0
#include "report/request_follower.h"

#include "report/bounds.h"
#include "traces/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

/// The first record of a request.
void note(KeptRecords& records, const TraceRecord& record) {
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

RequestFollower::RequestFollower(std::size_t ring, RequestSink& sink,
                                 const std::shared_ptr<LockHistory>& lock)
    : ring_(ring),
      sink_(sink),
      tracker_([this](const Slice& slice) { noteSlice(slice); }, lock),
      summaries_([this](const RequestSummary& request) { noteEnd(request); }) {}

void RequestFollower::take(const TraceRecord& record) {
  Thread& thread = threads_[{record.process_id, record.thread_id}];
  record_ = &record;
  if (!beginsRequest(record)) {
    note(thread.records, record);
  }
  tracker_.take(record);
  summaries_.take(record);
  if (beginsRequest(record)) {
    close(thread);
    thread = Thread();
    note(thread.records, record);
  }
  if (record.id == trx::kTrxHAPName.id || record.id == trx::kTrxTableName.id) {
    thread.well_before_ns = sink_.wellNs(record.id == trx::kTrxTableName.id, textOf(record));
  }
  record_ = nullptr;
}

void RequestFollower::finish() {
  tracker_.finish();
  summaries_.finish();
  for (auto& thread : threads_) {
    close(thread.second);
  }
}

void RequestFollower::noteSlice(const Slice& slice) {
  sink_.takeSlice(slice, ring_);
  Thread& thread = threads_[{slice.process_id, slice.thread_id}];
  if (slice.kind == Slice::Kind::kRequest) {
    return;
  }
  if (thread.slices.size() == kSlicesOfRequest) {
    thread.slices.erase(thread.slices.begin(), thread.slices.begin() + kSlicesOfRequest / 2);
    thread.slices_left_out += kSlicesOfRequest / 2;
  }
  thread.slices.push_back(slice);
}

void RequestFollower::noteEnd(const RequestSummary& request) {
  sink_.takeEnd(request, ring_);
  if (record_ != nullptr && tellsOfRefusal(*record_)) {
    KeptRecords records;
    records.first.push_back(*record_);
    return sink_.takeWhole({ring_, request, {}, 0}, std::move(records), 0);
  }
  Thread& thread = threads_[{request.process_id, request.thread_id}];
  close(thread);
  thread.ended = request;
}

/// Hands on the request that has ended. Its slices have, too: those of a failed HAP end when its
/// thread goes on to something else.
void RequestFollower::close(Thread& thread) {
  if (!thread.ended) {
    return;
  }
  Thread done = std::move(thread);
  thread = Thread();
  std::deque<TraceRecord>& last = done.records.last;
  while (!last.empty() && last.back().time_ns > done.ended->end_ns) {
    last.pop_back();
  }
  sink_.takeWhole({ring_, std::move(*done.ended), std::move(done.slices), done.slices_left_out},
                  std::move(done.records), done.well_before_ns);
}

}  // namespace kw::trx::tools
