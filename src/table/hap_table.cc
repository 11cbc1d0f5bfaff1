// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "kw/trx/table.h"
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

}  // namespace kw::trx::trx
