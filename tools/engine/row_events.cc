// SPDX-License-Identifier: Apache-2.0
#include "engine/row_events.h"

#include "kw/trx/errors.h"
#include "kw/trx/table_driver.h"
#include "trace/record_words.h"
#include "trace/request_summaries.h"

namespace kw::trx::tools {
namespace {

/// What came of a failure; empty: nothing that is to be said.
std::string effectText(const Span& row) {
  const std::string what = row.isRowOf(Command::kCheck) ? "a row has failed" : "failed";
  switch (row.effect) {
    case Effect::kIgnored:
      return what + ", which is ignored";
    case Effect::kKept:
      return what + ", which is kept for CHECK";
    case Effect::kJumps:
      return what + "; the table jumps";
    case Effect::kStops:
      return what + "; the table ends with error";
    default:
      return {};
  }
}

}  // namespace

void RowEvents::take(const kw::platform::TraceRecord& record) {
  const Event event = eventOf(record);
  builder_.take(event);
  if (event.kind == EventKind::kMisuse) {
    reason_ = describe(record);
    note(reason_);
  }
}

void RowEvents::recordTaken(const Request& request, const kw::platform::TraceRecord& record) {
  if (also_ != nullptr) {
    also_->recordTaken(request, record);
  }
}

void RowEvents::requestJoined(const Request& request, std::uint64_t fresh) {
  if (also_ != nullptr) {
    also_->requestJoined(request, fresh);
  }
}

void RowEvents::rowStarted(const Request& request, const Span& row) {
  if (also_ != nullptr) {
    also_->rowStarted(request, row);
  }
  reason_.clear();
  const trx::TblCtlInfo* const table = info_.getCurTblCtlInfo();
  std::string message = wordOf(row.command);
  if (row.wait_ms) {
    message += " " + std::to_string(*row.wait_ms) + " ms";
  } else if (row.has_message.value_or(false)) {
    message += " " + info_.getTblRtnMsg();
  } else if (row.was_called) {
    message += " " + row.name;
  }
  if (on_event_) {
    on_event_({true, table == nullptr ? kUnknownTable : table->tableName, row.row.number, message,
               row.wait_ms.value_or(0), row.tables, &info_});
  }
}

void RowEvents::spanEnded(const Request& request, const Span& span) {
  if (also_ != nullptr) {
    also_->spanEnded(request, span);
  }
  const std::string reason = reasonOf(span.failure);
  reason_ = reason.empty() ? reason_ : reason;
  if (span.kind == Span::Kind::kTable && !span.has_rows && !reason.empty()) {
    missing_table_ = span.failure.cause == Cause::kTableMissing ? span.name : "";
    return note(reason);
  }
  if (!span.isRow() || span.isRowOf(Command::kTable)) {
    return;
  }
  if (!reason.empty()) {
    note(reason);
  }
  if (const std::string effect = effectText(span); !effect.empty()) {
    note(effect);
  }
}

void RowEvents::requestEnded(const Request& request) {
  if (also_ != nullptr) {
    also_->requestEnded(request);
  }
  const bool says_all =
      request.ending == Ending::kSucceeded || request.exception == trx::kCodeStopped;
  const std::string reason = says_all ? "" : reasonOf(request.failure);
  reason_ = reason_.empty() ? reason : reason_;
}

void RowEvents::note(const std::string& message) {
  if (on_event_) {
    on_event_({false, "", 0, message, 0, 0, &info_});
  }
}

}  // namespace kw::trx::tools
