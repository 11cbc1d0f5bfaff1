// SPDX-License-Identifier: Apache-2.0
// What the length of a run is counted in.
#ifndef KW_TRX_TOOLS_ANALYSIS_MEASURE_H_
#define KW_TRX_TOOLS_ANALYSIS_MEASURE_H_

#include <cstdint>

#include "analysis/program.h"

namespace kw::trx::tools {

enum class Measure { kRows, kHAPCalls, kWaitMs };

/// Amounts are counted as far as this: a run may take more, as its length can double with each
/// table that calls another one twice.
constexpr std::uint64_t kMaxAmount = std::uint64_t{1} << 43;

inline std::uint64_t lengthOf(const FlowRow& row, Measure measure) {
  switch (measure) {
    case Measure::kRows:
      return 1;
    case Measure::kHAPCalls:
      return row.command == Command::kHAP && row.can_succeed ? 1 : 0;
    case Measure::kWaitMs:
      break;
  }
  return row.wait_ms;
}

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_MEASURE_H_
