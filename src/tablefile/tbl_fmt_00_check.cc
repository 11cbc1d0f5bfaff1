// SPDX-License-Identifier: Apache-2.0
// The rules of format 00.
#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <vector>

#include "kw/trx/table_format.h"
#include "support/parse_number.h"
#include "support/requester_id.h"
#include "support/trace.h"
#include "tablefile/cells.h"
#include "tablefile/label_index.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::trx {
namespace {

constexpr CharacterSet kNone("");
constexpr CharacterSet kNameSet("09azAZ__");
constexpr CharacterSet kLabelSet("09azAZ__--");
constexpr CharacterSet kParameterSet("09afAF  --");
constexpr CharacterSet kDigitSet("09");

constexpr std::size_t kParaFieldMax = 8;

/// What the columns of a command may hold.
using CommandSets = std::array<const CharacterSet*, 6>;
constexpr Column kCheckedColumns[] = {kPlaceName, kPlaceMode, kPlaceError,
                                      kPlacePara, kPlaceRsv1, kPlaceRsv2};
constexpr CommandSets kStartSets = {&kNone, &kNone, &kNone, &kNone, &kNone, &kNone};
constexpr CommandSets kEndSets = {&kLabelSet, &kNone, &kNone, &kNone, &kNone, &kNone};
constexpr CommandSets kWaitSets = {&kNone, &kDigitSet, &kNone, &kNone, &kNone, &kNone};
constexpr CommandSets kTableSets = {&kNameSet, &kNone, &kNone, &kNone, &kNone, &kNone};
constexpr CommandSets kHAPSets = {&kNameSet, &kNameSet, &kNameSet, &kParameterSet, &kNone, &kNone};
constexpr CommandSets kCheckSets = {&kNone, &kNone, &kLabelSet, &kNone, &kNone, &kNone};

void fillItem(TblFmtFactory::item_check_list_t& entry, const char* column,
              const CharacterSet& set) {
  const std::size_t ranges = set.ranges.size() / 2;
  entry.item = column;
  entry.rangeNum = static_cast<int>(ranges);
  for (std::size_t i = 0; i < ranges; ++i) {
    entry.ranges[i] = {set.ranges[2 * i], set.ranges[2 * i + 1]};
  }
}

int checkItems(TblFmt00& format, Cells& cells, unsigned int row, const CommandSets& sets) {
  TblFmtFactory::item_check_list_t item = {};
  for (std::size_t i = 0; i < sets.size(); ++i) {
    const Column column = kCheckedColumns[i];
    if (!cells.inPlace()) {
      fillItem(item, kColumnNames[column], *sets[i]);
      if (format.checkItemString(row, 1, &item) != 0) {
        return -1;
      }
    } else if (!sets[i]->allowsAll(cells.text(row, column))) {
      return refuseCharacter(row, static_cast<int>(column));
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

/// The numbers of a table. Most files have them in ascending order, which needs no look-up.
class NumberSet {
 public:
  /// False when `number` is there already.
  bool insert(unsigned int number) {
    if (ascending_.empty() || number > ascending_.back()) {
      ascending_.push_back(number);
      return true;
    }
    return !std::binary_search(ascending_.begin(), ascending_.end(), number) &&
           others_.insert(number).second;
  }

 private:
  std::vector<unsigned int> ascending_;
  std::set<unsigned int> others_;  // each smaller than the last ascending one
};

struct CommandCheck {
  std::string_view command;
  int (TblFmt00::*check)(const unsigned int& row);
};

constexpr CommandCheck kCommandChecks[] = {
    {kCommandHAP, &TblFmt00::checkCmdHAP},     {kCommandTable, &TblFmt00::checkCmdTABLE},
    {kCommandCheck, &TblFmt00::checkCmdCHECK}, {kCommandWait, &TblFmt00::checkCmdWAIT},
    {kCommandStart, &TblFmt00::checkCmdSTART}, {kCommandEnd, &TblFmt00::checkCmdEND}};

}  // namespace

int TblFmt00::checkFormat() {
  if (checkFileFmt() != 0) {
    trace(kFmtFileInvalid, requesterId());
    return -1;
  }
  if (checkNumber() != 0) {
    trace(kFmtNumberInvalid, requesterId());
    return -1;
  }
  if (checkLabel() != 0) {
    trace(kFmtLabelInvalid, requesterId());
    return -1;
  }
  if (checkTblCmd() != 0) {
    trace(kFmtCommandInvalid, requesterId());
    return -1;
  }
  return 0;
}

int TblFmt00::checkFileFmt() {
  const std::vector<unsigned int> formats = findEntry(kKeyColumn, kKeyFormat);
  const std::vector<unsigned int> versions = findEntry(kKeyColumn, kKeyVersion);
  const std::vector<unsigned int> starts = findCommand(kCommandStart);
  const std::vector<unsigned int> ends = findCommand(kCommandEnd);
  const auto invalid = [](const TracePoint& reason) {
    trace(reason, requesterId());
    return -1;
  };
  if (formats.size() != 1) {
    return invalid(kFmtNotOneFormat);
  }
  if (versions.size() != 1) {
    return invalid(kFmtNotOneVersion);
  }
  if (starts.size() != 1) {
    return invalid(kFmtNotOneStart);
  }
  if (ends.empty()) {
    return invalid(kFmtNoEnd);
  }
  const unsigned int start = starts.front();
  if (start < formats.front() || start < versions.front()) {
    return invalid(kFmtStartTooEarly);
  }
  if (ends.front() < start) {
    return invalid(kFmtEndTooEarly);
  }
  return 0;
}

int TblFmt00::checkNumber() {
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    trace(kFmtNumberNoArea, requesterId());
    return -1;
  }
  const unsigned int column = columnIndex(kColumnNumber);
  Cells cells(*this, *table_data_);
  NumberSet numbers;
  for (unsigned int row = start; row <= end; ++row) {
    const std::string& text = cells.text(row, kPlaceNumber);
    const ParsedNumber number = parseNumber(text, kHexBase);
    if (number.length != text.size()) {
      trace(kFmtNumberNotHex, requesterId(), row, column);
      return -1;
    }
    if (!numbers.insert(number.value)) {
      trace(kFmtNumberTwice, requesterId(), row, column, number.value);
      return -1;
    }
  }
  return 0;
}

int TblFmt00::checkLabel() {
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    trace(kFmtLabelNoArea, requesterId());
    return -1;
  }
  Cells cells(*this, *table_data_);
  item_check_list_t list[1] = {};
  fillItem(list[0], kColumnLabel, kLabelSet);
  std::set<std::string> labels;
  for (unsigned int row = start; row <= end; ++row) {
    const std::string& label = cells.text(row, kPlaceLabel);
    if (label.empty()) {
      continue;
    }
    if (labels.count(label) != 0) {
      trace(kFmtLabelTwice, requesterId(), row, columnIndex(kColumnLabel));
      return -1;
    }
    if (checkItemString(row, 1, list) != 0) {
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
  LabelIndex index(*table_data_, columnIndex(kColumnLabel), start, end);
  LabelIndex* const labels = cells.inPlace() ? &index : nullptr;
  for (unsigned int row = start; row <= end; ++row) {
    const std::string& command = cells.text(row, kPlaceCommand);
    const auto* entry =
        std::find_if(std::begin(kCommandChecks), std::end(kCommandChecks),
                     [&command](const CommandCheck& check) { return check.command == command; });
    if (entry == std::end(kCommandChecks)) {
      trace(kFmtUnknownCommand, command);
      return -1;
    }
    const int result = entry->check == &TblFmt00::checkCmdHAP ? checkHAPRow(row, cells, labels)
                       : entry->check == &TblFmt00::checkCmdCHECK
                           ? checkCheckRow(row, cells, labels)
                           : (this->*entry->check)(row);
    if (result != 0) {
      return result;
    }
  }
  return 0;
}

int TblFmt00::checkCmdSTART(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkItems(*this, cells, row, kStartSets);
}

int TblFmt00::checkCmdEND(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkItems(*this, cells, row, kEndSets);
}

int TblFmt00::checkCmdWAIT(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkItems(*this, cells, row, kWaitSets);
}

int TblFmt00::checkCmdTABLE(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkItems(*this, cells, row, kTableSets);
}

int TblFmt00::checkCmdHAP(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkHAPRow(row, cells, nullptr);
}

int TblFmt00::checkHAPRow(const unsigned int& row, Cells& cells, LabelIndex* labels) {
  if (checkItems(*this, cells, row, kHAPSets) != 0) {
    return -1;
  }
  if (!isParameterList(cells.text(row, kPlacePara))) {
    trace(kFmtHAPParameter, requesterId(), row, columnIndex(kColumnPara));
    return -1;
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    trace(kFmtHAPNoArea, requesterId());
    return -1;
  }
  const std::string& error = cells.text(row, kPlaceError);
  const bool is_label = !error.empty() && error != kErrorNop && error != kErrorStack;
  if (is_label && !isLabelOfOneRow(error, start, end, labels)) {
    trace(kFmtHAPLabel, requesterId(), row, columnIndex(kColumnError));
    return -1;
  }
  return 0;
}

int TblFmt00::checkCmdCHECK(const unsigned int& row) {
  Cells cells(*this, *table_data_);
  return checkCheckRow(row, cells, nullptr);
}

int TblFmt00::checkCheckRow(const unsigned int& row, Cells& cells, LabelIndex* labels) {
  if (checkItems(*this, cells, row, kCheckSets) != 0) {
    return -1;
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    trace(kFmtCheckNoArea, requesterId());
    return -1;
  }
  const std::string& error = cells.text(row, kPlaceError);
  if (!error.empty() && !isLabelOfOneRow(error, start, end, labels)) {
    trace(kFmtCheckLabel, requesterId(), row, columnIndex(kColumnError));
    return -1;
  }
  return 0;
}

}  // namespace kw::trx::trx
