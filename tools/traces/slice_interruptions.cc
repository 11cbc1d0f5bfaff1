// SPDX-License-Identifier: Apache-2.0
// Tables that are interrupted and go on.
#include <algorithm>

#include "traces/interruptions.h"
#include "traces/record_words.h"
#include "traces/slices.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// True when the records may end here, in a wait or with an exception that is not the engine's.
bool isInterrupted(const std::vector<Slice>& open) {
  if (open.empty()) {
    return false;
  }
  const Slice& last = open.back();
  const auto row = std::find_if(open.rbegin(), open.rend(),
                                [](const Slice& slice) { return slice.kind == Slice::Kind::kRow; });
  return isRowOf(last, trx::kCommandWait) ||
         (last.thrown && last.code == 0 && row != open.rend() && row->failed);
}

}  // namespace

/// Tables that are still open when a request ends were interrupted, and may go on later.
void SliceTracker::interrupt(Thread& thread) {
  std::vector<Slice> tables;
  for (std::size_t i = 0; i < thread.open.size(); ++i) {
    Slice& slice = thread.open[i];
    if (slice.kind == Slice::Kind::kRequest || slice.end_ns != 0 || slice.failed) {
      continue;
    }
    slice.cut = true;
    const bool calls = i + 1 < thread.open.size() && thread.open[i + 1].kind == Slice::Kind::kTable;
    if (slice.kind == Slice::Kind::kTable || isRowOf(slice, trx::kCommandWait) ||
        (slice.kind == Slice::Kind::kRow && calls)) {
      tables.push_back(slice);
      tables.back().end_ns = thread.last_ns;
    }
  }
  if (!tables.empty() && !thread.error_end && tables.front().kind == Slice::Kind::kTable) {
    interrupted_->add(thread.request, std::move(tables));
  }
}

void SliceTracker::resume(Thread& thread, const kw::platform::TraceRecord& record) {
  leaveInterrupted(thread, record.process_id);
  std::vector<Slice> slices = interrupted_->take(thread.request, textOf(record));
  if (slices.empty()) {
    return open(thread, record, Slice::Kind::kTable, textOf(record));
  }
  const std::uint64_t now_ns = std::max(thread.last_ns, record.time_ns);
  for (Slice& slice : slices) {
    slice.process_id = record.process_id;
    slice.thread_id = record.thread_id;
    slice.wait_ns = slice.lock_ns = slice.lock_wait_ns = slice.nested_ns = 0;
    slice.cut = false;
    slice.first_ns = slice.resumed ? slice.first_ns : slice.begin_ns;
    slice.resumed = true;
    const bool waited = isRowOf(slice, trx::kCommandWait);
    slice.begin_ns = waited ? std::min(slice.end_ns, now_ns) : now_ns;
    slice.end_ns = 0;
    thread.last_ns = now_ns;
    thread.shown = nullptr;
    thread.open.push_back(std::move(slice));
  }
}

/// A thread that a wait or an exception ended a request of the same id in may write no more: the
/// request goes on in another one.
void SliceTracker::leaveInterrupted(const Thread& resuming, std::uint32_t process_id) {
  for (auto& [id, thread] : threads_) {
    if (&thread != &resuming && id.first == process_id && thread.request == resuming.request &&
        isInterrupted(thread.open)) {
      closeAll(thread, false);
    }
  }
}

}  // namespace kw::trx::tools
