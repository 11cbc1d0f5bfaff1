// SPDX-License-Identifier: Apache-2.0
// Text cut into the characters that UTF-8 writes, and text as it can be shown. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_CHARACTERS_H_
#define KW_TRX_TOOLS_COMMON_CHARACTERS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kw::trx::tools {

/// The number of bytes of the character that begins at `at`; 0 when none does.
std::size_t characterAt(std::string_view text, std::size_t at);

/// `text` cut into its characters; a byte that is part of none stands alone.
std::vector<std::string> charactersOf(const std::string& text);

/// `text` with what cannot be shown as \t, \n, \r or \x and two digits.
std::string visible(const std::string& text);

/// The same in quotes.
std::string inQuotes(const std::string& text);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_CHARACTERS_H_
