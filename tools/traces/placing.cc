// SPDX-License-Identifier: Apache-2.0
#include "traces/placing.h"

#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// So many records wait for the one that tells whose the oldest of them is.
constexpr std::size_t kPendingMost = 1000;

}  // namespace

void RecordPlacer::take(const kw::platform::TraceRecord& record, const SliceTracker::Place& place) {
  const bool placed = record.id != trx::kTrxHAPName.id && record.id != trx::kTrxHAPMode.id &&
                      record.id != trx::kTrxHAPUnit.id;
  for (Pending& pending : pending_) {
    if (placed && !pending.placed && pending.record.process_id == record.process_id &&
        pending.record.thread_id == record.thread_id) {
      pending.place = place;
      pending.placed = true;
    }
  }
  if (placed && pending_.empty()) {
    return on_record_(record, place);
  }
  pending_.push_back({record, place, placed});
  handOn(kPendingMost);
}

/// Hands on in their order the records whose place is known; of the others the newest `most` wait.
void RecordPlacer::handOn(std::size_t most) {
  while (!pending_.empty() && (pending_.front().placed || pending_.size() > most)) {
    on_record_(pending_.front().record, pending_.front().place);
    pending_.pop_front();
  }
}

}  // namespace kw::trx::tools
