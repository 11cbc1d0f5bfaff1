// SPDX-License-Identifier: Apache-2.0
// Differences of two sets of tables, as text and as JSON.
#ifndef KW_TRX_TOOLS_COMMANDS_COMPARE_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_COMPARE_OUTPUT_H_

#include <string>
#include <vector>

#include "analysis/comparison.h"

namespace kw::trx::tools {

/// A run with both sets.
struct RunPair {
  std::vector<std::string> old_lines, new_lines;
};

struct ComparedTable {
  std::string name;
  std::string missing;  ///< why it cannot be compared, as it is in one of both alone; empty: it can
  Comparison comparison;
  std::vector<RunPair> runs;  ///< of the differences

  bool isSame() const { return missing.empty() && comparison.differences.empty(); }
};

struct ComparedRequest {
  std::string name;
  std::string problem;  ///< why it cannot be replayed; empty: it can
  RunPair runs;

  bool isSame() const { return runs.old_lines == runs.new_lines; }
};

struct ComparisonResult {
  std::vector<ComparedTable> tables;
  std::vector<ComparedRequest> requests;
};

void printComparison(const ComparisonResult& result);
void printComparisonJson(const ComparisonResult& result);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_COMPARE_OUTPUT_H_
