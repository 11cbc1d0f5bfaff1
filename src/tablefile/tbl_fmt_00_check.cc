// SPDX-License-Identifier: Apache-2.0
// The rules of format 00.
#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "kw/trx/file_path.h"
#include "kw/trx/table_format.h"
#include "support/parse_number.h"
#include "support/requester_id.h"
#include "support/trace.h"
#include "tablefile/label_index.h"
#include "tablefile/words.h"

namespace kw::trx::trx {
namespace {

/// Allowed characters of a cell, as pairs of the first and the last one of a range.
using CharacterSet = std::string_view;
constexpr CharacterSet kNone = "";
constexpr CharacterSet kNameSet = "09azAZ__";
constexpr CharacterSet kLabelSet = "09azAZ__--";
constexpr CharacterSet kParameterSet = "09afAF  --";
constexpr CharacterSet kDigitSet = "09";

constexpr std::size_t kParaFieldMax = 8;

/// What the columns of a command may hold: HAP/TABLE, MODE, ERROR and PARA.
using CommandSets = std::array<CharacterSet, 4>;

void fillItem(TblFmtFactory::item_check_list_t& entry, const char* column, CharacterSet set) {
  entry.item = column;
  entry.rangeNum = static_cast<int>(set.size() / 2);
  for (std::size_t i = 0; i < set.size() / 2; ++i) {
    entry.ranges[i] = {set[2 * i], set[2 * i + 1]};
  }
}

int checkItems(TblFmt00& format, unsigned int row, const CommandSets& sets) {
  constexpr int count = 6;
  TblFmtFactory::item_check_list_t list[count] = {};
  fillItem(list[0], kColumnName, sets[0]);
  fillItem(list[1], kColumnMode, sets[1]);
  fillItem(list[2], kColumnError, sets[2]);
  fillItem(list[3], kColumnPara, sets[3]);
  fillItem(list[4], kColumnRsv1, kNone);
  fillItem(list[5], kColumnRsv2, kNone);
  return format.checkItemString(row, count, list);
}

bool isParameterList(const std::string& text) {
  const std::vector<std::string> fields =
      FilePath(text).getSpecificStringSplitValue(kParaSeparator);
  return std::all_of(fields.begin(), fields.end(), [](const std::string& field) {
    return !field.empty() && field.size() <= kParaFieldMax;
  });
}

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
  std::set<unsigned int> numbers;
  for (unsigned int row = start; row <= end; ++row) {
    const std::string text = getMember(row, kColumnNumber);
    const ParsedNumber number = parseNumber(text, kHexBase);
    if (number.length != text.size()) {
      trace(kFmtNumberNotHex, requesterId(), row, column);
      return -1;
    }
    if (!numbers.insert(number.value).second) {
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
  item_check_list_t list[1] = {};
  fillItem(list[0], kColumnLabel, kLabelSet);
  std::set<std::string> labels;
  for (unsigned int row = start; row <= end; ++row) {
    const std::string label = getMember(row, kColumnLabel);
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
  LabelIndex labels(*table_data_, columnIndex(kColumnLabel), start, end);
  for (unsigned int row = start; row <= end; ++row) {
    const std::string command = getMember(row, kColumnCommand);
    const auto* entry =
        std::find_if(std::begin(kCommandChecks), std::end(kCommandChecks),
                     [&command](const CommandCheck& check) { return check.command == command; });
    if (entry == std::end(kCommandChecks)) {
      trace(kFmtUnknownCommand, command);
      return -1;
    }
    const int result = command == kCommandHAP     ? checkHAPRow(row, &labels)
                       : command == kCommandCheck ? checkCheckRow(row, &labels)
                                                  : (this->*entry->check)(row);
    if (result != 0) {
      return result;
    }
  }
  return 0;
}

int TblFmt00::checkCmdSTART(const unsigned int& row) {
  return checkItems(*this, row, {kNone, kNone, kNone, kNone});
}

int TblFmt00::checkCmdEND(const unsigned int& row) {
  return checkItems(*this, row, {kLabelSet, kNone, kNone, kNone});
}

int TblFmt00::checkCmdWAIT(const unsigned int& row) {
  return checkItems(*this, row, {kNone, kDigitSet, kNone, kNone});
}

int TblFmt00::checkCmdTABLE(const unsigned int& row) {
  return checkItems(*this, row, {kNameSet, kNone, kNone, kNone});
}

int TblFmt00::checkCmdHAP(const unsigned int& row) { return checkHAPRow(row, nullptr); }

int TblFmt00::checkHAPRow(const unsigned int& row, LabelIndex* labels) {
  if (checkItems(*this, row, {kNameSet, kNameSet, kNameSet, kParameterSet}) != 0) {
    return -1;
  }
  if (!isParameterList(getMember(row, kColumnPara))) {
    trace(kFmtHAPParameter, requesterId(), row, columnIndex(kColumnPara));
    return -1;
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    trace(kFmtHAPNoArea, requesterId());
    return -1;
  }
  const std::string error = getMember(row, kColumnError);
  const bool is_label = !error.empty() && error != kErrorNop && error != kErrorStack;
  if (is_label && !isLabelOfOneRow(error, start, end, labels)) {
    trace(kFmtHAPLabel, requesterId(), row, columnIndex(kColumnError));
    return -1;
  }
  return 0;
}

int TblFmt00::checkCmdCHECK(const unsigned int& row) { return checkCheckRow(row, nullptr); }

int TblFmt00::checkCheckRow(const unsigned int& row, LabelIndex* labels) {
  if (checkItems(*this, row, {kNone, kNone, kLabelSet, kNone}) != 0) {
    return -1;
  }
  unsigned int start = 0;
  unsigned int end = 0;
  if (getRowOfTblArea(start, end) != 0) {
    trace(kFmtCheckNoArea, requesterId());
    return -1;
  }
  const std::string error = getMember(row, kColumnError);
  if (!error.empty() && !isLabelOfOneRow(error, start, end, labels)) {
    trace(kFmtCheckLabel, requesterId(), row, columnIndex(kColumnError));
    return -1;
  }
  return 0;
}

}  // namespace kw::trx::trx
