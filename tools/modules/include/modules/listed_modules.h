// SPDX-License-Identifier: Apache-2.0
// Modules as a list names them: of two with one key the later one replaces the other.
#ifndef KW_TRX_TOOLS_MODULES_LISTED_MODULES_H_
#define KW_TRX_TOOLS_MODULES_LISTED_MODULES_H_

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "modules/module_file.h"

namespace kw::trx::tools {

struct ListedModule {
  std::string file;
  ModuleFile module;
  std::string replaced_by;  ///< file of a later module that takes its key; empty: none does
};

/// Looks at the modules `files`, paths as the engine takes them.
std::vector<ListedModule> inspectModules(const std::vector<std::string>& files);

/// The HAPs of listed modules.
struct KnownHAPs {
  std::optional<std::set<std::string>> known;  ///< of the modules that load; none: not known
  std::map<std::string, std::string> lost;     ///< of the others, and what befalls these
  std::map<std::string, std::string> broken;   ///< names of files that would not load, by key, when
                                               ///< no other one loads for it
  HAPDescriptions descriptions;                ///< of those that describe themselves
};

/// Sorts the HAPs of the listed modules as the engine does. They stay unknown when a module does
/// not tell its own.
KnownHAPs hapsOf(const std::vector<std::string>& files);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_MODULES_LISTED_MODULES_H_
