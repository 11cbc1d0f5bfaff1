// SPDX-License-Identifier: Apache-2.0
// Claims about all runs of tables, as a case file and as JSON.
#ifndef KW_TRX_TOOLS_COMMANDS_EXPLORE_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_EXPLORE_OUTPUT_H_

#include <string>
#include <vector>

#include "analysis/claim_pattern.h"
#include "analysis/claims.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {

struct ExploreOptions {
  static constexpr std::size_t kUnlimited = 0xffffffff;

  std::vector<std::string> files;
  std::string table;
  std::string rules;
  std::vector<std::string> denied;
  std::vector<std::string> allowed;
  std::size_t max_calls = kUnlimited;
  std::size_t max_wait_ms = kUnlimited;
  std::size_t nest_limit = kTableNestLimit;
  std::size_t max_states = 2000000;
  bool strict = false;
  bool json = false;
};

/// The tables explored, and what came of them.
struct ExplorationResult {
  Program program;
  std::vector<Exploration> explorations;
  std::vector<Claim> unreached;  ///< rows, and rules that are not put to the test
  bool are_rules_open = false;   ///< a rule could not be judged by all runs
  std::vector<ClaimPattern> denied, allowed;
};

/// Whether there may be more claims than those that were found.
bool isLeftOpen(const ExplorationResult& result);

/// Both print all claims, with their witnesses as cases, and return how many were denied.
std::size_t printExploration(const ExploreOptions& options, const ExplorationResult& result);
std::size_t printExplorationJson(const ExploreOptions& options, const ExplorationResult& result);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_EXPLORE_OUTPUT_H_
