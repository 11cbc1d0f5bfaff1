// SPDX-License-Identifier: Apache-2.0
// The table of a file of format 00. Everything here relies on the checks having passed.
#include <algorithm>
#include <memory>
#include <string_view>

#include "kw/trx/table_commands.h"
#include "kw/trx/table_format.h"
#include "support/parse_number.h"
#include "tablefile/cells.h"
#include "tablefile/label_index.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::trx {
namespace {

constexpr int kNoIndex = -1;

struct CommandBuilder {
  std::string_view command;
  HAPTableCommand* (TblFmt00::*build)(const unsigned int& number, const unsigned int& row);
};

constexpr CommandBuilder kCommandBuilders[] = {
    {kCommandHAP, &TblFmt00::createCmdHAP},     {kCommandTable, &TblFmt00::createCmdTABLE},
    {kCommandCheck, &TblFmt00::createCmdCHECK}, {kCommandWait, &TblFmt00::createCmdWAIT},
    {kCommandStart, &TblFmt00::createCmdSTART}, {kCommandEnd, &TblFmt00::createCmdEND}};

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
  LabelIndex index(*table_data_, columnIndex(kColumnLabel), start, end);
  LabelIndex* const labels = cells.inPlace() ? &index : nullptr;
  for (unsigned int row = start; row <= end; ++row) {
    const std::string& command = cells.text(row, kPlaceCommand);
    const unsigned int number = parseNumber(cells.text(row, kPlaceNumber), kHexBase).value;
    const auto* entry = std::find_if(
        std::begin(kCommandBuilders), std::end(kCommandBuilders),
        [&command](const CommandBuilder& builder) { return builder.command == command; });
    if (entry != std::end(kCommandBuilders)) {
      table->addEntry(
          entry->build == &TblFmt00::createCmdHAP     ? createHAPRow(number, row, cells, labels)
          : entry->build == &TblFmt00::createCmdCHECK ? createCheckRow(number, row, cells, labels)
                                                      : (this->*entry->build)(number, row));
    }
  }
  return table.release();
}

HAPTableCommand* TblFmt00::createCmdSTART(const unsigned int& number, const unsigned int& row) {
  return new TblCmdStart(number, entryIndex(row) + 1);
}

HAPTableCommand* TblFmt00::createCmdEND(const unsigned int& number, const unsigned int& row) {
  Cells cells(*this, *table_data_);
  const std::string& message = cells.text(row, kPlaceName);
  auto command = std::make_unique<TblCmdEnd>(number, kNoIndex);
  command->setRtnMsg(message);
  return command.release();
}

HAPTableCommand* TblFmt00::createCmdHAP(const unsigned int& number, const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return createHAPRow(number, row, cells, nullptr);
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
  return createCheckRow(number, row, cells, nullptr);
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
  const std::string& name = cells.text(row, kPlaceName);
  auto command = std::make_unique<TblCmdTable>(number, entryIndex(row) + 1);
  command->setTableName(name);
  return command.release();
}

int TblFmt00::entryIndex(const unsigned int& row) {
  return static_cast<int>(row) - getRowOfTblStart();
}

int TblFmt00::labelIndex(const std::string& label, LabelIndex* labels) {
  if (labels != nullptr) {
    const LabelIndex::Rows rows = labels->find(label);
    return rows.count == 0 ? kNoIndex : entryIndex(rows.first);
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return kNoIndex;
  }
  const std::vector<unsigned int> rows = findLabel(label, start, end);
  return rows.empty() ? kNoIndex : entryIndex(rows.front());
}

}  // namespace kw::trx::trx
