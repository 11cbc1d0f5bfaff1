// SPDX-License-Identifier: Apache-2.0
#include "trace/open_request.h"

#include <algorithm>

#include "kw/trx/errors.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxUnits = 8;
/// Deeper than any host nests tables and HAPs; a ring made by hand may start any number of them.
constexpr std::size_t kMaxDepth = 4096;

}  // namespace

OpenRequest::OpenRequest(Request request, RingState& ring)
    : request_(std::move(request)), ring_(ring), gaps_at_start_(ring.gaps) {
  constexpr std::size_t usual_depth = 8;
  open_.reserve(usual_depth);
  if (request_.start_lost) {
    gaps_at_start_ = kBeforeAll;
    is_depth_unknown_ = true;
  }
}

void OpenRequest::takeStart(const Event& event, std::uint64_t now_ns) {
  if (event.kind == EventKind::kInstance) {
    return;
  }
  request_.last = *event.record;
  request_.end_ns = request_.parts.back().end_ns = std::max(request_.end_ns, now_ns);
  is_waiting_ = false;
  has_lock_ = lock_since_ns_ != 0;
  if (startsRow(event.kind)) {
    return startRow(event, now_ns);
  }
  switch (event.kind) {
    case EventKind::kHAPRequested:
      return startHAP(request_.name, now_ns);
    case EventKind::kTableNamed:
      request_.name = event.text();
      return;
    case EventKind::kTableStarted:
      return push(Span::Kind::kTable, event.text(), now_ns);
    case EventKind::kHAPStarted:
      return enterHAP(event.text(), now_ns);
    case EventKind::kMode:
      return addMode(event.text());
    case EventKind::kUnit:
      return addUnit(event.text());
    case EventKind::kHAPFound:
      has_entered_ = true;
      return;
    case EventKind::kTableCalled:
      return callTable(event.text(), now_ns);
    default:
      return;
  }
}

void OpenRequest::takeEnd(const Event& event, std::uint64_t now_ns) {
  switch (event.kind) {
    case EventKind::kRowEnd:
      return endTable(now_ns, false);
    case EventKind::kRowEndMessage:
      open_.back().failure.cause = Cause::kMessage;
      return endWithError(open_.back().failure, now_ns);
    case EventKind::kTableCalled:
      return isTop(Span::Kind::kRow) ? endTable(now_ns, false) : void();  // it has no name
    case EventKind::kHAPEnded:
      return closeHAP(event.text(), now_ns);
    case EventKind::kLockTake:
    case EventKind::kLockRelease:
      return takeLock(event, now_ns);
    default:
      if (!takeFailure(event, now_ns) && !takeEffect(event, now_ns)) {
        takeRequestEnd(event, now_ns);
      }
  }
}

bool OpenRequest::isContinuedBy(const Event& event) const {
  if (isWaiting()) {
    return startsRow(event.kind) || event.kind == EventKind::kTableStopped ||
           event.kind == EventKind::kTableMissing;
  }
  if (state_ == State::kRuns) {
    return true;
  }
  if (request_.isTable()) {
    return event.kind == EventKind::kTableErrorEnd;
  }
  switch (event.kind) {
    case EventKind::kFailedName:
    case EventKind::kFailedCode:
    case EventKind::kFailedEnd:
    case EventKind::kFailedDetail:
    case EventKind::kFailedAPI:
    case EventKind::kFailedWords:
    case EventKind::kRequestThrew:
    case EventKind::kHAPRequestDone:
      return true;
    default:
      return false;
  }
}

bool OpenRequest::isInHAP() const {
  const auto running = std::find_if(open_.rbegin(), open_.rend(), [](const OpenSpan& span) {
    return !span.isHAP() || span.end_ns == 0;
  });
  return state_ == State::kRuns && running != open_.rend() && running->isHAP();
}

std::vector<Span> OpenRequest::spans() const {
  std::vector<Span> spans(open_.begin(), open_.end());
  for (Span& span : spans) {
    span.is_incomplete = isIncomplete();
  }
  return spans;
}

