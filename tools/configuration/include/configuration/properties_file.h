// SPDX-License-Identifier: Apache-2.0
// A properties file with the lines of its keys.
#ifndef KW_TRX_TOOLS_CONFIGURATION_PROPERTIES_FILE_H_
#define KW_TRX_TOOLS_CONFIGURATION_PROPERTIES_FILE_H_

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kw/util/config/cpp_properties.h"

namespace kw::trx::tools {

/// One properties file: its values as the engine reads them, and the lines of its keys.
struct PropertiesFile {
  std::string path;
  kw::util::config::CppProperties values{false};
  std::vector<std::pair<std::string, unsigned int>> keys;  ///< in file order, lines from 1
  std::unordered_map<std::string, unsigned int> lines;     ///< where the value that counts stands

  /// Reads the file at `path`. Returns why it cannot be read; empty when it can.
  std::string read();

  /// The line of the value that counts; 0 when the file has no such key.
  unsigned int lineOf(const std::string& key) const;
};

/// True for a value with a blank at its end, which counts.
bool endsWithBlank(const std::string& value);

/// The number behind `prefix` in `key`; -1 when it is not such a key.
int indexOf(const std::string& key, const std::string& prefix);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CONFIGURATION_PROPERTIES_FILE_H_
