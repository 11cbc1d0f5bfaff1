// SPDX-License-Identifier: Apache-2.0
// Whether two sets of tables do the same in all runs. One thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_COMPARISON_H_
#define KW_TRX_TOOLS_ANALYSIS_COMPARISON_H_

#include <string>
#include <vector>

#include "analysis/program.h"

namespace kw::trx::tools {

/// Something that the machine or the host sees of one run and not of the other.
struct Difference {
  enum class Kind {
    kCalls,    ///< a HAP is called where the other one calls another, waits or ends
    kMode,     ///< of a HAP
    kWords,    ///< of a HAP
    kWaits,    ///< for another time, or where the other one ends
    kEnd,      ///< success, error, or none
    kMessage,  ///< of the table
    kFailing,  ///< the first failing row by what it calls
    kRows,     ///< other rows run
  };

  Kind kind;
  std::string old_text, new_text;          ///< what each does there
  std::vector<bool> old_fails, new_fails;  ///< outcomes of its calls in their order
};

const char* nameOf(Difference::Kind kind);

struct ComparisonOptions {
  unsigned int nest_limit;
  std::size_t max_states;  ///< pairs of states of a table: no further ones are looked at
  bool rows = false;       ///< rows with other NUMBERs or LABELs make a difference
  std::size_t max_differences = 1000;
};

/// What was found out of one table.
struct Comparison {
  std::size_t states = 0;
  bool is_complete = true;  ///< false: there may be more differences
  /// The shortest run, by what it does, to each pair of rows that differ in a kind. What comes
  /// behind a call or wait that one of both has alone, or has in place of another, is compared when
  /// both do the same then.
  std::vector<Difference> differences;
};

/// Runs the table `old_table` of `old_program` and `new_table` of `new_program` in lockstep, with
/// all outcomes of their HAPs.
Comparison compare(const Program& old_program, int old_table, const Program& new_program,
                   int new_table, const ComparisonOptions& options);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_COMPARISON_H_
