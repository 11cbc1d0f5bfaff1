// SPDX-License-Identifier: Apache-2.0
// How good cases are: whether they notice faults in their tables. No other thread may run.
#ifndef KW_TRX_TOOLS_ANALYSIS_MUTANT_TEST_H_
#define KW_TRX_TOOLS_ANALYSIS_MUTANT_TEST_H_

#include <string>
#include <vector>

#include "cases/case_file.h"

namespace kw::trx::tools {

/// What became of one fault.
struct MutantResult {
  enum class Kind {
    kNoticed,     ///< a case fails, or a rule is broken
    kSame,        ///< the tables do the same in all runs
    kNotNoticed,  ///< they do not, and no case fails
    kOpen,        ///< whether they do the same is not known
    kRefused,     ///< the engine does not load the table
  };

  Kind kind;
  std::string file;
  unsigned int line;          ///< of the row in the file
  std::string change;         ///< in words
  std::string noticed_by;     ///< a case, or a rule
  std::string before, after;  ///< what the tables do, and do with a fault that is not noticed
  std::string rows;           ///< of a case that notices it; empty: none would
};

struct MutantOptions {
  std::size_t jobs;
  std::size_t max_states;
};

/// Puts faults into the tables of `file` one by one and runs its cases, which must all pass.
/// Throws `std::runtime_error` when no process or folder can be made.
std::vector<MutantResult> testMutants(const CaseFile& file, const MutantOptions& options);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_MUTANT_TEST_H_
