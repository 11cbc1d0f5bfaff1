// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table.h"

#include <memory>

#include "support/trace.h"

namespace kw::trx::trx {

HAPTableCommand::HAPTableCommand(const unsigned int& number, const int& next_index)
    : number_(number), next_index_(next_index) {}

HAPTableCommand::~HAPTableCommand() = default;

int HAPTableCommand::getNextIndex() { return next_index_; }

unsigned int HAPTableCommand::getNumber() { return number_; }

HAPTable::HAPTable(const std::string& table_name, unsigned int version)
    : name(table_name), version_(version) {}

HAPTable::~HAPTable() { deleteEntry(); }

void HAPTable::addEntry(HAPTableCommand* command) {
  std::unique_ptr<HAPTableCommand> owned(command);
  if (command == nullptr) {
    trace(kTableNullEntry);
    return;
  }
  entries_.push_back(command);
  static_cast<void>(owned.release());
}

HAPTableCommand* HAPTable::getEntry(const int& index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= entries_.size()) {
    trace(kTableNoEntry, traceWord(index));
    return nullptr;
  }
  return entries_[static_cast<std::size_t>(index)];
}

void HAPTable::deleteEntry() {
  if (entries_.empty()) {
    trace(kTableNothingToDelete);
    return;
  }
  for (const HAPTableCommand* command : entries_) {
    delete command;
  }
  entries_.clear();
}

unsigned int HAPTable::getVersion() const { return version_; }

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
