// SPDX-License-Identifier: Apache-2.0
// Words and numbers as all rooms write and read them. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_TEXT_H_
#define KW_TRX_TOOLS_COMMON_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace kw::trx::tools {

/// `number` as 0x and hexadecimal digits.
std::string hexText(unsigned long number);

/// The digits alone.
std::string hexDigits(unsigned long number);

/// The number that `text` writes in hexadecimal, 1 to 8 digits with or without 0x; none when it is
/// anything else.
std::optional<std::uint32_t> hexNumber(const std::string& text);

/// The number that `text` writes as people do: decimal, or hexadecimal behind 0x. A leading 0 is
/// refused, as it could mean base 8 or, as in tables, base 16.
std::optional<std::uint32_t> wordNumber(const std::string& text);

/// The number below 2^32 that all of `text` writes in decimal digits; none when it is anything
/// else.
std::optional<std::uint32_t> decimalNumber(const std::string& text);

/// The one of `known` that `word` was probably meant to be; empty when none is near.
std::string nearestOf(const std::string& word, const std::vector<std::string>& known);

/// "; did you mean A?" with the one of `known` that `word` was probably meant to be; empty when
/// none is near.
std::string didYouMean(const std::string& word, const std::vector<std::string>& known);

/// True when `text` is `word` but for letter case and blanks around it.
bool isNearly(const std::string& text, const std::string& word);

/// The parts of `text` between separators, empty ones too.
std::vector<std::string> partsOf(const std::string& text, char separator);

constexpr std::size_t kAllNames = std::numeric_limits<std::size_t>::max();

/// "a, b and c", or with another word for "and"; of more names than `max`, the first ones and the
/// number of the others: "a, b and 7 more".
std::string listed(std::vector<std::string> names, std::size_t max = kAllNames,
                   const std::string& last = " and ");

/// `text` in lines of at most 80 characters, cut at blanks: the first line starts at the column
/// `first`, from 0, each further one with `indent` blanks. No line end behind the last.
std::string wrapped(const std::string& text, std::size_t first, std::size_t indent);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_TEXT_H_
