// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_commands.h"
#include "support/trace.h"
#include "table/current_table.h"

namespace kw::trx::trx {

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
