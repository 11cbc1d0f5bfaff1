// SPDX-License-Identifier: Apache-2.0
#include "traces/slices.h"

#include <algorithm>

#include "traces/interruptions.h"
#include "traces/record_words.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

constexpr unsigned int kProcessShift = 16;
constexpr std::uint32_t kThreadMask = 0xffff;

/// The id of requests whose contexts the writing thread has made.
std::uint32_t ownRequestOf(const kw::platform::TraceRecord& record) {
  return record.process_id << kProcessShift | (record.thread_id & kThreadMask);
}

constexpr char kRequestWord[] = "request";

}  // namespace

SliceTracker::SliceTracker(std::function<void(const Slice&)> ended,
                           std::shared_ptr<LockHistory> lock)
    : ended_(std::move(ended)),
      interrupted_(std::make_unique<Interruptions>()),
      lock_(std::move(lock)) {}

SliceTracker::SliceTracker(SliceTracker&& other) noexcept = default;

SliceTracker::~SliceTracker() = default;

SliceTracker::Place SliceTracker::take(const kw::platform::TraceRecord& record) {
  noteGap(record);
  Thread& thread = threads_[{record.process_id, record.thread_id}];
  if (record.time_ns < thread.last_ns) {
    stepBack(thread, thread.last_ns - record.time_ns);
  }
  begin(thread, record);
  thread.last_ns = std::max(thread.last_ns, record.time_ns);
  countRequest(thread, record);
  Place place = placeOf(thread, record);
  if (!thread.open.empty()) {
    noteLock(thread, record);
    noteFailure(thread, record);
  }
  end(thread, record);
  return place;
}

void SliceTracker::makeDoubtful(Thread& thread) {
  for (Slice& slice : thread.open) {
    slice.doubtful = true;
  }
  thread.shown = nullptr;
}

/// Records that are missing before this one may have been of any request that runs.
void SliceTracker::noteGap(const kw::platform::TraceRecord& record) {
  if (sequence_ && record.sequence > *sequence_ + 1) {
    for (auto& [id, thread] : threads_) {
      makeDoubtful(thread);
    }
  }
  sequence_ = record.sequence;
}

/// The clock was put back: what is open began so much earlier by the new time.
void SliceTracker::stepBack(Thread& thread, std::uint64_t by_ns) {
  const auto shift = [by_ns](std::uint64_t& time_ns) {
    time_ns = time_ns > by_ns ? time_ns - by_ns : time_ns == 0 ? 0 : 1;
  };
  for (Slice& slice : thread.open) {
    for (std::uint64_t* const time_ns :
         {&slice.begin_ns, &slice.end_ns, &slice.first_ns, &slice.maybe_end_ns}) {
      shift(*time_ns);
    }
  }
  shift(thread.lock_since_ns);
  shift(thread.last_ns);
  thread.shown = nullptr;
}

/// Numbers the request once its id is known: the first records of a HAP request do not tell it.
void SliceTracker::countRequest(Thread& thread, const kw::platform::TraceRecord& record) {
  const bool tells_no_id = record.id == trx::kTrxHAPName.id || record.id == trx::kTrxHAPMode.id ||
                           record.id == trx::kTrxHAPUnit.id;
  if (!thread.open.empty() && thread.number == 0 && !tells_no_id && !thread.begin_lost) {
    thread.number = ++requests_[thread.request];
  }
}

SliceTracker::Place SliceTracker::placeOf(Thread& thread, const kw::platform::TraceRecord& record) {
  if (thread.open.empty()) {
    const std::uint32_t request = wordOf(record, kRequestWord, 0);
    return {request, request == thread.request ? thread.number : 0, nullptr};
  }
  if (thread.shown == nullptr) {
    thread.shown = std::make_shared<const std::vector<Slice>>(thread.open);
  }
  return {thread.request, thread.number, thread.shown};
}

void SliceTracker::finish() {
  for (auto& thread : threads_) {
    closeAll(thread.second, false);
  }
}

