// SPDX-License-Identifier: Apache-2.0
// What a row gives its HAP, as people read it. Any thread.
#ifndef KW_TRX_TOOLS_GRAPH_PARA_TEXT_H_
#define KW_TRX_TOOLS_GRAPH_PARA_TEXT_H_

#include <string>

#include "modules/descriptions.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// The parameters of a HAP row, such as "3200-3400 mV": words that its HAP describes in decimal
/// with their units, others as the PARA cell has them. Of any other row the cell.
std::string paraText(const FlowRow& row, const HAPDescriptions& descriptions);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_GRAPH_PARA_TEXT_H_
