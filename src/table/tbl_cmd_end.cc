// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_commands.h"
#include "support/trace.h"
#include "table/current_table.h"

namespace kw::trx::trx {

TblCmdEnd::TblCmdEnd(const unsigned int& number, const int& next_index)
    : HAPTableCommand(number, next_index) {}

TblCmdEnd::~TblCmdEnd() = default;

int TblCmdEnd::exec(TRXInfo* info) {
  if (rtn_msg_.empty()) {
    trace(kCmdEnd, info->trxId, getNumber());
  } else {
    info->getCurTblCtlInfo()->errEnd = true;
    info->setTblRtnMsg(rtn_msg_);
    trace(kCmdEndMessage, info->trxId, getNumber());
  }
  return goOnAt(info, getNextIndex());
}

void TblCmdEnd::setRtnMsg(const std::string& message) { rtn_msg_ = message; }

}  // namespace kw::trx::trx
