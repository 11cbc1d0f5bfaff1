// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap_controller.h"
#include "kw/trx/table_commands.h"
#include "kw/trx/trx.h"
#include "support/handlers.h"
#include "table/current_table.h"

namespace kw::trx::trx {
namespace {

/// The row that failed first stays the one that the requester is told.
void recordFailure(TRXInfo* info, unsigned int number) {
  const TblCtlInfo* current = info->getCurTblCtlInfo();
  if (current != nullptr && info->error.errTableName.empty()) {
    info->error.errTableName = current->tableName;
    info->error.errCmdNumber = number;
  }
}

}  // namespace

TblCmdHAP::TblCmdHAP(const unsigned int& number, const int& next_index)
    : HAPTableCommand(number, next_index) {}

TblCmdHAP::~TblCmdHAP() {
  delete[] para_;
  delete[] out_;
}

int TblCmdHAP::exec(TRXInfo* info) {
  TblCtlInfo* current = info->getCurTblCtlInfo();
  HAPController* controller = TRX::getInstance()->getHAPController();
  trace(kCmdHAP, info->trxId, getNumber());
  try {
    controller->execHAP(info, current->unitList, hap_name_, mode_, para_, out_, isErrNop());
  } catch (const TRXException& failure) {
    const NoCancellation uncancelled;
    return goOnAfterFailure(info, failure.getCode());
  } catch (...) {
    traceInHandler(kCmdHAPForeignException, info->trxId);
    throw;
  }
  return goOnAt(info, getNextIndex());
}

int TblCmdHAP::goOnAfterFailure(TRXInfo* info, unsigned int code) {
  if (isErrNop()) {
    trace(kCmdHAPNop, info->trxId, code);
    return goOnAt(info, getNextIndex());
  }
  if (isErrStack()) {
    trace(kCmdHAPStack, info->trxId, code);
    recordFailure(info, getNumber());
    info->setTblCmdErrStack();
    return goOnAt(info, getNextIndex());
  }
  if (isErrJump()) {
    trace(kCmdHAPJump, info->trxId, code);
    recordFailure(info, getNumber());
    return goOnAt(info, jump_index_);
  }
  trace(kCmdHAPStop, info->trxId, code);
  recordFailure(info, getNumber());
  return endWithError(info);
}

void TblCmdHAP::setMember(const std::string& hap_name, const std::string& mode,
                          const unsigned int* para, unsigned int* out, const unsigned int& err_mode,
                          const unsigned int& jump_index) {
  hap_name_ = hap_name;
  mode_ = mode;
  // From here on nothing can fail, so the arrays have one owner at any time.
  if (para != para_) {
    delete[] para_;
    para_ = para;
  }
  if (out != out_) {
    delete[] out_;
    out_ = out;
  }
  err_mode_ = err_mode;
  jump_index_ = static_cast<int>(jump_index);
}

bool TblCmdHAP::isErrStop() { return err_mode_ == kErrModeStop; }

bool TblCmdHAP::isErrNop() { return (err_mode_ & kErrModeNop) != 0; }

bool TblCmdHAP::isErrStack() { return (err_mode_ & kErrModeStack) != 0; }

bool TblCmdHAP::isErrJump() { return (err_mode_ & kErrModeJump) != 0; }

}  // namespace kw::trx::trx
