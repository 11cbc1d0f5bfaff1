// SPDX-License-Identifier: Apache-2.0
// HAP modules as files: what they export and whether they would load, without running their code.
#ifndef KW_TRX_TOOLS_MODULES_MODULE_FILE_H_
#define KW_TRX_TOOLS_MODULES_MODULE_FILE_H_

#include <string>
#include <vector>

#include "modules/descriptions.h"

namespace kw::trx::tools {

/// One module file.
struct ModuleFile {
  std::string key;                    ///< empty: its name gives none
  std::vector<std::string> haps;      ///< HAPs that it exports, sorted
  std::vector<std::string> others;    ///< functions that would be HAPs under another key, sorted
  std::vector<std::string> problems;  ///< why it would not load into a host like this tool
  /// Platform library that it needs, other than the one that this process has; empty: none. Loaded
  /// together, each of the two would be used for a part of what belongs together.
  std::string other_platform;
  HAPDescriptions descriptions;  ///< of HAPs, those included that it does not export
  std::size_t unreadable = 0;    ///< records of descriptions
  bool is_debug = false;         ///< loaded only on request
  bool has_sections = true;      ///< false: `haps` is not known, nor what it needs
};

/// Looks at the module `file`, a path as the engine takes it.
ModuleFile inspectModule(const std::string& file);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_MODULES_MODULE_FILE_H_
