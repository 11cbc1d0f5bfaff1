// SPDX-License-Identifier: Apache-2.0
// What HAPs say of themselves, in text and JSON.
#ifndef KW_TRX_TOOLS_COMMANDS_DESCRIPTION_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_DESCRIPTION_OUTPUT_H_

#include "common/json.h"
#include "modules/module_file.h"

namespace kw::trx::tools {

/// Prints a description, indented below the name of its HAP.
void printDescription(const HAPDescription& hap);

/// Prints which descriptions of a module are of no HAP of it, or cannot be read.
void printDescriptionProblems(const ModuleFile& module);

/// Writes the descriptions of a module, and how many cannot be read, as members of an object.
void writeDescriptions(JsonWriter& json, const ModuleFile& module);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_DESCRIPTION_OUTPUT_H_
