// SPDX-License-Identifier: Apache-2.0
#include "running/row_events.h"

#include "kw/trx/table_driver.h"
#include "running/failure_reason.h"
#include "traces/record_words.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {

void RowEvents::take(const kw::platform::TraceRecord& record) {
  const std::string reason = requestFailureText(record);
  if (!reason.empty()) {
    reason_ = reason;
    note(reason_);
  }
  switch (record.id) {
    case trx::kCmdStart.id:
      return begin(record, trx::kCommandStart);
    case trx::kCmdCheck.id:
      return begin(record, trx::kCommandCheck);
    case trx::kCmdEnd.id:
      return begin(record, trx::kCommandEnd);
    case trx::kCmdEndMessage.id:
      return begin(record, trx::kCommandEnd + (" " + info_.getTblRtnMsg()));
    case trx::kCmdWait.id: {
      const unsigned int time_ms = wordOf(record, "time", 0);
      return begin(record, trx::kCommandWait + (" " + std::to_string(time_ms) + " ms"), time_ms);
    }
    case trx::kCmdHAP.id:
    case trx::kCmdTable.id:
      // The record that comes next names the HAP or the table.
      row_ = record;
      return;
    case trx::kHAPExecNested.id:
      return beginNamed(trx::kCommandHAP, record);
    case trx::kCmdTableName.id:
      return beginNamed(trx::kCommandTable, record);
    default:
      return takeFailure(record);
  }
}

void RowEvents::takeFailure(const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kHAPErrRequest.id:
      return info_.isErrDisables() ? note("failed, which is ignored") : void();
    case trx::kCmdHAPNop.id:
      return note("failed, which is ignored");
    case trx::kCmdHAPStack.id:
      return note("failed, which is kept for CHECK");
    case trx::kCmdHAPJump.id:
      return note("failed; the table jumps");
    case trx::kCmdHAPStop.id:
      return note("failed; the table ends with error");
    case trx::kCmdCheckJump.id:
      return note("a row has failed; the table jumps");
    case trx::kCmdCheckStop.id:
      return note("a row has failed; the table ends with error");
    default:
      return;
  }
}

void RowEvents::beginNamed(const std::string& command, const kw::platform::TraceRecord& record) {
  if (row_.id != 0) {
    begin(row_, command + " " + textOf(record));
    row_.id = 0;
  }
}

void RowEvents::begin(const kw::platform::TraceRecord& row, const std::string& words,
                      unsigned int wait_ms) {
  reason_.clear();
  const trx::TblCtlInfo* table = info_.getCurTblCtlInfo();
  on_event_({true, table == nullptr ? "?" : table->tableName, wordOf(row, "number", 0), words,
             wait_ms, &info_});
}

}  // namespace kw::trx::tools
