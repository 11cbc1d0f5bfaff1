// SPDX-License-Identifier: Apache-2.0
// File names as users write them. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_PATHS_H_
#define KW_TRX_TOOLS_COMMON_PATHS_H_

#include <string>

namespace kw::trx::tools {

/// The whole path of `file`, which counts from the working folder: the engine counts all paths from
/// the root directory. An empty name stays empty, and sets `errno` like that of a missing file.
std::string absolutePath(const std::string& file);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_PATHS_H_
