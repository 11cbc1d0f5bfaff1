// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_driver.h"

#include <memory>

#include "kw/trx/table.h"
#include "kw/trx/trx_info.h"
#include "support/no_cancellation.h"
#include "support/stop_flag.h"
#include "support/trace.h"

namespace kw::trx::trx {
namespace {

void pushTable(TRXInfo* info, const std::string& name,
               const std::vector<kw::sysobj::Component*>& units) {
  auto record = std::make_unique<TblCtlInfo>(name, units);
  info->pushTblCtlInfo(record.get());
  static_cast<void>(record.release());
}

/// Runs rows of `table` until it has to be left. Returns false when there is no entry at an index,
/// which happens after a shorter table was loaded while the request was interrupted.
bool runRows(TableDriver* driver, TRXInfo* info, const HAPTable& table) {
  int index = info->getCurTblCtlInfo()->index;
  while (index >= 0) {
    if (isEngineStopped()) {
      trace(kDriverStopped, info->trxId);
      driver->releaseAllTblCtlInfo(info);
      throw TRXException(kCodeTableStopped);
    }
    HAPTableCommand* command = table.getEntry(index);
    if (command == nullptr) {
      return false;
    }
    index = command->exec(info);
    if (info->isTblCtlInfoEmpty()) {
      info->setTblErrEnd();  // a HAP emptied the context: there is nothing to go on with
      return true;
    }
  }
  return true;
}

void endMissingTable(TRXInfo* info) {
  TblCtlInfo* current = info->getCurTblCtlInfo();
  trace(kDriverNoTable, current->tableName);
  info->error.setErrCode(kRecordTableNotLoaded);
  current->index = -1;
  current->errEnd = true;
}

}  // namespace

TblCtlInfo::TblCtlInfo(const std::string& table_name,
                       const std::vector<kw::sysobj::Component*>& units)
    : tableName(table_name), unitList(units) {}

TblCtlInfo::~TblCtlInfo() = default;

TableDriver::TableDriver(int nest_limit) : nest_limit_(nest_limit) {}

TableDriver::~TableDriver() = default;

void TableDriver::execTable(TRXInfo* info, TableList* tables) {
  startOrResume(info);
  while (!info->isTblCtlInfoEmpty()) {
    const HAPTable* table = tables->getTable(info->getCurTblCtlInfo()->tableName);
    if (table == nullptr || !runRows(this, info, *table)) {
      endMissingTable(info);
    }
    try {
      endCurrentTable(info);
    } catch (...) {
      const NoCancellation uncancelled;
      releaseAllTblCtlInfo(info);
      throw;
    }
  }
  if (info->isTblErrEnd()) {
    trace(kDriverErrorEnd, info->trxId);
    throw TRXException(kCodeTableFailed);
  }
}

void TableDriver::startOrResume(TRXInfo* info) {
  const std::string name = info->getTableName();
  if (!info->isTblCtlInfoEmpty()) {
    trace(kDriverResume, name);
    return;
  }
  pushTable(info, name, info->getTableUnitList());
  trace(kDriverStart, name);
}

void TableDriver::endCurrentTable(TRXInfo* info) {
  if (info->isTblCtlInfoEmpty()) {
    return;
  }
  if (info->getCurTblCtlInfo()->callTableName.empty()) {
    finishTable(info);
  } else {
    callTable(info);
  }
}

void TableDriver::callTable(TRXInfo* info) {
  TblCtlInfo* caller = info->getCurTblCtlInfo();
  if (nest_limit_ < info->getSameNameTblNestCount(caller->callTableName)) {
    trace(kDriverNestLimit, caller->callTableName);
    throw TRXException(kCodeTableFailed);
  }
  pushTable(info, caller->callTableName, caller->unitList);
  caller->callTableName.clear();
}

void TableDriver::finishTable(TRXInfo* info) {
  if (info->getCurTblCtlInfo()->errEnd) {
    info->setTblErrEnd();
  }
  delete info->popTblCtlInfo();
  TblCtlInfo* caller = info->getCurTblCtlInfo();
  if (caller != nullptr && info->isTblErrEnd()) {
    caller->index = -1;
    trace(kDriverCallerEnds, caller->tableName);
  }
}

void TableDriver::releaseAllTblCtlInfo(TRXInfo* info) {
  while (!info->isTblCtlInfoEmpty()) {
    delete info->popTblCtlInfo();
  }
}

}  // namespace kw::trx::trx
