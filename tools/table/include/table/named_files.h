// SPDX-License-Identifier: Apache-2.0
// The table files that users name: by path, or by the name of a configured table. The configuration
// is loaded only when a name needs it. One thread.
#ifndef KW_TRX_TOOLS_TABLE_NAMED_FILES_H_
#define KW_TRX_TOOLS_TABLE_NAMED_FILES_H_

#include <string>
#include <vector>

namespace kw::trx::tools {

/// The files that `words` stand for: each is a file that is there, else the name of a configured
/// table. Throws `std::runtime_error` in words for one that is neither, and as `configured`.
std::vector<std::string> namedFiles(const std::vector<std::string>& message);

/// The same for a command that tells itself what is wrong with a file that is missing: a word that
/// is neither, but has an extension as files do, stays as it is.
std::vector<std::string> namedFilesOrWords(const std::vector<std::string>& message);

/// Adds the configured files of the tables that those of `files` call, directly or through others,
/// and that are not among them. What the configuration does not have either stays missing. Throws
/// as `configured`.
void addCalledTables(std::vector<std::string>& files);

/// "; name it pump" for pump.csv when there is a table pump, else as `didYouMean`.
std::string tableHint(const std::string& name, const std::vector<std::string>& known);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_NAMED_FILES_H_
