// SPDX-License-Identifier: Apache-2.0
// What was probably meant by a name that the engine did not find.
#ifndef KW_TRX_TOOLS_ENGINE_NAME_HINTS_H_
#define KW_TRX_TOOLS_ENGINE_NAME_HINTS_H_

#include <string>

#include "kw/trx/trx_info.h"

namespace kw::trx::tools {

/// The end of a sentence about the HAP that `info` missed last, or else about `missing_table`, from
/// its "; " on; empty when nothing was missed, or nothing is near. The known names are those of the
/// loaded configuration.
std::string nameHint(trx::TRXInfo& info, const std::string& missing_table);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_NAME_HINTS_H_
