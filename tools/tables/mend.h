// SPDX-License-Identifier: Apache-2.0
// Files written anew so that the engine reads the cells that they hold.
#ifndef KW_TRX_TOOLS_TABLES_MEND_H_
#define KW_TRX_TOOLS_TABLES_MEND_H_

#include <string>

namespace kw::trx::tools {

/// The folder for mended files, in that of the file.
constexpr char kMendedFolder[] = "fixed";

struct MendedFile {
  std::string file;     ///< the mended one; the old one when nothing was to be done
  std::string steps;    ///< what was done; empty: nothing
  std::string problem;  ///< why it could not be written; empty: it was, or nothing was to be done
};

/// Mends separator, encoding and byte order mark of `file`, and nothing else. Writes in its place
/// or, with the same name, into `kMendedFolder`, where no file is replaced.
MendedFile mendFile(const std::string& file, bool in_place);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLES_MEND_H_