void OpenRequest::addNested(std::uint64_t duration_ns) {
  const auto running = std::find_if(open_.rbegin(), open_.rend(), [](const OpenSpan& span) {
    return span.isHAP() && span.end_ns == 0;
  });
  if (running != open_.rend()) {
    running->nested_ns += duration_ns;
  }
}

void OpenRequest::push(Span::Kind kind, const std::string& name, std::uint64_t now_ns) {
  if (open_.size() == kMaxDepth) {
    markIncomplete();
    closeAll(now_ns, false);
  }
  ++version_;
  OpenSpan& span = open_.emplace_back();
  span.kind = kind;
  span.name = name;
  span.start_ns = now_ns;
  if (open_.size() > 1) {
    const OpenSpan& around = open_[open_.size() - 2];
    span.row = around.row;
    span.depth = around.depth + (around.isHAP() ? 1 : 0);
    span.tables = around.tables + (around.kind == Span::Kind::kTable ? 1 : 0);
  }
  if (kind == Span::Kind::kTable) {
    span.row = {name, 0};
  }
}

void OpenRequest::startRow(const Event& event, std::uint64_t now_ns) {
  closeRow(now_ns);
  while (!open_.empty() && !isTop(Span::Kind::kTable)) {
    markIncomplete();
    closeTop(now_ns, false);
  }
  if (open_.empty()) {
    markIncomplete();
    is_depth_unknown_ = true;
    push(Span::Kind::kTable, kUnknownTable, now_ns);
  }
  may_have_ended_ = false;
  OpenSpan& table = open_.back();
  if (!table.has_rows && !table.goes_on && table.name != kUnknownTable &&
      event.kind != EventKind::kRowStart) {
    markIncomplete();
  }
  table.has_rows = true;
  push(Span::Kind::kRow, "", now_ns);
  OpenSpan& row = open_.back();
  row.row.number = event.number;
  row.command = commandOf(event.kind);
  if (event.kind == EventKind::kRowWait) {
    row.wait_ms = event.time_ms;
    is_waiting_ = event.time_ms != 0;
  } else if (event.kind == EventKind::kRowEnd || event.kind == EventKind::kRowEndMessage) {
    row.has_message = event.kind == EventKind::kRowEndMessage;
  }
  if (event.kind != EventKind::kRowHAP && event.kind != EventKind::kRowTable) {
    announceRow();
  }
}

/// Listeners hear of a row when the record is there that tells what it calls.
void OpenRequest::announceRow() {
  if (isTop(Span::Kind::kRow) && !open_.back().is_announced) {
    open_.back().is_announced = true;
    ring_.listener.rowStarted(request_, open_.back());
  }
}

void OpenRequest::startHAP(const std::string& name, std::uint64_t now_ns) {
  while (isTop(Span::Kind::kHAP) && open_.back().end_ns != 0) {
    closeTop(now_ns, true);
  }
  if (isTop(Span::Kind::kRow)) {
    OpenSpan& row = open_.back();
    if (row.was_called || row.command != Command::kHAP) {
      markIncomplete();  // the start of another row is missing: a HAP row calls one HAP
    } else {
      row.name = name;
      row.was_called = true;
      announceRow();
    }
  }
  push(Span::Kind::kHAP, name, now_ns);
  has_released_ = false;
}

/// The HAP of a request whose context still has tables is announced twice.
void OpenRequest::enterHAP(const std::string& name, std::uint64_t now_ns) {
  const bool is_own = has_tables && !has_entered_ && open_.size() == 1 &&
                      request_.kind == Request::Kind::kHAP && open_.back().name == name;
  has_entered_ = true;
  if (!is_own) {
    startHAP(name, now_ns);
  }
}

void OpenRequest::callTable(const std::string& name, std::uint64_t now_ns) {
  if (!isTop(Span::Kind::kRow) || open_.back().command != Command::kTable) {
    return markIncomplete();
  }
  open_.back().name = name;
  open_.back().was_called = true;
  announceRow();
  if (!name.empty()) {
    push(Span::Kind::kTable, name, now_ns);
  }
}

