// SPDX-License-Identifier: Apache-2.0
// The configuration as the engine loads it.
#ifndef KW_TRX_TOOLS_CONFIGURATION_CONFIGURATION_H_
#define KW_TRX_TOOLS_CONFIGURATION_CONFIGURATION_H_

#include <string>
#include <vector>

namespace kw::trx::tools {

/// Loads the configuration into the engine's `TRXConfig`. Returns why that failed; empty when it
/// did not.
std::string loadConfiguration();

/// What a configuration names.
struct Configured {
  bool is_there = false;             ///< false: none is found, and the rest is empty
  std::vector<std::string> tables;   ///< whole paths of table files, in its order
  std::vector<std::string> modules;  ///< module files, as the engine takes them
};

/// Loads the configuration, when there is one. Throws `std::runtime_error` when a system root was
/// given, but has none that loads.
Configured configured();

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CONFIGURATION_CONFIGURATION_H_
