// SPDX-License-Identifier: Apache-2.0
// Files that are written whole or not at all. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_WHOLE_FILE_H_
#define KW_TRX_TOOLS_COMMON_WHOLE_FILE_H_

#include <string>

namespace kw::trx::tools {

/// Writes `content` as the file `path`: into a new file beside it that nobody else can have made,
/// which takes the name when all of it is on the disk. Of a file that is there the rights stay, and
/// the owner where the process may set it; a link is replaced, not followed. A device or a pipe is
/// written to. Throws `std::runtime_error` that names the file and why; it is then as it was.
void writeWhole(const std::string& path, const std::string& content);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_WHOLE_FILE_H_
