// SPDX-License-Identifier: Apache-2.0
// Which calls of HAPs have which outcome.
#ifndef KW_TRX_TOOLS_SIMULATOR_RULES_H_
#define KW_TRX_TOOLS_SIMULATOR_RULES_H_

#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulator/simulator.h"

namespace kw::trx::tools {

/// Calls of one HAP, or of one row.
struct CallPattern {
  std::string hap;                     ///< empty: of any
  std::string table;                   ///< of the row; empty: any
  std::optional<unsigned int> number;  ///< NUMBER of the row; none: of any row

  bool matches(const HAPCall& call) const;
};

/// The row written as the NUMBER of one of `table`, or as TABLE/NUMBER, in hexadecimal as the
/// engine reads it or as its cell has it; none when `text` writes neither. Throws
/// `std::invalid_argument` in words when `tables` have no such row.
std::optional<CallPattern> rowPatternFrom(const std::string& text, const std::string& table,
                                          const TableFlows& tables);

/// The pattern written as a HAP, such as PSU_Enable, as the NUMBER of a row of `table`, or as
/// TABLE/NUMBER. Throws `std::invalid_argument` in words when `tables` call no such HAP or have no
/// such row.
CallPattern patternFrom(const std::string& text, const std::string& table,
                        const TableFlows& tables);

/// The same; throws also for a row that is no HAP row, so that nothing would come of it.
CallPattern callPatternFrom(const std::string& text, const std::string& table,
                            const TableFlows& tables);

/// The outcome of the calls of `where` from the `first` to the `last`, counted from 1; with a
/// `period`, of each so manieth of them alone.
struct OutcomeRule {
  CallPattern where;
  HAPOutcome outcome;
  unsigned int first = 1;
  unsigned int last = std::numeric_limits<unsigned int>::max();
  unsigned int period = 1;
};

/// Gives the calls of one run their outcomes. The last rule that matches counts; without one a call
/// succeeds.
class OutcomePlan {
 public:
  /// `rules` must outlive it.
  explicit OutcomePlan(const std::vector<OutcomeRule>& rules);

  HAPOutcome choose(const HAPCall& call);

 private:
  using Places = std::vector<std::size_t>;

  /// The last rule of one list that gives the call an outcome; `rules_.size()`: none does.
  std::size_t take(const Places& places, const HAPCall& call);

  const std::vector<OutcomeRule>& rules_;
  std::map<unsigned int, Places> by_number_;  // rules of rows
  std::map<std::string, Places> by_hap_;      // rules of HAPs
  std::vector<unsigned int> calls_;           // that matched each rule
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_SIMULATOR_RULES_H_