/// What begins with a record, after the end of what was left open before it.
void SliceTracker::begin(Thread& thread, const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kTrxHAPName.id:
      closeAll(thread, false);
      thread.number = 0;
      thread.request = ownRequestOf(record);
      open(thread, record, Slice::Kind::kRequest, "HAP " + textOf(record));
      return open(thread, record, Slice::Kind::kHAP, textOf(record));
    case trx::kTrxTableAdmitted.id:
      closeAll(thread, false);
      thread.number = 0;
      thread.request = wordOf(record, kRequestWord, 0);
      return open(thread, record, Slice::Kind::kRequest, "table");
    case trx::kTrxHAPAdmitted.id:
      thread.request = wordOf(record, kRequestWord, 0);
      thread.shown = nullptr;
      for (Slice& slice : thread.open) {
        slice.request = thread.request;
      }
      return;
    case trx::kTrxTableName.id:
      if (!thread.open.empty()) {
        thread.shown = nullptr;
        thread.open.front().name = "table " + textOf(record);
      }
      return;
    case trx::kDriverStart.id:
      return open(thread, record, Slice::Kind::kTable, textOf(record));
    case trx::kDriverResume.id:
      return resume(thread, record);
    case trx::kHAPExecNested.id:
      return openHAP(thread, record);
    case trx::kCmdTableName.id:
      return openCalledTable(thread, record);
    default:
      if (const char* const command = rowCommandOf(record)) {
        thread.last_ns = std::max(thread.last_ns, record.time_ns);  // a WAIT has no other end
        closeRow(thread);
        if (thread.open.empty()) {
          openRest(thread, record);
        }
        openRow(thread, record, command);
      }
  }
}

/// What ends with a record.
void SliceTracker::end(Thread& thread, const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kHAPExecNestedEnd.id:
      return closeHAP(thread, textOf(record));
    case trx::kCmdHAPNop.id:
    case trx::kCmdHAPStack.id:
    case trx::kCmdHAPJump.id:
      return closeHAPsOfRow(thread);
    case trx::kCmdTableName.id:
      return textOf(record).empty() ? endTable(thread, false) : void();
    case trx::kCmdEnd.id:
      return endTable(thread, false);
    case trx::kCmdEndMessage.id:
    case trx::kCmdHAPStop.id:
    case trx::kCmdCheckStop.id:
    case trx::kDriverNoTable.id:
    case trx::kDriverCallerEnds.id:
      return endTable(thread, true);
    case trx::kDriverNestLimit.id:
    case trx::kDriverStopped.id:
    case trx::kDriverErrorEnd.id:
      thread.error_end = true;
      failTables(thread);
      return closeAll(thread, true);
    case trx::kTrxHAPDone.id:
      return closeAll(thread, true);
    case trx::kTrxHAPStopped.id:
    case trx::kTrxNoModule.id:
    case trx::kTrxNoAPI.id:
      return refuse(thread);
    default:
      return;
  }
}

void SliceTracker::refuse(Thread& thread) {
  for (Slice& slice : thread.open) {
    slice.refused = true;
  }
  closeAll(thread, true);
}

void SliceTracker::open(Thread& thread, const kw::platform::TraceRecord& record, Slice::Kind kind,
                        const std::string& name) {
  thread.last_ns = std::max(thread.last_ns, record.time_ns);
  thread.shown = nullptr;
  Slice slice{kind, name, record.process_id, record.thread_id, thread.last_ns};
  slice.request = thread.request;
  slice.doubtful = !thread.open.empty() && thread.open.front().doubtful;
  if (kind == Slice::Kind::kHAP && !thread.open.empty()) {
    slice.table = thread.open.back().table;
    slice.row = thread.open.back().row;
  } else if (kind == Slice::Kind::kTable) {
    slice.table = name;
  }
  thread.open.push_back(std::move(slice));
}

/// What is left of a table request whose begin is lost. How deep its tables are nested is not
/// known.
void SliceTracker::openRest(Thread& thread, const kw::platform::TraceRecord& record) {
  thread.begin_lost = true;
  thread.number = 0;
  thread.request = wordOf(record, kRequestWord, 0);
  open(thread, record, Slice::Kind::kRequest, "table");
  open(thread, record, Slice::Kind::kTable, kUnknownTable);
}

/// A row of the table that runs.
void SliceTracker::openRow(Thread& thread, const kw::platform::TraceRecord& record,
                           const char* command) {
  if (!thread.open.empty() && thread.open.back().kind == Slice::Kind::kTable) {
    const std::string table = thread.open.back().name;
    open(thread, record, Slice::Kind::kRow, "");
    Slice& row = thread.open.back();
    row.table = table;
    row.row = wordOf(record, "number", 0);
    row.command = command;
  }
}

void SliceTracker::openHAP(Thread& thread, const kw::platform::TraceRecord& record) {
  while (!thread.open.empty() && thread.open.back().kind == Slice::Kind::kHAP &&
         thread.open.back().end_ns != 0) {
    closeTop(thread);
  }
  if (!thread.open.empty() && isRowOf(thread.open.back(), trx::kCommandHAP)) {
    if (!thread.open.back().name.empty()) {
      makeDoubtful(thread);  // a row calls one HAP: the begin of another row is missing
    }
    thread.open.back().name = textOf(record);
  }
  open(thread, record, Slice::Kind::kHAP, textOf(record));
}

void SliceTracker::openCalledTable(Thread& thread, const kw::platform::TraceRecord& record) {
  if (textOf(record).empty()) {
    return;
  }
  if (!thread.open.empty() && isRowOf(thread.open.back(), trx::kCommandTable)) {
    thread.open.back().name = textOf(record);
  }
  open(thread, record, Slice::Kind::kTable, textOf(record));
}

