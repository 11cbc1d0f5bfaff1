// SPDX-License-Identifier: Apache-2.0
// The commands that only say where a table goes on: START, END, CHECK and TABLE.
#include "kw/trx/table_commands.h"
#include "support/trace.h"
#include "table/current_table.h"

namespace kw::trx::trx {

TblCmdStart::TblCmdStart(const unsigned int& number, const int& next_index)
    : HAPTableCommand(number, next_index) {}

TblCmdStart::~TblCmdStart() = default;

int TblCmdStart::exec(TRXInfo* info) {
  trace(kCmdStart, info->trxId, getNumber());
  return goOnAt(info, getNextIndex());
}

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

TblCmdCheck::TblCmdCheck(const unsigned int& number, const int& next_index)
    : HAPTableCommand(number, next_index) {}

TblCmdCheck::~TblCmdCheck() = default;

int TblCmdCheck::exec(TRXInfo* info) {
  trace(kCmdCheck, info->trxId, getNumber());
  if (!info->isTblCmdErrStack()) {
    return goOnAt(info, getNextIndex());
  }
  if (isErrJump()) {
    trace(kCmdCheckJump, info->trxId);
    return goOnAt(info, jump_index_);
  }
  trace(kCmdCheckStop, info->trxId);
  return endWithError(info);
}

void TblCmdCheck::setErrMode(const unsigned int& err_mode, const unsigned int& jump_index) {
  err_mode_ = err_mode;
  jump_index_ = static_cast<int>(jump_index);
}

bool TblCmdCheck::isErrStop() { return err_mode_ == kErrModeStop; }

bool TblCmdCheck::isErrJump() { return (err_mode_ & kErrModeJump) != 0; }

TblCmdTable::TblCmdTable(const unsigned int& number, const int& next_index)
    : HAPTableCommand(number, next_index) {}

TblCmdTable::~TblCmdTable() = default;

int TblCmdTable::exec(TRXInfo* info) {
  trace(kCmdTable, info->trxId, getNumber());
  trace(kCmdTableName, table_name_);
  info->getCurTblCtlInfo()->callTableName = table_name_;
  // The index is where this table goes on after the called one; the driver makes the call.
  goOnAt(info, getNextIndex());
  return -1;
}

void TblCmdTable::setTableName(const std::string& name) { table_name_ = name; }

}  // namespace kw::trx::trx
