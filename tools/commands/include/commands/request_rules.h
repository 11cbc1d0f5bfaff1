// SPDX-License-Identifier: Apache-2.0
// Rules of a case file judged by the requests of rings.
#ifndef KW_TRX_TOOLS_COMMANDS_REQUEST_RULES_H_
#define KW_TRX_TOOLS_COMMANDS_REQUEST_RULES_H_

#include <string>
#include <vector>

namespace kw::trx::tools {

/// Prints which rules of the case file `rules` which table requests of `rings` break. Returns the
/// exit status. Throws with a message when the case file cannot be read.
int showRules(const std::vector<std::string>& rings, const std::string& rules, bool json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_REQUEST_RULES_H_
