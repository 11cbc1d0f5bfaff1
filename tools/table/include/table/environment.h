// SPDX-License-Identifier: Apache-2.0
// What tables name outside themselves: other tables and HAPs.
#ifndef KW_TRX_TOOLS_TABLE_ENVIRONMENT_H_
#define KW_TRX_TOOLS_TABLE_ENVIRONMENT_H_

#include <map>
#include <set>
#include <string>
#include <vector>

#include "modules/listed_modules.h"
#include "table/calls.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// The tables that a command knows of.
struct KnownTables {
  TableFlows flows;               ///< those that the engine loads
  std::set<std::string> refused;  ///< names of those whose file it does not load

  /// The names of all of them.
  std::vector<std::string> names() const;
};

/// The table files that `paths` name: themselves, or those of a folder by their extension, in the
/// order of their names. Throws `std::runtime_error` in words when there is no such file or folder.
std::vector<std::string> tableFilesOf(const std::vector<std::string>& paths);

/// The tables of `files` and of those that the configuration names. Of two files with one name that
/// the engine loads, the later one wins, and one of `files` counts more than a configured one.
KnownTables readTables(const std::vector<std::string>& files,
                       const std::vector<std::string>& configured);

/// What is known of the environment of a table.
struct Environment {
  KnownTables tables;  ///< those among the files and the configuration
  /// What was probably meant by names of tables that are not there, as `didYouMean` says it.
  std::map<std::string, std::string> meant_tables;
  std::set<std::string> endless;  ///< those of which no run gets to an END row
  KnownHAPs haps;                 ///< of the listed modules
};

/// What is known around the tables `files`: with a configuration, the tables and modules that it
/// names as well. Throws as `configured` does.
Environment environmentOf(const std::vector<std::string>& files);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_ENVIRONMENT_H_
