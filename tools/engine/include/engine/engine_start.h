// SPDX-License-Identifier: Apache-2.0
// A loaded engine.
#ifndef KW_TRX_TOOLS_ENGINE_ENGINE_START_H_
#define KW_TRX_TOOLS_ENGINE_ENGINE_START_H_

#include <string>

namespace kw::trx::tools {

/// Loads the engine with the configuration of the system root, and installs an API object that does
/// nothing. Returns why that failed; empty when it did not.
std::string startEngine(bool with_debug_modules);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_ENGINE_START_H_
