// SPDX-License-Identifier: Apache-2.0
// What the HAPs of the configured modules say of their error codes. One thread.
#ifndef KW_TRX_TOOLS_TABLE_CODE_MEANINGS_H_
#define KW_TRX_TOOLS_TABLE_CODE_MEANINGS_H_

#include <optional>

#include "modules/listed_modules.h"
#include "trace/request_summaries.h"

namespace kw::trx::tools {

/// What the HAPs of the configured modules say of themselves; none without a configuration that
/// loads.
std::optional<HAPDescriptions> configuredDescriptions();

/// What those HAPs say of their codes; nothing where there are none, as where a ring of another
/// machine is read.
CodeMeaning meaningsIn(HAPDescriptions descriptions);

/// Reads the descriptions in the modules of the configuration.
CodeMeaning configuredMeanings();

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_CODE_MEANINGS_H_
