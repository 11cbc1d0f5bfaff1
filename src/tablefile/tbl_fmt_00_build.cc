// SPDX-License-Identifier: Apache-2.0
// The table of a file of format 00. Everything here relies on the checks having passed.
#include <algorithm>
#include <memory>
#include <string_view>

#include "kw/trx/table_commands.h"
#include "kw/trx/table_format.h"
#include "support/parse_number.h"
#include "tablefile/cells.h"

namespace kw::trx::trx {
namespace {

constexpr int kNoIndex = -1;

/// The parameter words of a PARA cell; null when it is empty.
std::unique_ptr<unsigned int[]> readParameters(const std::string& text) {
  if (text.empty()) {
    return nullptr;
  }
  const auto separators = std::count(text.begin(), text.end(), kParaSeparator);
  auto words = std::make_unique<unsigned int[]>(static_cast<std::size_t>(separators) + 1);
  std::string_view rest = text;
  for (unsigned int* word = words.get();; ++word) {
    const std::size_t separator = rest.find(kParaSeparator);
    *word = parseNumber(rest.substr(0, separator), kHexBase).value;
    if (separator == std::string_view::npos) {
      return words;
    }
    rest.remove_prefix(separator + 1);
  }
}

}  // namespace

HAPTable* TblFmt00::createHAPTable() {
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return nullptr;
  }
  if (table_data_->versionNo == -1) {
    table_data_->versionNo = table_data_->getTblDefKey(kKeyVersion);
  }
  auto table =
      std::make_unique<HAPTable>(table_name_, static_cast<unsigned int>(table_data_->versionNo));
  Cells cells(*this, *table_data_);
  LabelIndex labels(*this, *table_data_, cells);
  for (unsigned int row = start; row <= end; ++row) {
    const Command command = commandOf(cells.text(row, kPlaceCommand));
    const unsigned int number = parseNumber(cells.text(row, kPlaceNumber), kHexBase).value;
    if (command == Command::kHAP) {
      table->addEntry(createHAPRow(number, row, cells, &labels));
    } else if (command == Command::kCheck) {
      table->addEntry(createCheckRow(number, row, cells, &labels));
    } else if (command == Command::kTable) {
      table->addEntry(createCmdTABLE(number, row));
    } else if (command == Command::kWait) {
      table->addEntry(createCmdWAIT(number, row));
    } else if (command == Command::kStart) {
      table->addEntry(createCmdSTART(number, row));
    } else if (command == Command::kEnd) {
      table->addEntry(createCmdEND(number, row));
    }
  }
  return table.release();
}

HAPTableCommand* TblFmt00::createCmdSTART(const unsigned int& number, const unsigned int& row) {
  return new TblCmdStart(number, entryIndex(row) + 1);
}

HAPTableCommand* TblFmt00::createCmdEND(const unsigned int& number, const unsigned int& row) {
  Cells cells(*this, *table_data_);
  auto command = std::make_unique<TblCmdEnd>(number, kNoIndex);
  command->setRtnMsg(cells.text(row, kPlaceName));
  return command.release();
}

HAPTableCommand* TblFmt00::createCmdHAP(const unsigned int& number, const unsigned int& row) {
  Cells cells(*this, *table_data_);
  LabelIndex labels(*this, *table_data_, cells);
  return createHAPRow(number, row, cells, &labels);
}

HAPTableCommand* TblFmt00::createHAPRow(const unsigned int& number, const unsigned int& row,
                                        Cells& cells, LabelIndex* labels) {
  const std::string& hap_name = cells.text(row, kPlaceName);
  const std::string& mode = cells.text(row, kPlaceMode);
  const std::string& error = cells.text(row, kPlaceError);
  unsigned int err_mode = kErrModeStop;
  int jump_index = kNoIndex;
  if (error == kErrorNop) {
    err_mode = kErrModeNop;
  } else if (error == kErrorStack) {
    err_mode = kErrModeStack;
  } else if (!error.empty()) {
    err_mode = kErrModeJump;
    jump_index = labelIndex(error, labels);
  }
  std::unique_ptr<unsigned int[]> para = readParameters(cells.text(row, kPlacePara));
  auto command = std::make_unique<TblCmdHAP>(number, entryIndex(row) + 1);
  command->setMember(hap_name, mode, para.get(), nullptr, err_mode,
                     static_cast<unsigned int>(jump_index));
  static_cast<void>(para.release());
  return command.release();
}

HAPTableCommand* TblFmt00::createCmdCHECK(const unsigned int& number, const unsigned int& row) {
  Cells cells(*this, *table_data_);
  LabelIndex labels(*this, *table_data_, cells);
  return createCheckRow(number, row, cells, &labels);
}

HAPTableCommand* TblFmt00::createCheckRow(const unsigned int& number, const unsigned int& row,
                                          Cells& cells, LabelIndex* labels) {
  const std::string& error = cells.text(row, kPlaceError);
  const int jump_index = error.empty() ? kNoIndex : labelIndex(error, labels);
  auto command = std::make_unique<TblCmdCheck>(number, entryIndex(row) + 1);
  command->setErrMode(error.empty() ? kErrModeStop : kErrModeJump,
                      static_cast<unsigned int>(jump_index));
  return command.release();
}

HAPTableCommand* TblFmt00::createCmdWAIT(const unsigned int& number, const unsigned int& row) {
  Cells cells(*this, *table_data_);
  const std::string& time = cells.text(row, kPlaceMode);
  auto command = std::make_unique<TblCmdWait>(number, entryIndex(row) + 1);
  command->setTime(std::min(parseNumber(time, kDecimalBase).value, kWaitMaxMs));
  return command.release();
}

HAPTableCommand* TblFmt00::createCmdTABLE(const unsigned int& number, const unsigned int& row) {
  Cells cells(*this, *table_data_);
  auto command = std::make_unique<TblCmdTable>(number, entryIndex(row) + 1);
  command->setTableName(cells.text(row, kPlaceName));
  return command.release();
}

int TblFmt00::entryIndex(const unsigned int& row) {
  return static_cast<int>(row) - getRowOfTblStart();
}

int TblFmt00::labelIndex(const std::string& label, LabelIndex* labels) {
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return kNoIndex;
  }
  const LabelIndex::Rows rows = labels->find(label, start, end);
  return rows.count == 0 ? kNoIndex : entryIndex(rows.first);
}

}  // namespace kw::trx::trx
