// SPDX-License-Identifier: Apache-2.0
// How much a report keeps; shrinking halves from here.
#ifndef KW_TRX_TOOLS_REPORT_BOUNDS_H_
#define KW_TRX_TOOLS_REPORT_BOUNDS_H_

#include <cstddef>

namespace kw::trx::tools {

constexpr std::size_t kGroupsMost = 100;       ///< failures that are not equal
constexpr std::size_t kRecentMost = 10;        ///< requests named of a failure
constexpr std::size_t kNamesMost = 300;        ///< of requests
constexpr std::size_t kFirstRecords = 12;      ///< of a request that is told
constexpr std::size_t kLastRecords = 48;       ///< of the same
constexpr std::size_t kSlicesOfRequest = 400;  ///< tables, rows and HAPs of one

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_BOUNDS_H_
