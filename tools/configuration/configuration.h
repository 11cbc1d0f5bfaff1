// SPDX-License-Identifier: Apache-2.0
// The configuration as the engine loads it.
#ifndef KW_TRX_TOOLS_CONFIGURATION_CONFIGURATION_H_
#define KW_TRX_TOOLS_CONFIGURATION_CONFIGURATION_H_

#include <optional>
#include <string>
#include <vector>

namespace kw::trx::tools {

/// Loads the configuration into the engine's `TRXConfig`. Returns why that failed; empty when it
/// did not.
std::string loadConfiguration();

/// The table files that a command looks at besides its own: those of the configuration, when there
/// is one. Throws `std::runtime_error` when a system root was given, but has none that loads.
/// `modules` gets the module files.
std::vector<std::string> configuredTables(std::optional<std::vector<std::string>>& modules);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CONFIGURATION_CONFIGURATION_H_
