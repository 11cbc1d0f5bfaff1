// SPDX-License-Identifier: Apache-2.0
// Numbers in texts, read alike on every host.
#ifndef KW_TRX_SUPPORT_PARSE_NUMBER_H_
#define KW_TRX_SUPPORT_PARSE_NUMBER_H_

#include <cstddef>
#include <string_view>

namespace kw::trx::trx {

/// A number and the count of bytes that it was read from.
struct ParsedNumber {
  unsigned int value;
  std::size_t length;
};

/// Reads the number at the start of `text` in `base` (2 to 36) as `strtoul` of the C library does
/// on the device, where unsigned long has 32 bits: leading white space, one sign, 0x or 0X in base
/// 16, then digits. A number that is too large gives 0xffffffff, and a minus sign wraps in 32 bits.
/// Without a digit the value is 0 and the length 0.
ParsedNumber parseNumber(std::string_view text, unsigned int base);

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_PARSE_NUMBER_H_
