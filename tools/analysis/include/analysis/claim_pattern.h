// SPDX-License-Identifier: Apache-2.0
// Claims as options name them.
#ifndef KW_TRX_TOOLS_ANALYSIS_CLAIM_PATTERN_H_
#define KW_TRX_TOOLS_ANALYSIS_CLAIM_PATTERN_H_

#include <optional>
#include <string>
#include <vector>

#include "analysis/claims.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// Claims of one kind, or those of one subject.
struct ClaimPattern {
  Claim::Kind kind;
  std::optional<std::string> subject;  ///< a row as NUMBER or TABLE/NUMBER

  /// Whether it names `claim`, which is one of runs of the table `entry`.
  bool matches(const Claim& claim, const std::string& entry) const;
};

/// The pattern written as KIND, or as KIND=SUBJECT, where `tables` are known and runs of `entries`
/// are looked at. Throws `std::invalid_argument` with a message when that is no kind, or claims of
/// it can have no such subject: a row that is in no table, a message that no END row has, a name
/// that no TABLE row calls.
ClaimPattern claimPatternFrom(const std::string& text, const TableFlows& tables,
                              const std::vector<std::string>& entries);

/// What is wrong with the KIND of such a text, whatever tables there are; empty: nothing.
std::string claimKindProblem(const std::string& text);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_CLAIM_PATTERN_H_
