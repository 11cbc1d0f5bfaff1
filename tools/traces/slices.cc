// SPDX-License-Identifier: Apache-2.0
#include "traces/slices.h"

#include <algorithm>

#include "traces/record_words.h"
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

SliceTracker::SliceTracker(std::function<void(const Slice&)> ended) : ended_(std::move(ended)) {}

SliceTracker::Place SliceTracker::take(const kw::platform::TraceRecord& record) {
  Thread& thread = threads_[{record.process_id, record.thread_id}];
  begin(thread, record);
  thread.last_ns = std::max(thread.last_ns, record.time_ns);
  countRequest(thread, record);
  Place place = placeOf(thread, record);
  end(thread, record);
  return place;
}

/// Numbers the request once its id is known: the first records of a HAP request do not tell it.
void SliceTracker::countRequest(Thread& thread, const kw::platform::TraceRecord& record) {
  const bool tells_no_id = record.id == trx::kTrxHAPName.id || record.id == trx::kTrxHAPMode.id ||
                           record.id == trx::kTrxHAPUnit.id;
  if (!thread.open.empty() && thread.number == 0 && !tells_no_id) {
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
    closeAll(thread.second);
  }
}

/// What begins with a record, after the end of what was left open before it.
void SliceTracker::begin(Thread& thread, const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kTrxHAPName.id:
      closeAll(thread);
      thread.number = 0;
      thread.request = ownRequestOf(record);
      open(thread, record, Slice::Kind::kRequest, "HAP " + textOf(record));
      return open(thread, record, Slice::Kind::kHAP, textOf(record));
    case trx::kTrxTableAdmitted.id:
      closeAll(thread);
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
      interrupted_.erase(thread.request);
      return open(thread, record, Slice::Kind::kTable, textOf(record));
    case trx::kDriverResume.id:
      return resume(thread, record);
    case trx::kHAPExecNested.id:
      return open(thread, record, Slice::Kind::kHAP, textOf(record));
    case trx::kCmdStart.id:
    case trx::kCmdCheck.id:
    case trx::kCmdWait.id:
    case trx::kCmdHAP.id:
    case trx::kCmdTable.id:
    case trx::kCmdEnd.id:
    case trx::kCmdEndMessage.id:
      return closeHAPsOfRow(thread);
    case trx::kCmdTableName.id:
      return textOf(record).empty() ? void()
                                    : open(thread, record, Slice::Kind::kTable, textOf(record));
    default:
      return;
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
      return closeAll(thread);
    case trx::kTrxHAPDone.id:
      return closeAll(thread);
    default:
      return;
  }
}

void SliceTracker::open(Thread& thread, const kw::platform::TraceRecord& record, Slice::Kind kind,
                        const std::string& name) {
  thread.last_ns = std::max(thread.last_ns, record.time_ns);
  thread.shown = nullptr;
  thread.open.push_back(
      {kind, name, record.process_id, record.thread_id, thread.last_ns, 0, thread.request});
}

void SliceTracker::closeTop(Thread& thread) {
  thread.open.back().end_ns = thread.last_ns;
  thread.shown = nullptr;
  ended_(thread.open.back());
  thread.open.pop_back();
}

/// Ends the request. Tables that are still open then were interrupted, and may go on later.
void SliceTracker::closeAll(Thread& thread) {
  std::vector<std::string> tables;
  for (const Slice& slice : thread.open) {
    if (slice.kind == Slice::Kind::kTable && !thread.error_end) {
      tables.push_back(slice.name);
    }
  }
  if (!tables.empty()) {
    interrupted_[thread.request] = tables;
  }
  while (!thread.open.empty()) {
    closeTop(thread);
  }
  thread.error_end = false;
}

/// Ends the innermost HAP of that name, and those inside it, which threw.
void SliceTracker::closeHAP(Thread& thread, const std::string& name) {
  const auto found = std::find_if(
      thread.open.rbegin(), thread.open.rend(),
      [&](const Slice& slice) { return slice.kind == Slice::Kind::kHAP && slice.name == name; });
  const auto count = found == thread.open.rend() ? 0 : found - thread.open.rbegin() + 1;
  for (auto i = count; i > 0; --i) {
    closeTop(thread);
  }
}

void SliceTracker::closeHAPsOfRow(Thread& thread) {
  while (!thread.open.empty() && thread.open.back().kind == Slice::Kind::kHAP) {
    closeTop(thread);
  }
}

void SliceTracker::endTable(Thread& thread, bool with_error) {
  closeHAPsOfRow(thread);
  thread.error_end = thread.error_end || with_error;
  if (!thread.open.empty() && thread.open.back().kind == Slice::Kind::kTable) {
    closeTop(thread);
  }
  const bool was_first = thread.open.size() == 1;
  if (was_first && !thread.error_end) {
    closeAll(thread);
  }
}

void SliceTracker::resume(Thread& thread, const kw::platform::TraceRecord& record) {
  const auto found = interrupted_.find(thread.request);
  const std::vector<std::string> tables =
      found == interrupted_.end() ? std::vector<std::string>{textOf(record)} : found->second;
  for (const std::string& table : tables) {
    open(thread, record, Slice::Kind::kTable, table);
  }
}

}  // namespace kw::trx::tools