void SliceTracker::closeTop(Thread& thread) {
  Slice slice = std::move(thread.open.back());
  thread.open.pop_back();
  thread.shown = nullptr;
  std::uint64_t nested_behind_ns = 0;
  if (slice.end_ns == 0 && slice.maybe_end_ns != 0) {
    slice.end_ns = slice.maybe_end_ns;
    nested_behind_ns = slice.nested_behind_ns;
  } else {
    slice.end_ns = slice.end_ns == 0 ? thread.last_ns : slice.end_ns;
    slice.nested_ns += slice.nested_behind_ns;
  }
  slice.number = thread.number;
  if (isRowOf(slice, trx::kCommandWait)) {
    slice.wait_ns = slice.end_ns - slice.begin_ns;
  }
  if (!thread.open.empty()) {
    Slice& around = thread.open.back();
    around.wait_ns += slice.wait_ns;
    around.lock_ns += slice.lock_ns;
    around.lock_wait_ns += slice.lock_wait_ns;
    const bool nested = (slice.kind == Slice::Kind::kHAP && around.kind == Slice::Kind::kHAP) ||
                        (slice.kind == Slice::Kind::kTable && around.kind == Slice::Kind::kRow);
    if (nested) {
      const bool behind = around.maybe_end_ns != 0 && slice.begin_ns >= around.maybe_end_ns;
      (behind ? around.nested_behind_ns : around.nested_ns) +=
          slice.end_ns - slice.begin_ns + nested_behind_ns;
    } else if (slice.kind == Slice::Kind::kHAP && slice.failed &&
               around.kind == Slice::Kind::kRow) {
      around.failed = true;
      around.thrown = slice.thrown;
      around.code = slice.code;
    }
  }
  ended_(slice);
}

/// Ends the request; `ended`: a record tells that all in it has ended.
void SliceTracker::closeAll(Thread& thread, bool ended) {
  if (!ended) {
    interrupt(thread);
  }
  while (!thread.open.empty()) {
    closeTop(thread);
  }
  thread.error_end = thread.begin_lost = false;
  thread.lock_since_ns = 0;
}

/// Ends the innermost HAP of that name, and those inside it, which threw. One that has failed in a
/// HAP of its own name leaves open which of both this is: it returned, as errors are disabled, or
/// its caller has caught the exception, and no other end of that will come.
void SliceTracker::closeHAP(Thread& thread, const std::string& name) {
  const auto is_it = [&](const Slice& slice) {
    return slice.kind == Slice::Kind::kHAP && slice.name == name && !slice.left;
  };
  const auto found = std::find_if(thread.open.rbegin(), thread.open.rend(), is_it);
  if (found == thread.open.rend()) {
    return;
  }
  const bool is_sure = found->end_ns == 0 && found->maybe_end_ns == 0;
  const auto caller = is_sure ? thread.open.rend() : std::next(found);
  if (caller != thread.open.rend() && is_it(*caller)) {
    caller->maybe_end_ns = thread.last_ns;
  }
  found->end_ns = found->end_ns == 0 ? thread.last_ns : found->end_ns;
  for (auto i = found - thread.open.rbegin() + 1; i > 0; --i) {
    closeTop(thread);
  }
}

void SliceTracker::closeHAPsOfRow(Thread& thread) {
  while (!thread.open.empty() && thread.open.back().kind == Slice::Kind::kHAP) {
    closeTop(thread);
  }
}

void SliceTracker::closeRow(Thread& thread) {
  closeHAPsOfRow(thread);
  if (!thread.open.empty() && thread.open.back().kind == Slice::Kind::kRow) {
    closeTop(thread);
  }
}

/// An error end fails all tables up to the first one, and the rows that called them.
void SliceTracker::failTables(Thread& thread) {
  for (Slice& slice : thread.open) {
    slice.failed =
        slice.failed || slice.kind == Slice::Kind::kTable || isRowOf(slice, trx::kCommandTable);
  }
}

void SliceTracker::endTable(Thread& thread, bool with_error) {
  closeRow(thread);
  thread.error_end = thread.error_end || with_error;
  if (with_error) {
    failTables(thread);
  }
  const bool is_table = !thread.open.empty() && thread.open.back().kind == Slice::Kind::kTable;
  const bool may_be_inner = thread.begin_lost && is_table && thread.open.size() == 2;
  if (is_table && (with_error || !may_be_inner)) {
    closeTop(thread);
  }
  const bool was_first = thread.open.size() == 1;
  if (was_first && !thread.error_end) {
    closeAll(thread, true);
  }
}

}  // namespace kw::trx::tools
