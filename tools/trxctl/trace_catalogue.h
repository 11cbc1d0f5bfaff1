// SPDX-License-Identifier: Apache-2.0
// Trace records in words, by the engine's own catalogue.
#ifndef KW_TRX_TOOLS_TRXCTL_TRACE_CATALOGUE_H_
#define KW_TRX_TOOLS_TRXCTL_TRACE_CATALOGUE_H_

#include <string>

#include "kw/platform.h"

namespace kw::trx::trxctl {

/// "error", "info", "debug" or "debug2"; the number of any other level.
std::string levelName(unsigned int level);

/// The sentence of the catalogue for `record`, with its values filled in. A record that the
/// catalogue does not know, or whose data does not fit, is shown by its id and bytes.
std::string describe(const kw::platform::TraceRecord& record);

/// Where the engine wrote a record with this id, such as "TRX::execHAP"; empty when unknown.
std::string originOf(unsigned int id);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_TRACE_CATALOGUE_H_
