// SPDX-License-Identifier: Apache-2.0
// Every fault of a table file, in words.
#ifndef KW_TRX_TOOLS_LINT_FAULT_FINDER_H_
#define KW_TRX_TOOLS_LINT_FAULT_FINDER_H_

#include <string>
#include <vector>

#include "table/finding.h"

namespace kw::trx::tools {

/// The faults of a file.
struct Faults {
  std::vector<Finding> findings;
  bool has_more = false;  ///< there are more than the findings, which are `kFaultsMax` then
};

/// Every fault of `file`; `file` is how it is called in words. None exactly when the engine loads
/// it. After each fault the engine's checks go on as if its cell were right.
Faults findFaults(const std::string& file);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_FAULT_FINDER_H_
