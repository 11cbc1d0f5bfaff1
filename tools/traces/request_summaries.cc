// SPDX-License-Identifier: Apache-2.0
#include "traces/request_summaries.h"

#include <algorithm>

#include "common/text.h"
#include "kw/trx/errors.h"
#include "traces/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr std::size_t kUnitsMost = 8;

/// The request is over, though its slice is not.
bool isEnd(const TraceRecord& record) {
  return record.id == trx::kTrxHAPStopped.id || record.id == trx::kTrxNoModule.id ||
         record.id == trx::kTrxNoAPI.id || record.id == trx::kTrxHAPForeignException.id ||
         record.id == trx::kTrxTableForeignException.id;
}

/// The host has gone on: none of these is written while a request runs, which would wait for ever.
bool isBehindRequests(const TraceRecord& record) {
  return record.id == trx::kTrxLoadEntered.id || record.id == trx::kTrxSetAPI.id;
}

std::string nameAt(const SliceTracker::Place& place, Slice::Kind kind) {
  const Slice* const slice = innermost(place, kind);
  return slice == nullptr ? std::string() : slice->name;
}

void addUnit(RequestSummary& summary, const std::string& unit) {
  const auto& units = summary.units;
  if (std::find(units.begin(), units.end(), unit) != units.end()) {
    return;
  }
  if (units.size() == kUnitsMost) {
    summary.more_units = true;
  } else {
    summary.units.push_back(unit);
  }
}

/// True when an exception with this code only passes on the failure of a HAP inside of the one that
/// threw.
bool passesOn(const std::optional<RequestFailure>& inner, std::uint32_t code) {
  return inner && (code == trx::kCodeHAPFailed || code == inner->code);
}

}  // namespace

RequestSummaries::RequestSummaries(OnRequest on_request)
    : on_request_(std::move(on_request)),
      tracker_([this](const Slice& slice) { noteSlice(slice); }) {}

void RequestSummaries::noteSlice(const Slice& slice) {
  const Thread thread = {slice.process_id, slice.thread_id};
  slice_ended_ = slice_ended_ || (slice.kind == Slice::Kind::kRequest && thread == taken_of_);
  const auto running = threads_.find(thread);
  if (slice.kind == Slice::Kind::kRow && running != threads_.end()) {
    RowRuns& runs = running->second.runs[rowText(slice.table, hexDigits(slice.row))];
    ++runs.runs;
    if (slice.failed) {
      ++runs.failures;
      runs.table = slice.table;
      runs.row = hexDigits(slice.row);
      runs.hap = slice.name;
      runs.code = slice.code;
    }
  }
}

void RequestSummaries::take(const TraceRecord& record) {
  taken_of_ = {record.process_id, record.thread_id};
  Running& running = threads_[taken_of_];
  slice_ended_ = false;
  const SliceTracker::Place place = tracker_.take(record);
  if (beginsRequest(record)) {
    close(running, true);
    begin(running, record);
  } else if (tellsOfRefusal(record)) {
    return refuse(record);
  } else if (isBehindRequests(record)) {
    return close(running, true);
  } else if (!running.open && rowCommandOf(record) != nullptr) {
    begin(running, record);
    running.summary.begin_lost = running.summary.is_table = true;
  }
  if (record.id == trx::kDriverResume.id) {
    closeWaiting(place.request);
  }
  if (!running.open || record.id == trx::kTrxInstance.id) {
    return;
  }
  RequestSummary& summary = running.summary;
  summary.request = place.request;
  summary.number = std::max(summary.number, place.number);
  summary.damaged = summary.damaged || (place.slices != nullptr && place.slices->front().doubtful);
  summary.end_ns = std::max(summary.end_ns, record.time_ns);
  running.last = record;
  note(running, record, place);
  if ((slice_ended_ && !beginsRequest(record)) || isEnd(record)) {
    close(running, false);
  }
}

/// A thread whose request waits may write no more: it goes on in another one.
void RequestSummaries::closeWaiting(std::uint32_t request) {
  for (auto& [thread, running] : threads_) {
    if (thread != taken_of_ && thread.first == taken_of_.first && running.in_wait &&
        running.summary.request == request) {
      close(running, true);
    }
  }
}

void RequestSummaries::finish() {
  for (auto& thread : threads_) {
    close(thread.second, false);
  }
}

