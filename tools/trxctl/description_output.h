// SPDX-License-Identifier: Apache-2.0
// What HAPs say of themselves, in text.
#ifndef KW_TRX_TOOLS_TRXCTL_DESCRIPTION_OUTPUT_H_
#define KW_TRX_TOOLS_TRXCTL_DESCRIPTION_OUTPUT_H_

#include "modules/module_file.h"

namespace kw::trx::tools {

/// Prints a description, indented below the name of its HAP.
void printDescription(const HAPDescription& hap);

/// Prints which descriptions of a module are of no HAP of it, or cannot be read.
void printDescriptionProblems(const ModuleFile& module);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRXCTL_DESCRIPTION_OUTPUT_H_
