// SPDX-License-Identifier: Apache-2.0
#include "replay/request_part.h"

#include <algorithm>
#include <iterator>

#include "common/text.h"
#include "kw/trx/errors.h"
#include "simulation/simulator.h"
#include "traces/record_words.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr char kMissing[] = "records of it are missing";
constexpr std::size_t kDetailMost = std::size(trx::HAP_ERR_T{}.detail);
constexpr std::uint32_t kWordBytes = 4;
constexpr std::size_t kUnitsMost = 8;
constexpr std::size_t kNotesMost = 20;

std::size_t depthOf(const SliceTracker::Place& place) {
  std::size_t haps = 0;
  for (std::size_t i = 0; place.slices && i < place.slices->size(); ++i) {
    const Slice& slice = (*place.slices)[i];
    haps += slice.kind == Slice::Kind::kHAP && slice.end_ns == 0 ? 1 : 0;
  }
  return haps;
}

std::vector<std::string> tablesOf(const SliceTracker::Place& place) {
  std::vector<std::string> tables;
  for (std::size_t i = 0; place.slices && i < place.slices->size(); ++i) {
    const Slice& slice = (*place.slices)[i];
    if (slice.kind == Slice::Kind::kTable) {
      tables.push_back(slice.name);
    }
  }
  return tables;
}

/// As many words of detail as a simulated HAP records of so many bytes.
std::size_t wordsOf(std::uint32_t bytes) {
  return std::min<std::size_t>(kDetailMost, bytes / kWordBytes + (bytes % kWordBytes != 0 ? 1 : 0));
}

/// Adds `text` to a list that has it once, as long as that is short enough to be read.
void addOnce(std::vector<std::string>& list, const std::string& text, std::size_t most) {
  if (list.size() < most && std::find(list.begin(), list.end(), text) == list.end()) {
    list.push_back(text);
  }
}

}  // namespace

RequestPart::RequestPart(const TraceRecord& admitted)
    : process_id_(admitted.process_id),
      thread_id_(admitted.thread_id),
      begin_ns_(admitted.time_ns),
      last_(admitted) {}

void RequestPart::take(const TraceRecord& record, const SliceTracker::Place& place) {
  if (isOver()) {
    // Only this one still says something of it: that it ended otherwise than it seemed.
    return record.id == trx::kDriverErrorEnd.id ? takeEnd(record, place) : void();
  }
  last_ = record;
  if (rowCommandOf(record) != nullptr) {
    beginRow(record, place);
  }
  if (!takeCall(record, place) && !takeCause(record) && !takeFailure(record)) {
    takeEnd(record, place);
  }
}

void RequestPart::beginRow(const TraceRecord& record, const SliceTracker::Place& place) {
  const std::size_t depth = tablesOf(place).size();
  const bool calls =
      !rows_.empty() && (rows_.back().callsHAP() || rows_.back().ran.command == trx::kCommandTable);
  const bool begins = rows_.empty() ? starts_ : rows_.back().callsTable();
  if (depth == 0 || depth > tables.size() || (calls && !rows_.back().ran.called) ||
      (begins && record.id != trx::kCmdStart.id)) {
    problem_ = kMissing;
    return;
  }
  cause_ = Cause();
  tables.resize(depth);
  rows_.emplace_back();
  rows_.back().ran = *tracedRowOf(record, place);
  rows_.back().ran.table = tables.back();
}

/// A name in a record; what the ring cut off cannot be compared with that of a file.
std::string RequestPart::nameOf(const TraceRecord& record) {
  if (record.length > record.data.size()) {
    problem_ = "a name in it is longer than the " + std::to_string(kw::platform::kTraceDataMax) +
               " bytes that a ring keeps";
  }
  return textOf(record);
}

/// What its rows call, and on which units.
bool RequestPart::takeCall(const TraceRecord& record, const SliceTracker::Place& place) {
  switch (record.id) {
    case trx::kTrxTableName.id:
      table = nameOf(record);
      return true;
    case trx::kDriverStart.id:
      starts_ = true;
      table = nameOf(record);
      tables = {table};
      return true;
    case trx::kDriverResume.id:
      resumes_ = true;
      table = nameOf(record);
      tables = tablesOf(place);
      return true;
    case trx::kHAPExecNested.id:
      if (depthOf(place) == 1) {
        call(trx::kCommandHAP, nameOf(record));
      }
      return true;
    case trx::kHAPExecNestedMode.id:
      if (depthOf(place) == 1 && !rows_.empty()) {
        rows_.back().mode = nameOf(record);
      }
      return true;
    case trx::kHAPExecNestedUnit.id:
      addOnce(units_, textOf(record), kUnitsMost);
      return true;
    case trx::kCmdTableName.id:
      callTable(record, place);
      return true;
    default:
      return false;
  }
}

