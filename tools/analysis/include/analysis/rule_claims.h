// SPDX-License-Identifier: Apache-2.0
// Rules judged by all runs of tables. One thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_RULE_CLAIMS_H_
#define KW_TRX_TOOLS_ANALYSIS_RULE_CLAIMS_H_

#include <vector>

#include "analysis/claims.h"
#include "cases/case_file.h"

namespace kw::trx::tools {

struct RuleClaims {
  std::vector<Claim>
      claims;                ///< a claim for each rule that a run breaks, with a shortest run to it
  std::vector<bool> tested;  ///< by rule, whether a run puts it to the test
  bool is_complete = true;   ///< false: there are more runs than could be looked at
};

/// Judges `rules` by all runs that `exploration` is of.
RuleClaims ruleClaims(const Program& program, const Exploration& exploration,
                      unsigned int nest_limit, std::size_t max_states,
                      const std::vector<LineOfRule>& rules);

/// A claim for each rule that none of several explorations puts to the test.
std::vector<Claim> untestedClaims(const std::vector<LineOfRule>& rules,
                                  const std::vector<bool>& tested);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_RULE_CLAIMS_H_
