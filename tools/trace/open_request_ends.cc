// SPDX-License-Identifier: Apache-2.0
// What ends in a request.
#include <algorithm>

#include "kw/trx/errors.h"
#include "trace/open_request.h"
#include "trace/record_words.h"

namespace kw::trx::tools {

void OpenRequest::takeRequestEnd(const Event& event, std::uint64_t now_ns) {
  const auto failure_of = [&event](Cause cause) {
    Failure failure;
    failure.cause = cause;
    failure.event = describe(*event.record);
    if (cause == Cause::kStaleContext || cause == Cause::kContextEmptied ||
        cause == Cause::kTableNestLimit) {
      failure.code = trx::kCodeTableFailed;
      failure.has_code = true;
    }
    return failure;
  };
  switch (event.kind) {
    case EventKind::kHAPRequestDone:
      closeAll(now_ns, true);
      return end(Ending::kSucceeded, 0);
    case EventKind::kDeniedStopped:
      return deny(trx::kCodeStopped, event);
    case EventKind::kDeniedNoModule:
      return deny(trx::kCodeNoModule, event);
    case EventKind::kDeniedNoAPI:
      return deny(trx::kCodeNoAPI, event);
    case EventKind::kTableMissing: {
      Failure failure = failure_of(Cause::kTableMissing);
      failure.code = trx::kRecordTableNotLoaded;
      failure.has_code = true;
      return endWithError(failure, now_ns);
    }
    case EventKind::kTableNestLimit:
      stop_ = failure_of(Cause::kTableNestLimit);
      noteEndedBy();
      return finishWithError(trx::kCodeTableFailed, now_ns);
    case EventKind::kTableStopped:
      stop_ = failure_of(Cause::kStopped);
      return finishWithError(trx::kCodeTableStopped, now_ns);
    case EventKind::kCallerEnds:
      stop_ = stop_ ? stop_ : failure_of(Cause::kStaleContext);
      return endCaller(event.text(), now_ns);
    case EventKind::kTableErrorEnd:
      if (!stop_) {
        stop_ = failure_of(open_.empty() ? Cause::kStaleContext : Cause::kContextEmptied);
      }
      return finishWithError(trx::kCodeTableFailed, now_ns);
    case EventKind::kRequestThrew:
      return interrupt(now_ns);
    default:
      return;
  }
}

/// Of tables around the outermost known one the names are not known, so that their ends are
/// skipped.
void OpenRequest::endCaller(const std::string& name, std::uint64_t now_ns) {
  const bool is_known = !isTop(Span::Kind::kTable) || open_.back().name == name;
  if (!is_depth_unknown_ || is_known) {
    endTable(now_ns, true);
  }
}

void OpenRequest::end(Ending ending, std::uint32_t exception) {
  state_ = State::kOver;
  request_.ending = ending;
  request_.exception = exception;
  request_.is_incomplete = isIncomplete();
  request_.is_broken = gaps_at_start_ == kBeforeAll;
}

void OpenRequest::deny(std::uint32_t exception, const Event& event) {
  open_.clear();  // nothing of it has run
  ++version_;
  request_.failure.cause = Cause::kRefused;
  request_.failure.event = describe(*event.record);
  end(Ending::kRefused, exception);
}

/// Tables that are over end with error, and the request with them.
void OpenRequest::finishWithError(std::uint32_t exception, std::uint64_t now_ns) {
  failTables();
  closeAll(now_ns, true);
  request_.failure = first_ ? first_ : stop_;
  request_.ended_as = stop_.cause;
  end(Ending::kFailed, exception);
}

/// An exception that is not the engine's goes to the host. Tables stay in the context.
void OpenRequest::interrupt(std::uint64_t now_ns) {
  noteEndedBy();
  closeHAPsOfRow(now_ns);
  Failure failure = !open_.empty() && open_.back().failure ? open_.back().failure : stop_;
  if (!failure) {
    failure.cause = Cause::kForeign;
    failure.event = describe(request_.last);
  }
  for (std::size_t i = 0; request_.isTable() && i < open_.size(); ++i) {
    const bool calls = i + 1 < open_.size() && open_[i + 1].kind == Span::Kind::kTable;
    if (open_[i].kind == Span::Kind::kTable || calls) {
      left_.push_back(open_[i]);
    }
  }
  if (isTop(Span::Kind::kRow)) {
    closeTop(now_ns, true);
  }
  closeAll(now_ns, false);
  if (request_.kind != Request::Kind::kHAP || !request_.failure) {
    request_.failure = first_ ? first_ : failure;
    request_.ended_as = failure.cause;
  }
  end(Ending::kFailed, 0);
}

void OpenRequest::close(bool is_behind) {
  const std::uint64_t now_ns = request_.end_ns;
  if (state_ == State::kEnded) {
    closeAll(now_ns, true);
    return end(request_.ending, request_.exception);
  }
  if (is_behind && stop_) {
    return finishWithError(trx::kCodeTableFailed, now_ns);
  }
  if (is_behind && request_.kind == Request::Kind::kHAP) {
    settleMaybeEnds();
    if (!open_.empty() && open_.front().failed()) {
      closeAll(now_ns, true);
      return end(Ending::kFailed, request_.exception);
    }
  }
  const Ending ending = isWaiting()                    ? Ending::kWaits
                        : is_behind && may_have_ended_ ? Ending::kSucceeded
                                                       : Ending::kOpen;
  if (const OpenSpan* const ended = maybeEnded(); ended != nullptr && ending == Ending::kOpen) {
    request_.uncertain = "HAP " + ended->name +
                         " called itself, and one of both failed; which HAPs have ended is not in "
                         "the records";
  }
  closeAll(now_ns, ending == Ending::kSucceeded);
  end(ending, 0);
}

void OpenRequest::closeTop(std::uint64_t now_ns, bool has_ended) {
  if (isTop(Span::Kind::kRow)) {
    announceRow();
    const bool calls =
        open_.back().command == Command::kHAP || open_.back().command == Command::kTable;
    if (has_ended && calls && !open_.back().was_called && !open_.back().goes_on) {
      markIncomplete();  // the record that names what it calls is missing
    }
  }
  ++version_;
  OpenSpan& span = open_.back();
  std::uint64_t nested_behind_ns = 0;
  span.has_ended = has_ended || span.end_ns != 0 || span.maybe_end_ns != 0;
  if (span.end_ns == 0 && span.maybe_end_ns != 0) {
    span.end_ns = span.maybe_end_ns;
    nested_behind_ns = span.nested_behind_ns;
  } else {
    span.end_ns = span.end_ns == 0 ? now_ns : span.end_ns;
    span.nested_ns += span.nested_behind_ns;
  }
  if (span.isRowOf(Command::kWait)) {
    span.wait_ns = span.durationNs();
  }
  if (span.isRow() && span.failed() && span.effect == Effect::kNone && has_ended &&
      span.isRowOf(Command::kHAP)) {
    span.effect = Effect::kIgnored;  // errors are disabled
  }
  span.is_incomplete = isIncomplete();
  if (open_.size() > 1) {
    addTo(open_[open_.size() - 2], span, nested_behind_ns);
  } else if (span.isHAP() && request_.kind == Request::Kind::kHAP && span.failed()) {
    request_.failure = span.failure;
    request_.exception = span.exception;
  }
  ring_.listener.spanEnded(request_, span);
  open_.pop_back();
}

/// What a span adds to the one around it.
void OpenRequest::addTo(OpenSpan& around, const OpenSpan& span, std::uint64_t nested_behind_ns) {
  around.wait_ns += span.wait_ns;
  around.lock_ns += span.lock_ns;
  around.lock_wait_ns += span.lock_wait_ns;
  const bool nested =
      (span.isHAP() && around.isHAP()) || (span.kind == Span::Kind::kTable && around.isRow());
  if (nested) {
    const bool behind = around.maybe_end_ns != 0 && span.start_ns >= around.maybe_end_ns;
    (behind ? around.nested_behind_ns : around.nested_ns) += span.durationNs() + nested_behind_ns;
  }
  if (!span.isHAP() || !span.failed()) {
    return;
  }
  if (around.isRow()) {
    around.failure = span.failure;
    around.cause = span.cause;
    around.exception = span.exception;
  } else if (around.isHAP() && !span.has_returned) {
    around.inner = span.failure;
  }
}

/// Ends the request; `has_ended`: a record tells that all in it has ended.
void OpenRequest::closeAll(std::uint64_t now_ns, bool has_ended) {
  while (!open_.empty()) {
    closeTop(now_ns, has_ended);
  }
  lock_since_ns_ = 0;
}

/// Ends the innermost HAP of that name, and those inside it, which threw. One that has failed in a
/// HAP of its own name leaves open which of both this is: it returned, as errors are disabled, or
/// its caller has caught the exception, and no other end of that will come.
void OpenRequest::closeHAP(const std::string& name, std::uint64_t now_ns) {
  const auto is_it = [&](const OpenSpan& span) {
    return span.isHAP() && span.name == name && !span.is_left;
  };
  // What failed inside of a HAP that failed as well is over.
  auto first = open_.rbegin();
  for (const OpenSpan* const failed = lastFailed(); failed != nullptr && &*first != failed;) {
    ++first;
  }
  const auto found = std::find_if(first, open_.rend(), is_it);
  if (found == open_.rend()) {
    return markIncomplete();
  }
  const bool is_sure = found->end_ns == 0 && found->maybe_end_ns == 0;
  const auto caller = is_sure ? open_.rend() : std::next(found);
  if (caller != open_.rend() && is_it(*caller)) {
    caller->maybe_end_ns = now_ns;
  }
  found->has_returned = true;  // or that caller, which then has caught its failure
  found->end_ns = found->end_ns == 0 ? std::max<std::uint64_t>(now_ns, 1) : found->end_ns;
  for (auto i = found - open_.rbegin() + 1; i > 0; --i) {
    closeTop(now_ns, true);
  }
}

void OpenRequest::closeHAPsOfRow(std::uint64_t now_ns) {
  while (isTop(Span::Kind::kHAP)) {
    closeTop(now_ns, true);
  }
}

void OpenRequest::closeRow(std::uint64_t now_ns) {
  closeHAPsOfRow(now_ns);
  if (isTop(Span::Kind::kRow)) {
    closeTop(now_ns, true);
  }
}

/// An error end fails all tables up to the first one, and the rows that called them.
void OpenRequest::failTables() {
  for (OpenSpan& span : open_) {
    if (!span.failed() && (span.kind == Span::Kind::kTable || span.isRowOf(Command::kTable))) {
      span.failure = stop_;
    }
  }
}

/// The table that runs ends with error.
void OpenRequest::endWithError(Failure failure, std::uint64_t now_ns) {
  if (!stop_) {
    stop_ = std::move(failure);
  }
  noteEndedBy();
  endTable(now_ns, true);
}

/// The row that runs ends its table.
void OpenRequest::noteEndedBy() {
  const auto row =
      std::find_if(open_.rbegin(), open_.rend(), [](const OpenSpan& span) { return span.isRow(); });
  if (row != open_.rend() && !request_.ended_by) {
    request_.ended_by = row->row;
    request_.ended_by_command = row->command;
  }
}

void OpenRequest::endTable(std::uint64_t now_ns, bool with_error) {
  closeRow(now_ns);
  if (with_error) {
    failTables();
  }
  if (isTop(Span::Kind::kTable)) {
    const bool is_known = !is_depth_unknown_ || open_.back().name != kUnknownTable;
    if (with_error || is_known) {
      closeTop(now_ns, true);
    } else {
      may_have_ended_ = true;
    }
  }
  if (open_.empty() && !with_error && !stop_) {
    state_ = State::kEnded;
    request_.ending = Ending::kSucceeded;
  }
}

}  // namespace kw::trx::tools
