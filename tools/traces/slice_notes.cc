// SPDX-License-Identifier: Apache-2.0
// What records tell of slices that are open: failures, and the exclusion semaphore.
#include <algorithm>

#include "kw/trx/errors.h"
#include "traces/record_words.h"
#include "traces/slices.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

constexpr char kCodeWord[] = "code";

}  // namespace

/// That a HAP or row has failed. What follows inside of a HAP that was left tells of its caller.
void SliceTracker::noteFailure(Thread& thread, const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kHAPErrRequest.id:
      return noteReturn(thread, false, false, 0);
    case trx::kHAPErrCodeOnly.id:
    case trx::kHAPErrDetail.id:
    case trx::kHAPErrAPI.id:
      if (Slice* const failed = lastReturned(thread)) {
        failed->code = wordOf(record, kCodeWord, 0);
      }
      return;
    case trx::kHAPExecNoKey.id:
    case trx::kHAPExecNoModule.id:
    case trx::kHAPExecUnresolved.id:
      return noteReturn(thread, true, false, trx::kRecordUndefinedHAP);
    case trx::kHAPExecNestLimit.id:
      return noteReturn(thread, true, false, trx::kCodeHAPFailed);
    case trx::kHAPExecLockFailed.id:
      return noteReturn(thread, true, false, trx::kCodeLock);
    case trx::kHAPExecUnlockFailed.id:
      return noteReturn(thread, true, false, trx::kCodeUnlock);
    case trx::kHAPExecThrew.id:
      return noteReturn(thread, true, true, wordOf(record, kCodeWord, 0));
    case trx::kHAPExecForeignException.id:
      return noteReturn(thread, true, true, 0);
    case trx::kCmdHAPNop.id:
    case trx::kCmdHAPStack.id:
    case trx::kCmdHAPJump.id:
    case trx::kCmdHAPStop.id:
    case trx::kCmdHAPForeignException.id:
    case trx::kCmdCheckJump.id:
    case trx::kCmdCheckStop.id:
      return noteRowFailure(thread, wordOf(record, kCodeWord, 0));
    default:
      return;
  }
}

/// The HAP that was left last: of those that were, the outermost. Null: none was.
Slice* SliceTracker::lastReturned(Thread& thread) {
  Slice* last = nullptr;
  for (auto slice = thread.open.rbegin();
       slice != thread.open.rend() && slice->kind == Slice::Kind::kHAP && slice->end_ns != 0;
       ++slice) {
    last = &*slice;
  }
  return last;
}

/// The innermost HAP that still ran has failed; `left`: by an exception, so that no end of it is
/// told.
void SliceTracker::noteReturn(Thread& thread, bool left, bool thrown, std::uint32_t code) {
  const auto running = std::find_if(
      thread.open.rbegin(), thread.open.rend(),
      [](const Slice& slice) { return slice.kind != Slice::Kind::kHAP || slice.end_ns == 0; });
  if (running == thread.open.rend() || running->kind != Slice::Kind::kHAP) {
    return;
  }
  running->end_ns = thread.last_ns;
  running->left = left;
  running->failed = true;
  running->thrown = thrown;
  running->code = code;
}

/// The code of its HAP tells more than that of the exception.
void SliceTracker::noteRowFailure(Thread& thread, std::uint32_t code) {
  for (auto slice = thread.open.rbegin(); slice != thread.open.rend(); ++slice) {
    if (slice->kind == Slice::Kind::kRow) {
      slice->failed = true;
      slice->code = slice->code == 0 ? code : slice->code;
      return;
    }
    if (slice->kind != Slice::Kind::kHAP) {
      return;
    }
    code = slice->failed ? slice->code : code;
  }
}

/// The outermost HAP takes the semaphore. Whoever gave it back while this one waited had it before.
void SliceTracker::noteLock(Thread& thread, const kw::platform::TraceRecord& record) {
  if (record.id == trx::kLockTake.id) {
    thread.lock_since_ns = thread.last_ns;
    if (lock_->last_give_back_ns > thread.last_ns) {
      lock_->last_give_back_ns = 0;  // by a clock that was put back since
    }
    return;
  }
  const bool failed = record.id == trx::kHAPExecLockFailed.id;
  if (thread.lock_since_ns == 0 || (record.id != trx::kLockGiveBack.id && !failed)) {
    return;
  }
  const std::uint64_t had_it_ns = failed ? thread.last_ns : lock_->last_give_back_ns;
  const auto hap = std::find_if(thread.open.begin(), thread.open.end(), [](const Slice& slice) {
    return slice.kind == Slice::Kind::kHAP && slice.end_ns == 0;
  });
  if (hap != thread.open.end()) {
    hap->lock_ns = thread.last_ns - thread.lock_since_ns;
    hap->lock_wait_ns = had_it_ns > thread.lock_since_ns
                            ? std::min(had_it_ns, thread.last_ns) - thread.lock_since_ns
                            : 0;
  }
  if (!failed) {
    lock_->last_give_back_ns = std::max(lock_->last_give_back_ns, thread.last_ns);
  }
  thread.lock_since_ns = 0;
}

}  // namespace kw::trx::tools