void OpenRequest::addMode(const std::string& mode) {
  if (!isTop(Span::Kind::kHAP)) {
    return;
  }
  open_.back().mode = mode;
  if (open_.size() > 1 && open_[open_.size() - 2].isRow()) {
    open_[open_.size() - 2].mode = mode;
  } else if (open_.size() == 1 && request_.kind == Request::Kind::kHAP) {
    request_.mode = mode;
  }
}

/// Those of HAPs inside of a HAP are not what the requester asked for.
void OpenRequest::addUnit(const std::string& unit) {
  auto& units = request_.units;
  if (!isTop(Span::Kind::kHAP) || open_.back().depth != 0 ||
      std::find(units.begin(), units.end(), unit) != units.end()) {
    return;
  }
  request_.more_units = units.size() == kMaxUnits;
  if (!request_.more_units) {
    units.push_back(unit);
  }
}

void OpenRequest::markIncomplete() { gaps_at_start_ = kBeforeAll; }

/// The outermost HAP takes the semaphore. Whoever released it while this one waited had it before.
void OpenRequest::takeLock(const Event& event, std::uint64_t now_ns) {
  LockHistory& lock = *ring_.lock;
  has_entered_ = true;
  if (event.kind == EventKind::kLockTake) {
    lock_since_ns_ = now_ns;
    if (lock.last_release_ns > now_ns) {
      lock.last_release_ns = 0;  // by a clock that was put back since
    }
    return;
  }
  const bool is_taken = event.kind == EventKind::kLockRelease;
  has_released_ = is_taken;
  if (lock_since_ns_ == 0) {
    return;
  }
  const std::uint64_t got_it_ns = is_taken ? lock.last_release_ns : now_ns;
  const auto hap = std::find_if(open_.begin(), open_.end(), [](const OpenSpan& span) {
    return span.isHAP() && span.end_ns == 0;
  });
  if (hap != open_.end()) {
    hap->lock_ns = now_ns - std::min(now_ns, lock_since_ns_);
    hap->lock_wait_ns =
        got_it_ns > lock_since_ns_ ? std::min(got_it_ns, now_ns) - lock_since_ns_ : 0;
  }
  if (is_taken) {
    lock.last_release_ns = std::max(lock.last_release_ns, now_ns);
  }
  lock_since_ns_ = 0;
}

void OpenRequest::resume(const Request& fresh, std::uint64_t now_ns) {
  ++version_;
  is_waiting_ = false;
  request_.kind = fresh.kind;
  request_.name = fresh.name;
  request_.parts.push_back(fresh.parts.front());
  request_.end_ns = request_.parts.back().end_ns = std::max(request_.end_ns, now_ns);
}

void OpenRequest::goOnFrom(const std::vector<Span>& tables, std::uint64_t now_ns) {
  if (tables.empty()) {
    request_.start_lost = is_depth_unknown_ = true;
    markIncomplete();
    push(Span::Kind::kTable, request_.name, now_ns);
    return push(Span::Kind::kTable, kUnknownTable, now_ns);
  }
  request_.goes_on = true;
  for (const Span& table : tables) {
    push(table.kind, table.name, now_ns);
    OpenSpan& span = open_.back();
    span.row = table.row;
    span.command = table.command;
    span.was_called = span.is_announced = span.goes_on = true;
  }
}

void OpenRequest::stepBack(std::uint64_t by_ns) {
  ++version_;
  const auto shift = [by_ns](std::uint64_t& time_ns) {
    time_ns = time_ns > by_ns ? time_ns - by_ns : time_ns == 0 ? 0 : 1;
  };
  for (OpenSpan& span : open_) {
    for (std::uint64_t* const time_ns : {&span.start_ns, &span.end_ns, &span.maybe_end_ns}) {
      shift(*time_ns);
    }
  }
  for (Request::Part& part : request_.parts) {
    shift(part.start_ns);
    shift(part.end_ns);
  }
  shift(request_.start_ns);
  shift(request_.end_ns);
  shift(lock_since_ns_);
}

}  // namespace kw::trx::tools