void RequestSummaries::begin(Running& running, const TraceRecord& record) {
  running = Running();
  running.open = true;
  RequestSummary& summary = running.summary;
  summary.process_id = record.process_id;
  summary.thread_id = record.thread_id;
  summary.begin_ns = record.time_ns;
  summary.is_table = record.id == trx::kTrxTableAdmitted.id;
}

void RequestSummaries::note(Running& running, const TraceRecord& record,
                            const SliceTracker::Place& place) {
  if (noteName(running.summary, record) || noteRow(running, record, place) ||
      noteHAPFailure(running, record, place)) {
    return;
  }
  noteEnd(running, record);
}

bool RequestSummaries::noteName(RequestSummary& summary, const TraceRecord& record) {
  switch (record.id) {
    case trx::kTrxHAPName.id:
    case trx::kTrxTableName.id:
      summary.name = textOf(record);
      return true;
    case trx::kTrxHAPMode.id:
      summary.mode = textOf(record);
      return true;
    case trx::kTrxHAPUnit.id:
    case trx::kHAPExecNestedUnit.id:
      addUnit(summary, textOf(record));
      return true;
    default:
      return false;
  }
}

/// A row begins. A failure that nobody took up was ignored then.
bool RequestSummaries::noteRow(Running& running, const TraceRecord& record,
                               const SliceTracker::Place& place) {
  running.in_wait = record.id == trx::kCmdWait.id;
  if (rowCommandOf(record) == nullptr) {
    return false;
  }
  running.table = nameAt(place, Slice::Kind::kTable);
  running.row = hexDigits(wordOf(record, "number", 0));
  running.pending.reset();
  if (record.id == trx::kCmdEndMessage.id) {
    running.summary.end = RequestEnd::kFailed;
    running.summary.ended_by = rowText(running.table, running.row) + ", an END with a message";
  } else if (record.id == trx::kCmdEnd.id && slice_ended_) {
    running.summary.end = RequestEnd::kOk;
  }
  return true;
}

/// A HAP has failed: of nested ones each tells so, the outermost last.
bool RequestSummaries::noteHAPFailure(Running& running, const TraceRecord& record,
                                      const SliceTracker::Place& place) {
  const std::string hap = nameAt(place, Slice::Kind::kHAP);
  const auto fail = [&](std::uint32_t code, const std::string& event) {
    running.pending = RequestFailure{
        running.table, running.row, hap, code, false, "HAP " + (hap.empty() ? "?" : hap) + event};
  };
  switch (record.id) {
    case trx::kHAPErrName.id:
      fail(0, " failed");
      running.pending->hap = textOf(record);
      running.pending->event = "HAP " + textOf(record);
      return true;
    case trx::kHAPErrCodeOnly.id:
    case trx::kHAPErrDetail.id:
    case trx::kHAPErrAPI.id:
      if (running.pending) {
        running.pending->code = wordOf(record, "code", 0);
      }
      return true;
    case trx::kHAPExecNoKey.id:
    case trx::kHAPExecNoModule.id:
    case trx::kHAPExecUnresolved.id:
      fail(trx::kRecordUndefinedHAP, ": " + describe(record));
      return true;
    case trx::kHAPExecNestLimit.id:
      fail(trx::kCodeHAPFailed, ": " + describe(record));
      return true;
    case trx::kHAPExecLockFailed.id:
      fail(trx::kCodeLock, ": " + describe(record));
      return true;
    case trx::kHAPExecUnlockFailed.id:
      fail(trx::kCodeUnlock, ": " + describe(record));
      return true;
    case trx::kHAPExecThrew.id:
      if (!passesOn(running.pending, wordOf(record, "code", 0))) {
        fail(wordOf(record, "code", 0), " threw an engine exception");
        running.pending->thrown = true;
      }
      return true;
    case trx::kHAPExecForeignException.id:
      fail(0, " threw an exception that is not the engine's");
      running.pending->thrown = true;
      return true;
    default:
      return false;
  }
}

