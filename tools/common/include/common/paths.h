// SPDX-License-Identifier: Apache-2.0
// File names as users write them. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_PATHS_H_
#define KW_TRX_TOOLS_COMMON_PATHS_H_

#include <string>

namespace kw::trx::tools {

/// The whole path of `file`, which counts from the working folder: the engine counts all paths from
/// the root directory. An empty name stays empty, and sets `errno` like that of a missing file.
std::string absolutePath(const std::string& file);

/// The name of `file` without its folders.
std::string fileNameOf(const std::string& file);

/// "; did you mean A?" with the file beside `file`, which is missing, whose name is near; else
/// empty. Names are compared behind `prefix`, with which they begin, and must have one extension.
std::string nearFileHint(const std::string& file, const std::string& prefix = "");

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_PATHS_H_
