// SPDX-License-Identifier: Apache-2.0
// What records tell of failures in a request.
#include <algorithm>
#include <iterator>

#include "kw/trx/errors.h"
#include "trace/codes.h"
#include "trace/open_request.h"
#include "trace/record_words.h"

namespace kw::trx::tools {
namespace {

/// More words of detail than any record of the engine has.
constexpr std::size_t kMaxDetailWords = 64;
constexpr std::uint32_t kWordBytes = 4;

/// Code of the error record of a HAP that the engine itself fails so; 0: it does not.
std::uint32_t recordCodeOf(Cause cause) {
  switch (cause) {
    case Cause::kUndefined:
      return trx::kRecordUndefinedHAP;
    case Cause::kNestLimit:
      return trx::kCodeHAPFailed;
    case Cause::kLock:
      return trx::kCodeLock;
    case Cause::kUnlock:
      return trx::kCodeUnlock;
    default:
      return 0;
  }
}

/// The exception that the caller of a HAP gets.
std::uint32_t exceptionOf(Cause cause, const Event& event) {
  switch (cause) {
    case Cause::kLock:
    case Cause::kUnlock:
      return recordCodeOf(cause);
    case Cause::kThrew:
      return event.code;
    case Cause::kThrewForeign:
      return 0;
    default:
      return trx::kCodeHAPFailed;
  }
}

void setCode(Failure& failure, std::uint32_t code) {
  failure.code = code;
  failure.has_code = true;
}

}  // namespace

/// That a HAP has failed, and how. What follows inside of a HAP that was left tells of its caller.
bool OpenRequest::takeFailure(const Event& event, std::uint64_t now_ns) {
  Cause cause = Cause::kNone;
  switch (event.kind) {
    case EventKind::kHAPFailed:
      cause = Cause::kError;
      break;
    case EventKind::kHAPUndefined:
      cause = Cause::kUndefined;
      break;
    case EventKind::kHAPNestLimit:
      cause = Cause::kNestLimit;
      break;
    case EventKind::kLockFailed:
    case EventKind::kUnlockFailed:
      cause = lockCauseOf(event, now_ns);
      break;
    case EventKind::kHAPThrew:
      cause = Cause::kThrew;
      break;
    case EventKind::kHAPThrewForeign:
      cause = Cause::kThrewForeign;
      break;
    case EventKind::kFailedName:
    case EventKind::kFailedCode:
    case EventKind::kFailedDetail:
    case EventKind::kFailedAPI:
    case EventKind::kFailedWords:
      takeErrorRecord(event);
      return true;
    default:
      return false;
  }
  leaveHAP(cause, event, now_ns);
  return true;
}

/// A HAP that throws the code of a lock failure leaves the same record. It has not waited for the
/// semaphore, nor released it.
Cause OpenRequest::lockCauseOf(const Event& event, std::uint64_t now_ns) {
  if (event.kind == EventKind::kUnlockFailed) {
    return has_released_ ? Cause::kUnlock : Cause::kThrew;
  }
  if (lock_since_ns_ == 0) {
    return Cause::kThrew;
  }
  takeLock(event, now_ns);
  return Cause::kLock;
}

/// The failure of a HAP is that of the one of this name around it: it did end where that seemed
/// possible.
void OpenRequest::moveFailure(const std::string& name) {
  OpenSpan* const inner = lastFailed();
  if (inner == nullptr || inner->name == name || inner->maybe_end_ns == 0) {
    return;
  }
  const auto outer = std::find_if(open_.rbegin(), open_.rend(), [&name](const OpenSpan& span) {
    return span.isHAP() && span.end_ns == 0 && span.name == name;
  });
  if (outer != open_.rend()) {
    passFailure(*inner, *outer);
    endAtMaybe(*inner);
    if (request_.kind == Request::Kind::kHAP && &*outer == &open_.front()) {
      state_ = State::kEnded;
      request_.ending = Ending::kFailed;
    }
  }
}

void OpenRequest::passFailure(const OpenSpan& from, OpenSpan& to) {
  to.end_ns = from.end_ns;
  to.is_left = from.is_left;
  to.cause = from.cause;
  to.exception = from.exception;
  to.failure = from.failure;
  to.failure.hap = from.failure.hap == from.name ? to.name : from.failure.hap;
}

void OpenRequest::endAtMaybe(OpenSpan& hap) {
  hap.end_ns = hap.maybe_end_ns;
  hap.maybe_end_ns = 0;
  hap.is_left = false;
  hap.cause = Cause::kNone;
  hap.exception = 0;
  hap.failure = Failure();
}

/// The error record of the HAP that failed last.
void OpenRequest::takeErrorRecord(const Event& event) {
  if (event.kind == EventKind::kFailedName) {
    moveFailure(event.text());
  }
  OpenSpan* const hap = lastFailed();
  if (hap == nullptr) {
    return markIncomplete();
  }
  Failure& failure = hap->failure;
  switch (event.kind) {
    case EventKind::kFailedName:
      failure.hap = event.text();
      return;
    case EventKind::kFailedWords:
      for (const Value& value : valuesOf(*event.record)) {
        if (failure.detail.size() < kMaxDetailWords &&
            failure.detail.size() * kWordBytes < failure.detail_bytes) {
          failure.detail.push_back(value.word);
        }
      }
      return;
    default:
      setCode(failure, event.code);
      failure.detail_bytes = event.size;
      failure.of_api = event.kind == EventKind::kFailedAPI;
  }
}

/// Of the HAPs that have failed and are still open, the outermost.
OpenRequest::OpenSpan* OpenRequest::lastFailed() {
  OpenSpan* last = nullptr;
  for (auto span = open_.rbegin(); span != open_.rend() && span->isHAP() && span->end_ns != 0;
       ++span) {
    last = &*span;
  }
  return last;
}

/// The innermost HAP that still ran has failed.
void OpenRequest::leaveHAP(Cause cause, const Event& event, std::uint64_t now_ns) {
  const auto hap = std::find_if(open_.rbegin(), open_.rend(), [](const OpenSpan& span) {
    return !span.isHAP() || span.end_ns == 0;
  });
  if (hap == open_.rend() || !hap->isHAP()) {
    return markIncomplete();
  }
  ++version_;
  const bool is_lock_code = event.kind != EventKind::kHAPThrew && cause == Cause::kThrew;
  Event thrown = event;
  if (is_lock_code) {
    thrown.code = event.kind == EventKind::kLockFailed ? trx::kCodeLock : trx::kCodeUnlock;
  }
  if (const OpenSpan* const inner = lastFailed()) {
    hap->inner = inner->failure;
  }
  hap->end_ns = std::max<std::uint64_t>(now_ns, 1);
  hap->is_left = cause != Cause::kError;
  hap->cause = cause;
  hap->exception = exceptionOf(cause, thrown);
  hap->failure = failureOf(*hap, cause, thrown);
  if (request_.kind == Request::Kind::kHAP && &*hap == &open_.front()) {
    state_ = State::kEnded;
    request_.ending = Ending::kFailed;
  }
}

/// An exception with the code of a failure inside of the HAP only lets that one through.
Failure OpenRequest::failureOf(const OpenSpan& hap, Cause cause, const Event& event) {
  if (cause == Cause::kThrew && hap.inner &&
      (event.code == trx::kCodeHAPFailed || (hap.inner.has_code && event.code == hap.inner.code))) {
    return hap.inner;
  }
  Failure failure;
  failure.cause = cause;
  failure.hap = hap.name;
  if (cause == Cause::kThrew) {
    setCode(failure, event.code);
  } else if (const std::uint32_t code = recordCodeOf(cause); code != 0) {
    setCode(failure, code);
    failure.event = describe(*event.record);
  }
  return failure;
}

/// The HAP that failed, or did end before where that seemed possible; then its failure is that of
/// the HAP around it, and so on. Null: there is none, or the outermost HAP has ended.
OpenRequest::OpenSpan* OpenRequest::maybeEnded() {
  const auto outer =
      std::find_if(open_.begin(), open_.end(), [](const OpenSpan& span) { return span.isHAP(); });
  const auto ended = std::find_if(open_.begin(), open_.end(), [](const OpenSpan& span) {
    return span.maybe_end_ns != 0 && span.failed();
  });
  return ended == open_.end() || outer == open_.end() || outer->end_ns != 0 ? nullptr : &*ended;
}

/// The outermost HAP that runs must have failed, but no record was found to be its own.
void OpenRequest::settleMaybeEnds() {
  OpenSpan* const ended = maybeEnded();
  if (ended == nullptr) {
    return;
  }
  const auto outer =
      std::find_if(open_.begin(), open_.end(), [](const OpenSpan& span) { return span.isHAP(); });
  for (OpenSpan* hap = &*outer; hap != ended; ++hap) {
    passFailure(*std::next(hap), *hap);
  }
  endAtMaybe(*ended);
}

/// What comes of the failure of a row.
bool OpenRequest::takeEffect(const Event& event, std::uint64_t now_ns) {
  constexpr Effect effects[] = {Effect::kIgnored, Effect::kKept, Effect::kJumps, Effect::kStops,
                                Effect::kInterrupts};
  const int place = static_cast<int>(event.kind) - static_cast<int>(EventKind::kRowIgnores);
  if (place < 0 || place >= static_cast<int>(std::size(effects))) {
    return false;
  }
  setEffect(effects[place], event, now_ns);
  return true;
}

void OpenRequest::setEffect(Effect effect, const Event& event, std::uint64_t now_ns) {
  settleMaybeEnds();
  closeHAPsOfRow(now_ns);
  if (!isTop(Span::Kind::kRow)) {
    return markIncomplete();
  }
  ++version_;
  OpenSpan& row = open_.back();
  row.effect = effect;
  if (row.isRowOf(Command::kCheck)) {
    row.failure.cause = Cause::kCheck;
    row.failure.event = describe(*event.record);
  } else if (!row.failure) {
    markIncomplete();  // the records that tell how its HAP failed are missing
    row.failure.cause = row.cause = Cause::kThrew;
    row.failure.hap = row.name;
    row.exception = event.code;
  }
  const bool counts = effect != Effect::kIgnored && effect != Effect::kInterrupts;
  if (counts && !row.isRowOf(Command::kCheck) && !request_.first_failing) {
    request_.first_failing = row.row;
    first_ = row.failure;
  }
  if (effect == Effect::kStops) {
    endWithError(row.failure, now_ns);
  }
}

}  // namespace kw::trx::tools
