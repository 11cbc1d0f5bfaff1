// SPDX-License-Identifier: Apache-2.0
// Files written anew so that the engine reads the cells that they hold.
#ifndef KW_TRX_TOOLS_LINT_FIX_H_
#define KW_TRX_TOOLS_LINT_FIX_H_

#include <string>

namespace kw::trx::tools {

/// The folder for fixed files, in that of the file.
constexpr char kFixedFolder[] = "fixed";

struct FixedFile {
  std::string file;   ///< the fixed one; the old one when nothing was to be done
  std::string steps;  ///< what was done; empty: nothing
};

/// Fixes separator, encoding and byte order mark of `file`, and nothing else. Writes in its place
/// or, with the same name, into `kFixedFolder`, where no file is replaced. Throws
/// `std::runtime_error`, with the reason, when the file cannot be written.
FixedFile fixFile(const std::string& file, bool in_place);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_FIX_H_