/// The row that runs, one of `command`, calls something.
void RequestPart::call(const char* command, const std::string& name) {
  if (rows_.empty() || rows_.back().ran.command != command || rows_.back().ran.called) {
    problem_ = kMissing;
    return;
  }
  rows_.back().ran.called = name;
}

/// A TABLE row without a name ends its table.
void RequestPart::callTable(const TraceRecord& record, const SliceTracker::Place& place) {
  const std::string name = nameOf(record);
  call(trx::kCommandTable, name);
  if (name.empty()) {
    state_ = tablesOf(place).size() == 1 ? State::kOk : state_;
    return;
  }
  within_ = static_cast<unsigned int>(std::count(tables.begin(), tables.end(), name));
  tables.push_back(name);
  deepest_ = std::max(deepest_, within_);
}

bool RequestPart::takeCause(const TraceRecord& record) {
  switch (record.id) {
    case trx::kHAPErrRequest.id:
    case trx::kHAPExecNoKey.id:
    case trx::kHAPExecNoModule.id:
    case trx::kHAPExecUnresolved.id:
    case trx::kHAPExecNestLimit.id:
    case trx::kHAPExecLockFailed.id:
    case trx::kHAPExecUnlockFailed.id:
    case trx::kHAPExecThrew.id:
    case trx::kHAPExecForeignException.id:
      cause_ = Cause();
      cause_.record = record.id;
      cause_.code = wordOf(record, "code", 0);
      return true;
    case trx::kHAPErrCodeOnly.id:
      cause_.code = wordOf(record, "code", 0);
      return true;
    case trx::kHAPErrAPI.id:
      cause_.of_api = true;
      cause_.code = wordOf(record, "code", 0);
      return true;
    case trx::kHAPErrDetail.id:
      cause_.code = wordOf(record, "code", 0);
      cause_.detail_bytes = wordOf(record, "size", 0);
      return true;
    case trx::kHAPErrDetailWords.id:
    case trx::kHAPErrDetailLast.id:
      takeDetail(record);
      return true;
    default:
      return false;
  }
}

void RequestPart::takeDetail(const TraceRecord& record) {
  for (const Value& value : valuesOf(record)) {
    if (cause_.detail.size() < wordsOf(cause_.detail_bytes)) {
      cause_.detail.push_back(value.word);
    }
  }
}

/// What comes of the failure of a row.
bool RequestPart::takeFailure(const TraceRecord& record) {
  using Effect = RecordedRow::Effect;
  const auto fail = [this](Effect effect) {
    if (!rows_.empty()) {
      rows_.back().effect = effect;
    }
    fails_ = fails_ || effect == Effect::kStops;
    return true;
  };
  switch (record.id) {
    case trx::kCmdHAPNop.id:
      return fail(Effect::kIgnored);
    case trx::kCmdHAPStack.id:
      return fail(Effect::kKept);
    case trx::kCmdHAPJump.id:
    case trx::kCmdCheckJump.id:
      return fail(Effect::kJumps);
    case trx::kCmdHAPStop.id:
    case trx::kCmdCheckStop.id:
      return fail(Effect::kStops);
    case trx::kCmdHAPForeignException.id:
      return fail(Effect::kInterrupts);
    default:
      return false;
  }
}

void RequestPart::takeEnd(const TraceRecord& record, const SliceTracker::Place& place) {
  switch (record.id) {
    case trx::kCmdEnd.id:
      state_ = tablesOf(place).size() == 1 ? State::kOk : state_;
      return;
    case trx::kCmdEndMessage.id:
    case trx::kDriverNoTable.id:
      fails_ = true;
      return;
    case trx::kDriverNestLimit.id:
      limit_ = within_ - std::min(within_, 1U);
      state_ = State::kError;
      return;
    case trx::kDriverErrorEnd.id:
      if (!fails_ && state_ != State::kError) {
        problem_ =
            "it ended with error though none of its rows did: its context had been used by a "
            "request that failed, and not been initialized since, or a HAP emptied it";
      }
      state_ = State::kError;
      return;
    case trx::kDriverStopped.id:
      state_ = State::kStopped;
      return;
    case trx::kTrxTableForeignException.id:
      state_ = State::kInterrupted;
      return;
    default:
      return;
  }
}

void RequestPart::endRow(const Slice& row) {
  if (rows_.empty() || !rows_.back().callsHAP() || rows_.back().ran.number != row.row) {
    return;
  }
  RecordedRow& ended = rows_.back();
  if (row.failed) {
    ended.outcome = outcomeOf(ended);
    ended.effect =
        ended.effect == RecordedRow::Effect::kNone ? RecordedRow::Effect::kIgnored : ended.effect;
  }
}

