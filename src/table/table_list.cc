// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "kw/trx/table.h"
#include "support/trace.h"

namespace kw::trx::trx {

TableList::TableList() = default;

TableList::~TableList() { clear(); }

void TableList::addTable(HAPTable* table) {
  std::unique_ptr<HAPTable> owned(table);
  if (table == nullptr) {
    trace(kListNoTable);
    return;
  }
  const auto registered = tables_.find(table->name);
  if (registered != tables_.end()) {
    trace(kListReplaced, table->name);
    delete registered->second;
    tables_.erase(registered);
  }
  tables_.emplace(table->name, table);
  static_cast<void>(owned.release());
}

HAPTable* TableList::getTable(const std::string& name) const {
  const auto registered = tables_.find(name);
  if (registered == tables_.end()) {
    trace(kListMissing, name);
    return nullptr;
  }
  return registered->second;
}

void TableList::clear() {
  if (tables_.empty()) {
    return;
  }
  trace(kListCleared);
  for (const auto& [name, table] : tables_) {
    delete table;
  }
  tables_.clear();
}

}  // namespace kw::trx::trx
