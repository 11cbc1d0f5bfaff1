// SPDX-License-Identifier: Apache-2.0
#include "cases/case_writer.h"

#include <algorithm>

#include "cases/case_words.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

/// A list of rows is easier to read in lines of so many.
constexpr std::size_t kRowsInLine = 20;

std::string cellText(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    quoted += c == '"' ? std::string(2, c) : std::string(1, c);
  }
  return quoted + '"';
}

std::string row(const std::string& first, const std::vector<std::string>& cells) {
  std::string text = first;
  for (const std::string& cell : cells) {
    text += "," + cellText(cell);
  }
  return text + "\n";
}

std::string patternText(const CallPattern& pattern, const std::string& table) {
  return pattern.number ? RowId{pattern.table, *pattern.number}.text(table) : pattern.hap;
}

std::string outcomeRows(const TableCase& one) {
  std::string text;
  for (std::size_t i = 0; i < one.outcomes.size();) {
    const std::string where = patternText(one.outcomes[i].where, one.table);
    std::vector<std::string> cells = {where};
    bool repeats = false;
    do {
      const OutcomeRule& rule = one.outcomes[i];
      if (rule.period > 1 && !repeats) {
        cells.emplace_back(kOutcomesAgain);
        repeats = true;
      }
      cells.push_back(textOf(rule.outcome));
    } while (++i < one.outcomes.size() && one.outcomes[i].first > 1);
    text += row(kCaseHAP, cells);
  }
  return text;
}

std::string endRow(const ExpectedEnd& end) {
  switch (end.kind) {
    case ExpectedEnd::Kind::kOk:
      return row(kCaseEnd, {kEndOk});
    case ExpectedEnd::Kind::kNever:
      return row(kCaseEnd, {kEndNever});
    case ExpectedEnd::Kind::kError:
      return end.message ? row(kCaseEnd, {kEndError, *end.message}) : row(kCaseEnd, {kEndError});
    case ExpectedEnd::Kind::kException:
      break;
  }
  return end.code ? row(kCaseEnd, {kEndException, hexDigits(*end.code)})
                  : row(kCaseEnd, {kEndException});
}

std::string ranRows(const std::vector<std::string>& rows) {
  std::string text;
  for (std::size_t i = 0; i < rows.size(); i += kRowsInLine) {
    const auto from = rows.begin() + static_cast<std::ptrdiff_t>(i);
    const std::size_t count = std::min(kRowsInLine, rows.size() - i);
    text += row(kCaseRows, {from, from + static_cast<std::ptrdiff_t>(count)});
  }
  return text;
}

std::string calledRow(const ExpectedCall& call) {
  if (call.times == 0U && call.para.empty() && call.mode.empty()) {
    return row(kCaseNotCalled, {call.text});
  }
  std::vector<std::string> cells = {call.text, call.para, call.mode,
                                    call.times ? std::to_string(*call.times) : ""};
  while (cells.back().empty()) {
    cells.pop_back();
  }
  return row(kCaseCalled, cells);
}

}  // namespace

std::string tablesRows(const std::vector<std::string>& files, unsigned int nest_limit) {
  return row(kCaseTables, files) +
         (nest_limit == kTableNestLimit ? "" : row(kCaseNest, {std::to_string(nest_limit)}));
}

std::string commentRow(const std::string& text) {
  return cellText(std::string(1, kCaseComment) + ' ' + text) + "\n";
}

std::string caseRows(const TableCase& one, const std::string& first_table) {
  std::string text = one.table == first_table ? row(kCaseBegin, {one.name})
                                              : row(kCaseBegin, {one.name, one.table});
  text += one.units.empty() ? "" : row(kCaseUnit, one.units);
  text += outcomeRows(one);
  text += one.rows ? ranRows(*one.rows) : "";
  text += one.first_failing ? row(kCaseFirst, {*one.first_failing}) : "";
  for (const ExpectedCall& call : one.calls) {
    text += calledRow(call);
  }
  text += one.end ? endRow(*one.end) : "";
  return text + (one.wait_ms ? row(kCaseWait, {std::to_string(*one.wait_ms)}) : "");
}

}  // namespace kw::trx::tools
