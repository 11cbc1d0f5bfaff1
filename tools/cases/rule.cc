// SPDX-License-Identifier: Apache-2.0
#include "cases/rule.h"

#include <array>
#include <stdexcept>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr char kEnds[] = "always ends";
constexpr char kFailsSuffix[] = " fails";
constexpr char kSucceedsSuffix[] = " succeeds";
constexpr char kTablePrefix[] = "table ";
constexpr char kMessagePrefix[] = "message ";
constexpr char kCellSeparator = ':';

/// What stands in a cell of a pattern: an event or a number in place of these, else the word.
constexpr char kA[] = "A", kB[] = "B", kC[] = "C", kN[] = "N";

struct Pattern {
  Rule::Kind kind;
  std::vector<std::string> cells;
};

const std::array<Pattern, 7>& patterns() {
  static const std::array<Pattern, 7> patterns = {
      {{Rule::Kind::kEnds, {kEnds}},
       {Rule::Kind::kNever, {kA, "never"}},
       {Rule::Kind::kBefore, {kA, "before", kB}},
       {Rule::Kind::kAfter, {"after", kA, kB, "comes before the end"}},
       {Rule::Kind::kBetween, {"between", kA, "and", kB, "no", kC}},
       {Rule::Kind::kAtMost, {kA, "at most", kN, "times"}},
       {Rule::Kind::kWithin, {kB, "within", kN, "ms of", kA}}}};
  return patterns;
}

bool isWord(const std::string& cell) {
  return cell != kA && cell != kB && cell != kC && cell != kN;
}

bool fits(const Pattern& pattern, const std::vector<std::string>& cells) {
  bool fits = pattern.cells.size() == cells.size();
  for (std::size_t i = 0; fits && i < cells.size(); ++i) {
    fits = !isWord(pattern.cells[i]) || pattern.cells[i] == cells[i];
  }
  return fits;
}

std::string joined(const std::vector<std::string>& cells, const char* separator) {
  std::string text;
  for (const std::string& cell : cells) {
    text += (text.empty() ? "" : separator) + cell;
  }
  return text;
}

/// Takes `affix` off the front or the end of `text`.
bool cutFront(std::string& text, const std::string& affix) {
  const bool has = text.rfind(affix, 0) == 0;
  text = has ? text.substr(affix.size()) : text;
  return has;
}

bool cutEnd(std::string& text, const std::string& affix) {
  const bool has = text.size() > affix.size() &&
                   text.compare(text.size() - affix.size(), affix.size(), affix) == 0;
  text = has ? text.substr(0, text.size() - affix.size()) : text;
  return has;
}

/// HAP, HAP:MODE or HAP:MODE:WORDS, or a row.
void readCall(RuleEvent& event, std::string text, const std::string& table,
              const TableFlows& tables) {
  const std::size_t mode = text.find(kCellSeparator);
  if (mode != std::string::npos) {
    const std::size_t words = text.find(kCellSeparator, mode + 1);
    event.mode = text.substr(mode + 1, words == std::string::npos ? words : words - mode - 1);
    if (words != std::string::npos) {
      event.words = text.substr(words + 1);
      event.mode = event.mode->empty() ? std::nullopt : event.mode;
    }
    text = text.substr(0, mode);
  }
  const bool is_call = event.mode || event.words || event.outcome != RuleEvent::Outcome::kAny;
  event.where = is_call ? callPatternFrom(text, table, tables) : patternFrom(text, table, tables);
}

RuleEvent eventFrom(const std::string& cell, const std::string& table, const TableFlows& tables) {
  RuleEvent event;
  event.text = cell;
  std::string text = cell;
  if (cutFront(text, kTablePrefix)) {
    if (tables.count(text) == 0) {
      throw std::invalid_argument("there is no table '" + text + "' among those of TABLES");
    }
    event.table = text;
  } else if (cutFront(text, kMessagePrefix)) {
    event.message = text;
    for (const auto& [name, flow] : tables) {
      for (const FlowRow& row : flow.rows) {
        if (row.endsWithMessage() && row.name == text) {
          return event;
        }
      }
    }
    throw std::invalid_argument("no END row has the message '" + text + "'");
  } else {
    event.outcome = cutEnd(text, kFailsSuffix)      ? RuleEvent::Outcome::kFails
                    : cutEnd(text, kSucceedsSuffix) ? RuleEvent::Outcome::kSucceeds
                                                    : RuleEvent::Outcome::kAny;
    readCall(event, text, table, tables);
  }
  return event;
}

