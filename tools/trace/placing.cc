// SPDX-License-Identifier: Apache-2.0
#include "trace/placing.h"

namespace kw::trx::tools {
namespace {

/// So many records wait for the one that tells whose the oldest of them is.
constexpr std::size_t kMaxPending = 1000;

}  // namespace

void RecordPlacer::take(const Event& event, const Place& place) {
  const kw::platform::TraceRecord& record = *event.record;
  for (Pending& pending : pending_) {
    if (pending.record.process_id == record.process_id &&
        pending.record.thread_id == record.thread_id) {
      settle(pending, event, place);
    }
  }
  const bool awaits_call =
      awaits_calls_ && (event.kind == EventKind::kRowHAP || event.kind == EventKind::kRowTable);
  if (place.is_final && !awaits_call && pending_.empty()) {
    return on_record_(event, place, nullptr);
  }
  pending_.push_back({record, place, awaits_call, std::nullopt});
  handOn(kMaxPending);
}

/// Takes what the next event of the thread tells of the one that waits.
void RecordPlacer::settle(Pending& pending, const Event& event, const Place& place) {
  if (place.is_final && !pending.place.is_final) {
    pending.place = place;
  }
  const bool tells_call =
      event.kind == EventKind::kHAPStarted || event.kind == EventKind::kTableCalled;
  if (pending.awaits_call && tells_call) {
    pending.called = event.text();
  }
  pending.awaits_call = false;
}

/// Hands on in their order the records of which all is known; of the others the newest `max` wait.
void RecordPlacer::handOn(std::size_t max) {
  const auto is_known = [](const Pending& one) { return one.place.is_final && !one.awaits_call; };
  while (!pending_.empty() && (is_known(pending_.front()) || pending_.size() > max)) {
    const Pending& first = pending_.front();
    on_record_(eventOf(first.record), first.place, first.called ? &*first.called : nullptr);
    pending_.pop_front();
  }
}

}  // namespace kw::trx::tools
