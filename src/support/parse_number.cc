// SPDX-License-Identifier: Apache-2.0
#include "support/parse_number.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

namespace kw::trx::trx {
namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

/// The prefix counts only before a digit: otherwise its 0 is the number.
bool hasHexPrefix(std::string_view text) {
  return text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x' &&
         std::isxdigit(static_cast<unsigned char>(text[2])) != 0;
}

}  // namespace

ParsedNumber parseNumber(std::string_view text, unsigned int base) {
  std::string_view rest = text;
  rest.remove_prefix(std::min(rest.find_first_not_of(kWhiteSpace), rest.size()));
  const bool minus = rest.substr(0, 1) == "-";
  if (minus || rest.substr(0, 1) == "+") {
    rest.remove_prefix(1);
  }
  if (base == 16 && hasHexPrefix(rest)) {
    rest.remove_prefix(2);
  }
  unsigned int value = 0;
  const auto [end, error] =
      std::from_chars(rest.data(), rest.data() + rest.size(), value, static_cast<int>(base));
  if (error == std::errc::invalid_argument) {
    return {0, 0};
  }
  const auto length = static_cast<std::size_t>(end - text.data());
  if (error == std::errc::result_out_of_range) {
    return {std::numeric_limits<unsigned int>::max(), length};
  }
  return {minus ? 0U - value : value, length};
}

}  // namespace kw::trx::trx
