// SPDX-License-Identifier: Apache-2.0
#include "support/parse_number.h"

#include <cstdint>
#include <limits>

namespace kw::trx::trx {
namespace {

constexpr unsigned int kNoDigit = 36;
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

unsigned int digitValue(char c) {
  if (c >= '0' && c <= '9') {
    return static_cast<unsigned int>(c - '0');
  }
  if (c >= 'a' && c <= 'z') {
    return static_cast<unsigned int>(c - 'a') + 10;
  }
  if (c >= 'A' && c <= 'Z') {
    return static_cast<unsigned int>(c - 'A') + 10;
  }
  return kNoDigit;
}

bool isDigit(std::string_view text, std::size_t at, unsigned int base) {
  return at < text.size() && digitValue(text[at]) < base;
}

/// The prefix counts only before a digit: otherwise its 0 is the number.
bool hasHexPrefix(std::string_view text, std::size_t at) {
  return text.size() - at > 2 && text[at] == '0' && (text[at + 1] | 0x20) == 'x' &&
         isDigit(text, at + 2, 16);
}

}  // namespace

ParsedNumber parseNumber(std::string_view text, unsigned int base) {
  std::size_t at = text.find_first_not_of(kWhiteSpace);
  if (at == std::string_view::npos) {
    return {0, 0};
  }
  const bool minus = text[at] == '-';
  if (minus || text[at] == '+') {
    ++at;
  }
  if (base == 16 && hasHexPrefix(text, at)) {
    at += 2;
  }
  if (!isDigit(text, at, base)) {
    return {0, 0};
  }
  constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t value = 0;
  for (; isDigit(text, at, base); ++at) {
    if (value <= largest) {
      value = value * base + digitValue(text[at]);
    }
  }
  if (value > largest) {
    return {std::numeric_limits<std::uint32_t>::max(), at};
  }
  const auto word = static_cast<unsigned int>(value);
  return {minus ? 0U - word : word, at};
}

}  // namespace kw::trx::trx
