// SPDX-License-Identifier: Apache-2.0
// What stands between the cells of a text. Any thread.
#ifndef KW_TRX_TOOLS_LINT_SEPARATORS_H_
#define KW_TRX_TOOLS_LINT_SEPARATORS_H_

#include <string>

namespace kw::trx::tools {

/// The separator behind the header keys of a table file or the first words of a case file; a comma
/// when there are none, or when one of them is followed by one or a START row is written with one.
char separatorOf(const std::string& text);

/// The cells of `text`, parted by `separator`, parted by commas, with quotes where a cell now needs
/// them. Lines end as they did.
std::string withCommas(const std::string& text, char separator);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_SEPARATORS_H_
