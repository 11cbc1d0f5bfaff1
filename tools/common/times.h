// SPDX-License-Identifier: Apache-2.0
// Points in time as people read and write them. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_TIMES_H_
#define KW_TRX_TOOLS_COMMON_TIMES_H_

#include <cstdint>
#include <string>

namespace kw::trx::tools {

/// Local date, time and zone of `seconds` since 1970, such as 2026-11-23 10:24:03+0100.
std::string localTimeText(std::int64_t seconds);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_TIMES_H_
