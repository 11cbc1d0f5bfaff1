// SPDX-License-Identifier: Apache-2.0
// What must hold for every run of tables. Any thread.
#ifndef KW_TRX_TOOLS_CASES_RULE_H_
#define KW_TRX_TOOLS_CASES_RULE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/rules.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// Something that rows of a run do.
struct RuleEvent {
  enum class Outcome { kAny, kSucceeds, kFails };

  std::string text;                        ///< as written
  CallPattern where;                       ///< a HAP, or a row
  std::optional<std::string> mode, words;  ///< of the HAP; none: any
  std::string table;                       ///< that starts; empty: no such event
  std::string message;                     ///< that the request ends with; empty: no such event
  Outcome outcome = Outcome::kAny;         ///< of the HAP

  bool matches(const FlowRow& row, bool fails) const;
  /// Whether records of a run tell of it: they tell neither words nor messages.
  bool isRecorded() const { return !words && message.empty(); }
};

struct Rule {
  enum class Kind {
    kEnds,     ///< always ends
    kNever,    ///< a never
    kBefore,   ///< a before b
    kAfter,    ///< after a b comes before the end
    kBetween,  ///< between a and b no c
    kAtMost,   ///< a at most n times
    kWithin,   ///< b within n ms of a
  };

  Kind kind;
  std::string name;
  std::string text;  ///< as written
  RuleEvent a, b, c;
  std::uint64_t number = 0;

  std::vector<const RuleEvent*> events() const;
};

/// A cell that is not understood.
struct RuleProblem {
  std::size_t cell;
  std::string message;
};

/// The rule written in `cells`. NUMBERs alone are those of rows of `table`. Throws `RuleProblem`.
Rule ruleFrom(const std::vector<std::string>& cells, const std::string& table,
              const TableFlows& tables);

/// What a run has done so far for a rule.
struct RuleState {
  std::uint64_t value = 0;
  bool is_tested = false;  ///< it has done what the rule speaks of
  bool is_broken = false;

  bool operator==(const RuleState& other) const {
    return value == other.value && is_tested == other.is_tested && is_broken == other.is_broken;
  }
};

/// Before the first row.
RuleState startOf(const Rule& rule);

/// Takes one row, in which its HAP fails or not, and `time_ms` until the next one.
void take(const Rule& rule, RuleState& state, const FlowRow& row, bool fails,
          std::uint64_t time_ms);

/// Takes the end of the run, or that it has none.
void takeEnd(const Rule& rule, RuleState& state, bool ends);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_RULE_H_
