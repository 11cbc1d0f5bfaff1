// SPDX-License-Identifier: Apache-2.0
// The configuration as the commands need it.
#ifndef KW_TRX_TOOLS_TRXCTL_CONFIGURATION_H_
#define KW_TRX_TOOLS_TRXCTL_CONFIGURATION_H_

#include <optional>
#include <string>
#include <vector>

#include "trxctl/table_flow.h"

namespace kw::trx::trxctl {

/// Loads the configuration into the engine's `TRXConfig`. Returns why that failed; empty when it
/// did not.
std::string loadConfiguration();

/// The table files that a command looks at besides its own: those of the configuration, when there
/// is one. Throws `std::runtime_error` when a system root was given, but has none that loads.
/// `modules` gets the module files.
std::vector<std::string> configuredTables(std::optional<std::vector<std::string>>& modules);

/// The tables of `files` and of those that the configuration names. Of two files with one name that
/// the engine loads, the later one wins, and one of `files` counts more than a configured one.
KnownTables readTables(const std::vector<std::string>& files,
                       const std::vector<std::string>& configured);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_CONFIGURATION_H_
