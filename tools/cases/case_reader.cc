// SPDX-License-Identifier: Apache-2.0
#include "cases/case_reader.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>

#include "cases/case_words.h"
#include "common/paths.h"
#include "common/text.h"
#include "engine/units.h"
#include "table/named_files.h"
#include "trace/record_collector.h"

namespace kw::trx::tools {
namespace {

unsigned int numberFrom(const Cells& cells, unsigned int column) {
  const std::optional<std::uint32_t> number = decimalNumber(cells[column]);
  if (!number) {
    throw Refusal{column, "'" + cells[column] + "' is no decimal number"};
  }
  return *number;
}

/// Refuses a second row of a kind that can only hold once.
void refuseSecond(bool is_read, const Cells& cells) {
  if (is_read) {
    throw Refusal{0, "a second row " + cells[0]};
  }
}

/// The rest of the file stands in such a cell when its quote is not closed.
void refuseLineEnds(const Cells& cells) {
  for (unsigned int column = 0; column < cells.size(); ++column) {
    if (cells[column].find_first_of("\r\n") != std::string::npos) {
      throw Refusal{column, "the cell begins with a quote that is not closed before the line ends"};
    }
  }
}

/// A number of so many digits has 64 bits.
constexpr std::size_t kWaitDigits = 19;
/// The pattern of a rule begins here.
constexpr unsigned int kRuleColumn = 2;
constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

}  // namespace

Cells cellsOf(const trx::TableData& data, unsigned int row) {
  Cells cells;
  for (int column = 0; column < data.columnSize(row); ++column) {
    cells.push_back(data.getMember(row, static_cast<unsigned int>(column)));
  }
  while (!cells.empty() && cells.back().empty()) {
    cells.pop_back();
  }
  return cells;
}

bool saysNothing(const Cells& cells) { return cells.empty() || cells[0][0] == kCaseComment; }

const std::map<std::string, CaseReader::Kind>& CaseReader::kinds() {
  static const std::map<std::string, Kind> kinds = {
      {kCaseTables, {&CaseReader::readTables, 2, kAnyNumber, false}},
      {kCaseNest, {&CaseReader::readNestLimit, 2, 2, false}},
      {kCaseRule, {&CaseReader::readRule, 3, kAnyNumber, false}},
      {kCaseBegin, {&CaseReader::beginCase, 2, 3, false}},
      {kCaseUnit, {&CaseReader::readUnits, 2, kAnyNumber, true}},
      {kCaseHAP, {&CaseReader::readOutcomes, 3, kAnyNumber, true}},
      {kCaseRows, {&CaseReader::readRows, 2, kAnyNumber, true}},
      {kCaseEnd, {&CaseReader::readEnd, 2, 3, true}},
      {kCaseFirst, {&CaseReader::readFirst, 2, 2, true}},
      {kCaseCalled, {&CaseReader::readCalled, 2, 5, true}},
      {kCaseNotCalled, {&CaseReader::readNotCalled, 2, kAnyNumber, true}},
      {kCaseWait, {&CaseReader::readWait, 2, 2, true}}};
  return kinds;
}

void CaseReader::read(const Cells& cells, unsigned int row) {
  row_ = row;
  line_ = lines_.lineOf(row, 0);
  refuseLineEnds(cells);
  if (saysNothing(cells)) {
    return;
  }
  const auto kind = kinds().find(cells[0]);
  if (kind == kinds().end()) {
    std::vector<std::string> names;
    for (const auto& [name, known] : kinds()) {
      names.push_back(name);
    }
    throw Refusal{0,
                  "'" + cells[0] + "' begins no row of a case file" + didYouMean(cells[0], names)};
  }
  if (kind->second.in_case && skips_) {
    return;
  }
  if (kind->second.in_case && file_.cases.empty()) {
    throw Refusal{0, cells[0] + " stands before the first " + kCaseBegin};
  }
  if (cells.size() < kind->second.least) {
    throw Refusal{static_cast<unsigned int>(cells.size()),
                  "there is nothing behind " + cells.back()};
  }
  if (cells.size() > kind->second.most) {
    throw Refusal{static_cast<unsigned int>(kind->second.most),
                  "'" + cells[kind->second.most] + "' is one cell too many"};
  }
  (this->*kind->second.read)(cells);
}

void CaseReader::readTables(const Cells& cells) {
  const std::filesystem::path folder = std::filesystem::path(file_.file).parent_path();
  refuseSecond(!file_.tables.empty(), cells);
  for (unsigned int column = 1; column < cells.size(); ++column) {
    const std::string file = (folder / cells[column]).string();
    file_.tables.push_back(file);
    TableFlow flow;
    if (readFlow(file, flow)) {
      tables_[flow.name] = std::move(flow);
    } else {
      throw Refusal{column, "the engine does not load " + file + "; see trxctl check"};
    }
  }
}

void CaseReader::readNestLimit(const Cells& cells) {
  if (!file_.cases.empty()) {
    throw Refusal{0,
                  std::string("it holds for all cases, and stands before the first ") + kCaseBegin};
  }
  refuseSecond(std::exchange(is_nest_limit_read_, true), cells);
  const std::uint64_t limit = numberFrom(cells, 1);
  if (limit > kMaxNestLimit) {
    throw Refusal{1, "'" + cells[1] + "' is more than " + std::to_string(kMaxNestLimit)};
  }
  file_.nest_limit = static_cast<unsigned int>(limit);
}

void CaseReader::readRule(const Cells& cells) {
  if (file_.tables.empty()) {
    throw Refusal{0, std::string("a row ") + kCaseTables + " with the table files comes first"};
  }
  const auto [first, is_new] = rule_lines_.insert({cells[1], line_});
  if (!is_new) {
    throw Refusal{1, "the rule in line " + std::to_string(first->second) + " has this name too"};
  }
  try {
    Rule rule =
        ruleFrom({cells.begin() + kRuleColumn, cells.end()}, tableNameOf(file_.tables[0]), tables_);
    rule.name = cells[1];
    file_.rules.push_back({std::move(rule), line_});
  } catch (const RuleProblem& problem) {
    throw Refusal{static_cast<unsigned int>(problem.cell) + kRuleColumn, problem.message};
  }
}

void CaseReader::beginCase(const Cells& cells) {
  skips_ = true;
  if (file_.tables.empty()) {
    throw Refusal{0, std::string("a row ") + kCaseTables + " with the table files comes first"};
  }
  const std::string table = cells.size() > 2 ? cells[2] : tableNameOf(file_.tables[0]);
  if (tables().count(table) == 0) {
    std::vector<std::string> names;
    for (const auto& [name, flow] : tables()) {
      names.push_back(name);
    }
    throw Refusal{2, "there is no table '" + table + "' among those of " + kCaseTables +
                         tableHint(table, names)};
  }
  const auto [first, is_new] = case_lines_.insert({cells[1], line_});
  if (!is_new) {
    throw Refusal{1, "the case in line " + std::to_string(first->second) + " has this name too"};
  }
  skips_ = false;
  TableCase added;
  added.name = cells[1];
  added.line = line_;
  added.table = table;
  file_.cases.push_back(added);
}

void CaseReader::readUnits(const Cells& cells) {
  for (unsigned int column = 1; column < cells.size(); ++column) {
    const std::string problem = unitProblem(cells[column]);
    if (!problem.empty()) {
      throw Refusal{column, problem};
    }
    current().units.push_back(cells[column]);
  }
}

void CaseReader::readOutcomes(const Cells& cells) {
  OutcomeRule rule{callPatternOf(cells, 1), {}};
  const auto again = static_cast<std::size_t>(
      std::find(cells.begin(), cells.end(), kOutcomesAgain) - cells.begin());
  if (again + 1 == cells.size()) {
    throw Refusal{static_cast<unsigned int>(again),
                  std::string("there is nothing behind ") + kOutcomesAgain};
  }
  rule.first = 0;
  for (unsigned int column = 2; column < cells.size(); ++column) {
    if (column == again) {
      rule.period = static_cast<unsigned int>(cells.size() - again - 1);
      continue;
    }
    const std::optional<HAPOutcome> outcome = outcomeFrom(cells[column]);
    if (!outcome) {
      throw Refusal{column, "'" + cells[column] + "' is not " + kOutcomeForms};
    }
    // The last one holds for all further calls.
    rule.outcome = *outcome;
    ++rule.first;
    refuseUndescribed(rule.where, *outcome, column);
    current().outcomes.push_back(rule);
  }
}

/// A failure with a code that none of the HAPs it is for can have tries what never happens.
void CaseReader::refuseUndescribed(const CallPattern& where, const HAPOutcome& outcome,
                                   unsigned int column) const {
  if (outcome.kind != HAPOutcome::Kind::kFailure || outcome.code == 0 || outcome.is_undescribed) {
    return;
  }
  std::string hap = where.hap;
  if (where.number) {
    for (const FlowRow& row : tables().at(where.table).rows) {
      hap = row.id.number == *where.number ? row.name : hap;
    }
  }
  const auto found = descriptions_.find(hap);
  if (found != descriptions_.end() && found->second.errors.count(outcome.code) == 0) {
    std::vector<std::string> codes;
    for (const auto& [code, about] : found->second.errors) {
      codes.push_back(hexDigits(code));
    }
    throw Refusal{column, hap + " does not record the error " + hexDigits(outcome.code) +
                              (codes.empty() ? "" : ", but " + listed(codes)) +
                              "; write undescribed behind it if it does"};
  }
}

void CaseReader::readRows(const Cells& cells) {
  std::vector<std::string> rows = current().rows.value_or(std::vector<std::string>());
  for (unsigned int column = 1; column < cells.size(); ++column) {
    rows.push_back(rowOf(cells, column));
  }
  current().rows = rows;
}

void CaseReader::readEnd(const Cells& cells) {
  refuseSecond(current().end.has_value(), cells);
  ExpectedEnd end;
  if (cells[1] == kEndNever && cells.size() == 2) {
    end.kind = ExpectedEnd::Kind::kNever;
  } else if (cells[1] == kEndError) {
    end.kind = ExpectedEnd::Kind::kError;
  } else if (cells[1] == kEndException) {
    end.kind = ExpectedEnd::Kind::kException;
  } else if (cells[1] != kEndOk || cells.size() > 2) {
    throw Refusal{1, "an end is " + std::string(kEndOk) + ", " + kEndError +
                         " with the message of the table, " + kEndException +
                         " with its code, or " + kEndNever};
  }
  if (cells.size() > 2 && end.kind == ExpectedEnd::Kind::kError) {
    end.message = cells[2];
  }
  if (cells.size() > 2 && end.kind == ExpectedEnd::Kind::kException) {
    end.code = hexNumber(cells[2]);
    if (!end.code) {
      throw Refusal{2, "'" + cells[2] + "' is no hexadecimal code"};
    }
  }
  current().end = end;
}

void CaseReader::readFirst(const Cells& cells) {
  refuseSecond(current().first_failing.has_value(), cells);
  current().first_failing = cells[1] == kFirstNone ? cells[1] : rowOf(cells, 1);
}

void CaseReader::readCalled(const Cells& cells) {
  const auto cell = [&cells](std::size_t column) {
    return column < cells.size() ? cells[column] : std::string();
  };
  ExpectedCall call{callPatternOf(cells, 1), cells[1], cell(2), cell(3), std::nullopt};
  if (cells.size() > 4) {
    call.times = numberFrom(cells, 4);
  }
  current().calls.push_back(call);
}

void CaseReader::readNotCalled(const Cells& cells) {
  for (unsigned int column = 1; column < cells.size(); ++column) {
    current().calls.push_back({callPatternOf(cells, column), cells[column], "", "", 0});
  }
}

void CaseReader::readWait(const Cells& cells) {
  refuseSecond(current().wait_ms.has_value(), cells);
  const std::string& digits = cells[1];
  if (digits.size() > kWaitDigits || digits.find_first_not_of("0123456789") != std::string::npos) {
    throw Refusal{1, "'" + digits + "' is no decimal number"};
  }
  current().wait_ms = std::stoull(digits);
}

void CaseReader::refused(const Cells& cells) {
  const auto kind = cells.empty() ? kinds().end() : kinds().find(cells[0]);
  const bool is_case_row = !cells.empty() && (cells[0] == kCaseBegin || cells[0] == kCaseRule);
  const bool is_of_case =
      kind == kinds().end() ? !file_.cases.empty() || skips_ : kind->second.in_case;
  is_useless_ = is_useless_ || !(is_of_case || is_case_row);
  if (is_of_case && !skips_) {
    refused_cases_.insert(file_.cases.size() - 1);
  }
}

void CaseReader::finish() {
  std::vector<TableCase> cases;
  for (std::size_t i = 0; i < file_.cases.size(); ++i) {
    const TableCase& one = file_.cases[i];
    const bool is_refused = is_useless_ || refused_cases_.count(i) != 0;
    if (!is_refused && one.expectsSomething()) {
      cases.push_back(one);
    } else if (!is_refused) {
      file_.findings.push_back({true, one.line, columnTitle(0, false),
                                "the case expects nothing, not even an " + std::string(kCaseEnd)});
    }
  }
  file_.refused = case_lines_.size() - cases.size();
  file_.cases = std::move(cases);
}

CallPattern CaseReader::callPatternOf(const Cells& cells, unsigned int column) const {
  try {
    return callPatternFrom(cells[column], file_.cases.back().table, tables());
  } catch (const std::invalid_argument& problem) {
    throw Refusal{column, problem.what()};
  }
}

std::string CaseReader::rowOf(const Cells& cells, unsigned int column) const {
  const std::string& table = file_.cases.back().table;
  try {
    const CallPattern pattern = patternFrom(cells[column], table, tables());
    if (!pattern.number) {
      throw Refusal{column, "'" + cells[column] + "' is not the NUMBER of a row"};
    }
    return RowId{pattern.table, *pattern.number}.text(table);
  } catch (const std::invalid_argument& problem) {
    throw Refusal{column, problem.what()};
  }
}

}  // namespace kw::trx::tools