/// What comes of a failure, and how the request ends.
void RequestSummaries::noteEnd(Running& running, const TraceRecord& record) {
  RequestSummary& summary = running.summary;
  const auto fail = [&](std::uint32_t code) {
    summary.end = RequestEnd::kFailed;
    summary.failure = RequestFailure{running.table, running.row, {}, code, false, describe(record)};
  };
  switch (record.id) {
    case trx::kCmdHAPStack.id:
    case trx::kCmdHAPJump.id:
      if (!running.kept) {
        running.kept = running.pending;
      }
      running.pending.reset();
      return;
    case trx::kCmdHAPNop.id:
      return running.pending.reset();
    case trx::kCmdHAPStop.id:
      summary.end = RequestEnd::kFailed;
      summary.failure = running.pending;
      return running.pending.reset();
    case trx::kCmdCheckStop.id:
      summary.end = RequestEnd::kFailed;
      summary.ended_by = rowText(running.table, running.row) + ", a CHECK";
      return;
    case trx::kDriverNoTable.id:
      return fail(trx::kRecordTableNotLoaded);
    case trx::kDriverNestLimit.id:
      return fail(trx::kCodeTableFailed);
    case trx::kDriverStopped.id:
      return fail(trx::kCodeTableStopped);
    case trx::kTrxHAPStopped.id:
    case trx::kTrxNoModule.id:
    case trx::kTrxNoAPI.id:
      fail(0);
      summary.end = RequestEnd::kRefused;
      return;
    case trx::kTrxHAPDone.id:
      running.pending.reset();
      summary.end = RequestEnd::kOk;
      return;
    case trx::kCmdTableName.id:
      summary.end = slice_ended_ ? RequestEnd::kOk : summary.end;
      return;
    default:
      return;
  }
}

/// Hands the request on. `goes_on`: its thread has begun something else.
void RequestSummaries::close(Running& running, bool goes_on) {
  if (!running.open) {
    return;
  }
  running.open = false;
  RequestSummary& summary = running.summary;
  if (summary.end == RequestEnd::kOpen && running.pending) {
    summary.end = RequestEnd::kFailed;
    summary.failure = running.pending;
  } else if (summary.end == RequestEnd::kOpen && summary.begin_lost && goes_on &&
             running.last.id == trx::kCmdEnd.id) {
    summary.end = RequestEnd::kOk;  // the END row that nothing came behind was the outermost one
  } else if (summary.end == RequestEnd::kOpen && running.in_wait && goes_on) {
    summary.end = RequestEnd::kWaits;
  } else if (summary.end == RequestEnd::kOpen) {
    summary.last = (running.row.empty() ? "" : rowText(running.table, running.row) + ": ") +
                   describe(running.last);
    noteRounds(running);
  }
  if (summary.end == RequestEnd::kFailed && !summary.failure) {
    summary.failure = running.kept;
  }
  on_request_(summary);
}

void RequestSummaries::refuse(const TraceRecord& record) {
  RequestSummary summary;
  summary.process_id = record.process_id;
  summary.thread_id = record.thread_id;
  summary.request = wordOf(record, "request", 0);
  summary.begin_ns = summary.end_ns = record.time_ns;
  summary.is_table = record.id == trx::kTrxTableStopped.id || record.id == trx::kTrxTableRefused.id;
  summary.end = RequestEnd::kRefused;
  summary.failure = RequestFailure{{}, {}, {}, 0, false, describe(record)};
  on_request_(summary);
}

/// A table that goes round runs the same rows again and again.
void RequestSummaries::noteRounds(Running& running) {
  const auto most = [&running](std::uint64_t RowRuns::*count) {
    return std::max_element(
        running.runs.begin(), running.runs.end(),
        [count](const auto& a, const auto& b) { return a.second.*count < b.second.*count; });
  };
  RequestSummary& summary = running.summary;
  const auto ran = most(&RowRuns::runs);
  if (ran != running.runs.end() && ran->second.runs > 1) {
    summary.often = ran->first + " has run " + std::to_string(ran->second.runs) + " times";
  }
  const auto failed = most(&RowRuns::failures);
  if (failed != running.runs.end() && failed->second.failures > 1) {
    const RowRuns& runs = failed->second;
    summary.repeated =
        RequestFailure{runs.table, runs.row, runs.hap,
                       runs.code,  false,    "HAP " + (runs.hap.empty() ? "?" : runs.hap)};
    summary.repeated_times = runs.failures;
  }
}

}  // namespace kw::trx::tools
