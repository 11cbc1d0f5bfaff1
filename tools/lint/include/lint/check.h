// SPDX-License-Identifier: Apache-2.0
// All that is to be said about a table file.
#ifndef KW_TRX_TOOLS_LINT_CHECK_H_
#define KW_TRX_TOOLS_LINT_CHECK_H_

#include <string>
#include <vector>

#include "lint/cycle_warnings.h"
#include "table/environment.h"
#include "table/finding.h"

namespace kw::trx::tools {

struct CheckedFile {
  std::string file;
  std::vector<Finding> findings;  ///< by line and column
  bool is_unreadable = false;     ///< nothing is known of what it holds

  /// Whether there are errors, or warnings.
  bool has(bool errors) const;
};

/// Checks files with the tables and HAPs around them. Any thread.
class TableChecker {
 public:
  /// `around` must outlive it.
  explicit TableChecker(const Environment& around);

  /// Checks `file`, as it is called in words. The engine loads it exactly when no error is found.
  CheckedFile check(const std::string& file) const;

 private:
  std::vector<Finding> warningsOfFlow(const std::string& file) const;
  std::vector<Finding> warningsOf(const TableFlow& flow, const CycleWarnings& cycles) const;

  const Environment& around_;
  const CycleWarnings cycles_;  // of all tables around
};

/// The same for one file.
CheckedFile checkFile(const std::string& file, const Environment& around);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_CHECK_H_
