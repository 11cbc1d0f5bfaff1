// SPDX-License-Identifier: Apache-2.0
// What files hold that are no CSV text with commas, and how to make one of them. Any thread.
#ifndef KW_TRX_TOOLS_LINT_DIALECT_H_
#define KW_TRX_TOOLS_LINT_DIALECT_H_

#include <optional>
#include <string>

namespace kw::trx::tools {

struct Dialect {
  std::string message;              ///< what the file is; empty: what the engine reads
  std::optional<std::string> text;  ///< the same cells as the engine reads them; none: no such text
  std::string steps;                ///< what was done for `text`; empty: nothing
};

/// Tells what a file with these bytes is: an encoding by its mark or by where zeros stand, a
/// separator by the rows of the header keys. A mark alone has steps, but no words.
Dialect dialectOf(const std::string& bytes);

/// The same for a file; without words when it cannot be read.
Dialect dialectOfFile(const std::string& file);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_DIALECT_H_
