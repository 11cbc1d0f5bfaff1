// SPDX-License-Identifier: Apache-2.0
// All that is to be said about a table file.
#ifndef KW_TRX_TOOLS_LINT_CHECK_H_
#define KW_TRX_TOOLS_LINT_CHECK_H_

#include <string>
#include <vector>

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

/// Checks `file`, as it is called in words, with the tables and HAPs around it. The engine loads it
/// exactly when no error is found.
CheckedFile checkFile(const std::string& file, const Environment& around);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_CHECK_H_
