// SPDX-License-Identifier: Apache-2.0
// The rules of format 00.
#include <array>
#include <memory_resource>
#include <set>
#include <string_view>
#include <vector>

#include "kw/trx/table_format.h"
#include "support/parse_number.h"
#include "tablefile/cells.h"

namespace kw::trx::trx {
namespace {

constexpr CharacterSet kNone("");
constexpr CharacterSet kNameSet("09azAZ__");
constexpr CharacterSet kLabelSet("09azAZ__--");
constexpr CharacterSet kParameterSet("09afAF  --");
constexpr CharacterSet kDigitSet("09");

constexpr std::size_t kParaFieldMax = 8;

/// What the columns of each command may hold, in the order of the commands.
constexpr Column kCheckedColumns[] = {kPlaceName, kPlaceMode, kPlaceError,
                                      kPlacePara, kPlaceRsv1, kPlaceRsv2};
using AllowedCells = std::array<const CharacterSet*, std::size(kCheckedColumns)>;
constexpr AllowedCells kAllowed[] = {
    /* HAP */ {&kNameSet, &kNameSet, &kNameSet, &kParameterSet, &kNone, &kNone},
    /* TABLE */ {&kNameSet, &kNone, &kNone, &kNone, &kNone, &kNone},
    /* CHECK */ {&kNone, &kNone, &kLabelSet, &kNone, &kNone, &kNone},
    /* WAIT */ {&kNone, &kDigitSet, &kNone, &kNone, &kNone, &kNone},
    /* START */ {&kNone, &kNone, &kNone, &kNone, &kNone, &kNone},
    /* END */ {&kLabelSet, &kNone, &kNone, &kNone, &kNone, &kNone}};

int checkColumns(Cells& cells, unsigned int row, Command command) {
  const AllowedCells& allowed = kAllowed[static_cast<std::size_t>(command)];
  for (std::size_t i = 0; i < allowed.size(); ++i) {
    if (cells.check(row, kCheckedColumns[i], *allowed[i]) != 0) {
      return -1;
    }
  }
  return 0;
}

bool isParameterList(std::string_view text) {
  while (!text.empty()) {
    const std::size_t separator = text.find(kParaSeparator);
    const std::string_view field = text.substr(0, separator);
    if (field.empty() || field.size() > kParaFieldMax) {
      return false;
    }
    if (separator == std::string_view::npos) {
      return true;
    }
    text.remove_prefix(separator + 1);
    if (text.empty()) {
      return false;  // nothing behind the last separator
    }
  }
  return true;
}

}  // namespace

int TblFmt00::checkFormat() {
  if (checkFileFmt() != 0) {
    return refuse(kFmtFileInvalid);
  }
  if (checkNumber() != 0) {
    return refuse(kFmtNumberInvalid);
  }
  if (checkLabel() != 0) {
    return refuse(kFmtLabelInvalid);
  }
  if (checkTblCmd() != 0) {
    return refuse(kFmtCommandInvalid);
  }
  return 0;
}

int TblFmt00::checkFileFmt() {
  const std::vector<unsigned int> formats = findEntry(kKeyColumn, kKeyFormat);
  const std::vector<unsigned int> versions = findEntry(kKeyColumn, kKeyVersion);
  const std::vector<unsigned int> starts = findCommand(kCommandStart);
  const std::vector<unsigned int> ends = findCommand(kCommandEnd);
  if (formats.size() != 1) {
    return refuse(kFmtNotOneFormat);
  }
  if (versions.size() != 1) {
    return refuse(kFmtNotOneVersion);
  }
  if (starts.size() != 1) {
    return refuse(kFmtNotOneStart);
  }
  if (ends.empty()) {
    return refuse(kFmtNoEnd);
  }
  const unsigned int start = starts.front();
  if (start < formats.front() || start < versions.front()) {
    return refuse(kFmtStartTooEarly);
  }
  if (ends.front() < start) {
    return refuse(kFmtEndTooEarly);
  }
  return 0;
}

int TblFmt00::checkNumber() {
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return refuse(kFmtNumberNoArea);
  }
  const unsigned int column = columnIndex(kColumnNumber);
  Cells cells(*this, *table_data_);
  std::pmr::monotonic_buffer_resource memory;
  std::pmr::set<unsigned int> numbers(&memory);
  for (unsigned int row = start; row <= end; ++row) {
    const std::string& text = cells.text(row, kPlaceNumber);
    const ParsedNumber number = parseNumber(text, kHexBase);
    if (number.length != text.size()) {
      return refuse(kFmtNumberNotHex, row, column);
    }
    numbers.insert(numbers.end(), number.value);  // quick where the numbers ascend
    if (numbers.size() != row - start + 1) {
      return refuse(kFmtNumberTwice, row, column, number.value);
    }
  }
  return 0;
}

