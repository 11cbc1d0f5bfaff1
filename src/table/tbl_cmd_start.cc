// SPDX-License-Identifier: Apache-2.0
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

}  // namespace kw::trx::trx
