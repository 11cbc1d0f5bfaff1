// SPDX-License-Identifier: Apache-2.0
// What a table file holds that loads, but is surely not meant.
#ifndef KW_TRX_TOOLS_TRXCTL_TABLE_WARNINGS_H_
#define KW_TRX_TOOLS_TRXCTL_TABLE_WARNINGS_H_

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "trxctl/finding.h"
#include "trxctl/table_flow.h"

namespace kw::trx::trxctl {

/// What is known of the surroundings of a table.
struct Surroundings {
  KnownTables tables;                            ///< those among the files and the configuration
  std::optional<std::set<std::string>> haps;     ///< of the modules that load; none: not known
  std::map<std::string, std::string> lost_haps;  ///< of other listed modules, and what befalls them
};

/// Cells that a spreadsheet would change so that they mean something else, or has changed.
std::vector<Finding> spreadsheetWarnings(const std::string& file);

/// Warnings about the rows of a table that the engine loads.
std::vector<Finding> flowWarnings(const TableFlow& flow, const Surroundings& surroundings);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_TABLE_WARNINGS_H_