HAPOutcome RequestPart::outcomeOf(const RecordedRow& row) {
  HAPOutcome outcome;
  outcome.kind = HAPOutcome::Kind::kThrow;
  outcome.code = trx::kCodeHAPFailed;
  switch (cause_.record) {
    case trx::kHAPErrRequest.id:
      return failureOf(row);
    case trx::kHAPExecNoKey.id:
    case trx::kHAPExecNoModule.id:
    case trx::kHAPExecUnresolved.id:
      note(row, "its HAP was not defined; the simulation lets it throw instead");
      return outcome;
    case trx::kHAPExecLockFailed.id:
      outcome.code = trx::kCodeLock;
      return outcome;
    case trx::kHAPExecUnlockFailed.id:
      outcome.code = trx::kCodeUnlock;
      return outcome;
    case trx::kHAPExecThrew.id:
      if (cause_.code == 0) {
        note(row, "the exception had the code 0, which no simulated one has");
      } else {
        outcome.code = cause_.code;
      }
      return outcome;
    case trx::kHAPExecForeignException.id:
      outcome.code = 0;
      return outcome;
    default:
      problem_ = "the records that tell why " + row.name() + " failed are missing";
      return outcome;
  }
}

HAPOutcome RequestPart::failureOf(const RecordedRow& row) {
  HAPOutcome outcome;
  outcome.kind = HAPOutcome::Kind::kFailure;
  if (cause_.of_api) {
    note(row, "it failed with the API error " + hexText(cause_.code) +
                  ", which a simulated HAP cannot record: it fails without one");
    return outcome;
  }
  outcome.code = cause_.code;
  outcome.detail = cause_.detail;
  const std::size_t told = outcome.detail.size() * kWordBytes;
  if (told < cause_.detail_bytes) {
    note(row, "of " + std::to_string(cause_.detail_bytes) + " bytes of error detail " +
                  std::to_string(told) + " are told and can be simulated");
    outcome.detail.resize(wordsOf(cause_.detail_bytes), 0);
  } else if (told > cause_.detail_bytes) {
    note(row, "its " + std::to_string(cause_.detail_bytes) +
                  " bytes of error detail are simulated as whole words");
  }
  return outcome;
}

void RequestPart::note(const RecordedRow& row, const std::string& words) {
  addOnce(notes_, row.name() + ": " + words, kNotesMost);
}

void RequestPart::leave(const std::string& other) { left_for_ = other; }

RequestPart::State RequestPart::state() const {
  // The next record of its own is that of another row: a WAIT row writes none.
  const bool waits =
      state_ == State::kRuns && !rows_.empty() && rows_.back().ran.wait_ms.value_or(0) != 0;
  return waits ? State::kWaits : state_;
}

std::string RequestPart::problem() const {
  if (damaged_ != 0) {
    return "records of its thread are damaged";
  }
  if (!problem_.empty()) {
    return problem_;
  }
  switch (state()) {
    case State::kRuns:
      return left_for_.empty()
                 ? "its end is not in the ring: it still runs, or its process ended in it; its "
                   "last record: " +
                       describe(last_)
                 : "its thread began the request " + left_for_ +
                       " before its end: a HAP with requests of its own cannot be simulated, or "
                       "the thread was cancelled";
    case State::kStopped:
      return "its host stopped the engine while it ran";
    case State::kInterrupted:
      return !rows_.empty() && rows_.back().effect == RecordedRow::Effect::kInterrupts
                 ? ""
                 : "an exception that is not the engine's ended it outside of its HAPs";
    default:
      return starts_ || resumes_ ? "" : kMissing;
  }
}

void RequestPart::addTo(RecordedRequest& request) const {
  if (request.rows.empty()) {
    request.process_id = process_id_;
    request.begin_ns = begin_ns_;
    request.table = table;
    request.nest_limit = kTableNestLimit;
  }
  request.nest_limit = limit_.value_or(std::max(request.nest_limit, deepest_));
  request.rows.insert(request.rows.end(), rows_.begin(), rows_.end());
  for (const std::string& unit : units_) {
    addOnce(request.units, unit, kUnitsMost);
  }
  for (const std::string& words : notes_) {
    addOnce(request.notes, words, kNotesMost);
  }
  if (damaged_beside_ + lost_ != 0) {
    request.notes.push_back(std::to_string(damaged_beside_ + lost_) +
                            " records that are damaged or lost were written while it ran; some "
                            "may have been its own");
  }
}

}  // namespace kw::trx::tools
