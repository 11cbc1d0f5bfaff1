// SPDX-License-Identifier: Apache-2.0
#include "traces/placing.h"

#include "traces/record_words.h"
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
    if (pending.record.process_id == record.process_id &&
        pending.record.thread_id == record.thread_id) {
      settle(pending, record, place, placed);
    }
  }
  const bool awaits_call =
      awaits_calls_ && (record.id == trx::kCmdHAP.id || record.id == trx::kCmdTable.id);
  if (placed && !awaits_call && pending_.empty()) {
    return on_record_(record, place, nullptr);
  }
  pending_.push_back({record, place, placed, awaits_call, std::nullopt});
  handOn(kPendingMost);
}

/// Takes what the next `record` of the thread tells of the one that waits.
void RecordPlacer::settle(Pending& pending, const kw::platform::TraceRecord& record,
                          const SliceTracker::Place& place, bool placed) {
  if (placed && !pending.placed) {
    pending.place = place;
    pending.placed = true;
  }
  const bool tells_call = record.id == trx::kHAPExecNested.id || record.id == trx::kCmdTableName.id;
  if (pending.awaits_call && tells_call) {
    pending.called = textOf(record);
  }
  pending.awaits_call = false;
}

/// Hands on in their order the records of which all is known; of the others the newest `most` wait.
void RecordPlacer::handOn(std::size_t most) {
  const auto is_known = [](const Pending& one) { return one.placed && !one.awaits_call; };
  while (!pending_.empty() && (is_known(pending_.front()) || pending_.size() > most)) {
    const Pending& first = pending_.front();
    on_record_(first.record, first.place, first.called ? &*first.called : nullptr);
    pending_.pop_front();
  }
}

}  // namespace kw::trx::tools
