// SPDX-License-Identifier: Apache-2.0
// The effective configuration, and what is odd about it.
#ifndef KW_TRX_TOOLS_CONFIGURATION_REPORT_H_
#define KW_TRX_TOOLS_CONFIGURATION_REPORT_H_

#include <string>
#include <vector>

namespace kw::trx::tools {

/// A value, or a warning.
struct ConfigEntry {
  bool is_warning;
  std::string key;      ///< of a value
  std::string message;  ///< the value, or what is odd
  std::string file;     ///< where it stands
  unsigned int line;    ///< from 1; 0 in a value: it is the default
  std::string found;    ///< the file below the system root that a value stands for; empty: none
};

struct ConfigReport {
  std::vector<ConfigEntry> entries;  ///< in the order in which they are read best
  std::string problem;               ///< why the engine refuses it; empty: it does not

  bool hasWarnings() const;
};

/// Reads the path file and the configuration that it names.
ConfigReport reportConfiguration();

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CONFIGURATION_REPORT_H_
