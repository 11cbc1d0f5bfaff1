// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_commands.h"
#include "support/trace.h"
#include "table/current_table.h"

namespace kw::trx::trx {

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

}  // namespace kw::trx::trx
