// SPDX-License-Identifier: Apache-2.0
// Rows that call HAPs in another way than these describe.
#ifndef KW_TRX_TOOLS_LINT_DESCRIPTION_WARNINGS_H_
#define KW_TRX_TOOLS_LINT_DESCRIPTION_WARNINGS_H_

#include <vector>

#include "modules/descriptions.h"
#include "table/finding.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// Warnings about MODE and PARA of the HAP rows of a table that the engine loads.
std::vector<Finding> descriptionWarnings(const TableFlow& flow,
                                         const HAPDescriptions& descriptions);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_DESCRIPTION_WARNINGS_H_
