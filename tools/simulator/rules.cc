// SPDX-License-Identifier: Apache-2.0
#include "simulator/rules.h"

#include <set>
#include <stdexcept>

#include "common/text.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

std::vector<std::string> calledHAPs(const TableFlows& tables) {
  std::set<std::string> haps;
  for (const auto& [name, table] : tables) {
    for (const FlowRow& row : table.rows) {
      if (row.command == Command::kHAP) {
        haps.insert(row.name);
      }
    }
  }
  return {haps.begin(), haps.end()};
}

bool isCalled(const std::string& hap, const TableFlows& tables) {
  for (const auto& [name, table] : tables) {
    for (const FlowRow& row : table.rows) {
      if (row.command == Command::kHAP && row.name == hap) {
        return true;
      }
    }
  }
  return false;
}

/// Null: the table has no such row.
const FlowRow* findRow(const TableFlow& table, unsigned int number) {
  for (const FlowRow& row : table.rows) {
    if (row.id.number == number) {
      return &row;
    }
  }
  return nullptr;
}

[[noreturn]] void refuse(const std::string& words) { throw std::invalid_argument(words); }

CallPattern rowPattern(const std::string& table, unsigned int number, const TableFlows& tables) {
  const auto found = tables.find(table);
  if (found == tables.end()) {
    std::vector<std::string> names;
    for (const auto& [name, flow] : tables) {
      names.push_back(name);
    }
    refuse("there is no table '" + table + "'" + didYouMean(table, names));
  }
  if (findRow(found->second, number) == nullptr) {
    refuse("no row of table " + table + " has the NUMBER " + hexDigits(number));
  }
  return {"", table, number};
}

}  // namespace

bool CallPattern::matches(const HAPCall& call) const {
  return (hap.empty() || hap == call.hap) && (table.empty() || table == call.row.table) &&
         (!number || *number == call.row.number);
}

std::optional<CallPattern> rowPatternFrom(const std::string& text, const std::string& table,
                                          const TableFlows& tables) {
  const std::size_t separator = text.rfind(kRowSeparator);
  const bool in_table = separator != std::string::npos;
  const std::string name = in_table ? text.substr(0, separator) : table;
  const std::string written = in_table ? text.substr(separator + 1) : text;
  if (const std::optional<std::uint32_t> number = hexNumber(written)) {
    return rowPattern(name, *number, tables);
  }
  // The engine makes 32 bits of -2 and of 100000003.
  if (const auto found = tables.find(name); found != tables.end()) {
    for (const FlowRow& row : found->second.rows) {
      if (row.number == written) {
        return CallPattern{"", name, row.id.number};
      }
    }
  }
  return std::nullopt;
}

CallPattern patternFrom(const std::string& text, const std::string& table,
                        const TableFlows& tables) {
  if (isCalled(text, tables)) {
    return {text, "", std::nullopt};
  }
  const std::optional<CallPattern> row = rowPatternFrom(text, table, tables);
  if (!row) {
    refuse("no row calls a HAP '" + text + "'" + didYouMean(text, calledHAPs(tables)));
  }
  return *row;
}

CallPattern callPatternFrom(const std::string& text, const std::string& table,
                            const TableFlows& tables) {
  CallPattern pattern = patternFrom(text, table, tables);
  if (pattern.number) {
    const FlowRow& row = *findRow(tables.at(pattern.table), *pattern.number);
    if (row.command != Command::kHAP) {
      refuse("row " + hexDigits(*pattern.number) + " of table " + pattern.table + " is a row of " +
             wordOf(row.command) + ", which calls no HAP");
    }
  }
  return pattern;
}

OutcomePlan::OutcomePlan(const std::vector<OutcomeRule>& rules)
    : rules_(rules), calls_(rules.size()) {
  for (std::size_t i = 0; i < rules.size(); ++i) {
    const CallPattern& where = rules[i].where;
    (where.number ? by_number_[*where.number] : by_hap_[where.hap]).push_back(i);
  }
}

std::size_t OutcomePlan::take(const Places& places, const HAPCall& call) {
  std::size_t last = rules_.size();
  for (const std::size_t i : places) {
    const OutcomeRule& rule = rules_[i];
    if (!rule.where.matches(call)) {
      continue;
    }
    const unsigned int nth = ++calls_[i];
    if (rule.first <= nth && nth <= rule.last && (nth - rule.first) % rule.period == 0) {
      last = i;
    }
  }
  return last;
}

HAPOutcome OutcomePlan::choose(const HAPCall& call) {
  std::size_t last = rules_.size();
  const auto consider = [&](const Places& places) {
    const std::size_t found = take(places, call);
    last = found == rules_.size() || (last != rules_.size() && found < last) ? last : found;
  };
  if (const auto rows = by_number_.find(call.row.number); rows != by_number_.end()) {
    consider(rows->second);
  }
  if (const auto haps = by_hap_.find(call.hap); haps != by_hap_.end()) {
    consider(haps->second);
  }
  return last == rules_.size() ? HAPOutcome() : rules_[last].outcome;
}

}  // namespace kw::trx::tools
