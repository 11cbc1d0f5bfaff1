// SPDX-License-Identifier: Apache-2.0
// Cells of a table file that do not survive a spreadsheet.
#ifndef KW_TRX_TOOLS_LINT_SPREADSHEET_WARNINGS_H_
#define KW_TRX_TOOLS_LINT_SPREADSHEET_WARNINGS_H_

#include <string>
#include <vector>

#include "table/finding.h"

namespace kw::trx::tools {

/// Cells that a spreadsheet would change so that they mean something else, or has changed.
std::vector<Finding> spreadsheetWarnings(const std::string& file);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_SPREADSHEET_WARNINGS_H_