void readCell(Rule& rule, const std::string& place, const std::string& cell,
              const std::string& table, const TableFlows& tables) {
  if (place == kN) {
    const std::optional<std::uint32_t> number = decimalNumber(cell);
    if (!number) {
      throw std::invalid_argument("'" + cell + "' is no decimal number");
    }
    rule.number = *number;
    return;
  }
  (place == kA ? rule.a : place == kB ? rule.b : rule.c) = eventFrom(cell, table, tables);
}

}  // namespace

bool RuleEvent::matches(const FlowRow& row, bool fails) const {
  if (!table.empty()) {
    return row.command == Command::kStart && row.id.table == table;
  }
  if (!message.empty()) {
    return row.endsWithMessage() && row.name == message;
  }
  const bool is_place = where.number ? row.id.table == where.table && row.id.number == *where.number
                                     : row.command == Command::kHAP && row.name == where.hap;
  return is_place && (!mode || *mode == row.mode) && (!words || *words == row.para) &&
         (outcome == Outcome::kAny || (outcome == Outcome::kFails) == fails);
}

std::vector<const RuleEvent*> Rule::events() const {
  std::vector<const RuleEvent*> events;
  for (const RuleEvent* event : {&a, &b, &c}) {
    if (!event->text.empty()) {
      events.push_back(event);
    }
  }
  return events;
}

Rule ruleFrom(const std::vector<std::string>& cells, const std::string& table,
              const TableFlows& tables) {
  std::vector<std::string> known;
  for (const Pattern& pattern : patterns()) {
    known.push_back(joined(pattern.cells, ","));
    if (!fits(pattern, cells)) {
      continue;
    }
    Rule rule;
    rule.kind = pattern.kind;
    rule.text = joined(cells, " ");
    for (std::size_t i = 0; i < cells.size(); ++i) {
      try {
        if (!isWord(pattern.cells[i])) {
          readCell(rule, pattern.cells[i], cells[i], table, tables);
        }
      } catch (const std::invalid_argument& problem) {
        throw RuleProblem{i, problem.what()};
      }
    }
    return rule;
  }
  throw RuleProblem{0, "a rule is one of " + listed(known, kAllNames, " or ")};
}

RuleState startOf(const Rule& rule) {
  RuleState state;
  state.is_tested = rule.kind == Rule::Kind::kEnds || rule.kind == Rule::Kind::kNever;
  return state;
}

/// `value` is 1 for an A that has come and still counts, the number of them for `kAtMost`, and 1
/// more than the milliseconds since then for `kWithin`.
void take(const Rule& rule, RuleState& state, const FlowRow& row, bool fails,
          std::uint64_t time_ms) {
  const bool a = rule.kind != Rule::Kind::kEnds && rule.a.matches(row, fails);
  const bool b = !rule.b.text.empty() && rule.b.matches(row, fails);
  const std::uint64_t before = state.value;
  switch (rule.kind) {
    case Rule::Kind::kEnds:
      break;
    case Rule::Kind::kNever:
      state.is_broken = state.is_broken || a;
      break;
    case Rule::Kind::kBefore:
      state.is_tested = state.is_tested || b;
      state.is_broken = state.is_broken || (b && before == 0);
      state.value = a ? 1 : before;
      break;
    case Rule::Kind::kAfter:
      state.is_tested = state.is_tested || a;
      state.value = a ? 1 : b ? 0 : before;
      break;
    case Rule::Kind::kBetween:
      state.is_tested = state.is_tested || a;
      state.is_broken = state.is_broken || (before != 0 && rule.c.matches(row, fails));
      state.value = a ? 1 : b ? 0 : before;
      break;
    case Rule::Kind::kAtMost:
      state.is_tested = state.is_tested || a;
      state.value = before + (a && !state.is_broken ? 1 : 0);
      state.is_broken = state.value > rule.number;
      break;
    case Rule::Kind::kWithin:
      state.is_tested = state.is_tested || a;
      state.value = b ? 0 : before;
      state.value = a && state.value == 0 ? 1 : state.value;
      if (state.value != 0 && !state.is_broken) {
        state.value += time_ms;
        state.is_broken = state.value > rule.number + 1;
      }
      break;
  }
}

void takeEnd(const Rule& rule, RuleState& state, bool ends) {
  const bool waits = rule.kind == Rule::Kind::kAfter || rule.kind == Rule::Kind::kWithin;
  state.is_broken = state.is_broken || (ends && waits && state.value != 0) ||
                    (!ends && rule.kind == Rule::Kind::kEnds);
}

}  // namespace kw::trx::tools