int TblFmt00::checkLabel() {
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return refuse(kFmtLabelNoArea);
  }
  Cells cells(*this, *table_data_);
  std::set<std::string> labels;
  for (unsigned int row = start; row <= end; ++row) {
    const std::string& label = cells.text(row, kPlaceLabel);
    if (label.empty()) {
      continue;
    }
    if (labels.count(label) != 0) {
      return refuse(kFmtLabelTwice, row, columnIndex(kColumnLabel));
    }
    if (cells.check(row, kPlaceLabel, kLabelSet) != 0) {
      return -1;
    }
    labels.insert(label);
  }
  return 0;
}

int TblFmt00::checkTblCmd() {
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return -1;
  }
  Cells cells(*this, *table_data_);
  LabelIndex labels(*this, *table_data_, cells);
  for (unsigned int row = start; row <= end; ++row) {
    const std::string& name = cells.text(row, kPlaceCommand);
    const Command command = commandOf(name);
    if (command == Command::kNone) {
      trace(kFmtUnknownCommand, name);
      return -1;
    }
    const int result = command == Command::kHAP     ? checkHAPRow(row, cells, &labels)
                       : command == Command::kCheck ? checkCheckRow(row, cells, &labels)
                                                    : checkColumns(cells, row, command);
    if (result != 0) {
      return result;
    }
  }
  return 0;
}

int TblFmt00::checkCmdSTART(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkColumns(cells, row, Command::kStart);
}

int TblFmt00::checkCmdEND(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkColumns(cells, row, Command::kEnd);
}

int TblFmt00::checkCmdWAIT(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkColumns(cells, row, Command::kWait);
}

int TblFmt00::checkCmdTABLE(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkColumns(cells, row, Command::kTable);
}

int TblFmt00::checkCmdHAP(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  LabelIndex labels(*this, *table_data_, cells);
  return checkHAPRow(row, cells, &labels);
}

int TblFmt00::checkHAPRow(const unsigned int& row, Cells& cells, LabelIndex* labels) {
  if (checkColumns(cells, row, Command::kHAP) != 0) {
    return -1;
  }
  if (!isParameterList(cells.text(row, kPlacePara))) {
    return refuse(kFmtHAPParameter, row, columnIndex(kColumnPara));
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return refuse(kFmtHAPNoArea);
  }
  const std::string& error = cells.text(row, kPlaceError);
  const bool is_label = !error.empty() && error != kErrorNop && error != kErrorStack;
  if (is_label && !isLabelOfOneRow(error, start, end, labels)) {
    return refuse(kFmtHAPLabel, row, columnIndex(kColumnError));
  }
  return 0;
}

int TblFmt00::checkCmdCHECK(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  LabelIndex labels(*this, *table_data_, cells);
  return checkCheckRow(row, cells, &labels);
}

int TblFmt00::checkCheckRow(const unsigned int& row, Cells& cells, LabelIndex* labels) {
  if (checkColumns(cells, row, Command::kCheck) != 0) {
    return -1;
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    return refuse(kFmtCheckNoArea);
  }
  const std::string& error = cells.text(row, kPlaceError);
  if (!error.empty() && !isLabelOfOneRow(error, start, end, labels)) {
    return refuse(kFmtCheckLabel, row, columnIndex(kColumnError));
  }
  return 0;
}

}  // namespace kw::trx::trx
