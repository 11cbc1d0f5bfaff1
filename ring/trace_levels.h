// SPDX-License-Identifier: Apache-2.0
// The levels that records are written with.
#ifndef KW_RING_TRACE_LEVELS_H_
#define KW_RING_TRACE_LEVELS_H_

#include "kw/trace_record.h"

namespace kw::platform {

/// The bit of a level code as `kw_trace_write` gets it. One that is none of the four counts as an
/// error, so that it isn't lost unnoticed.
inline unsigned int levelBit(unsigned int level) noexcept {
  switch (level) {
    case 0x8001:
      return kTraceInfo;
    case 0x801:
      return kTraceDebug;
    case 0x1:
      return kTraceDebug2;
    default:
      return kTraceError;
  }
}

}  // namespace kw::platform

#endif  // KW_RING_TRACE_LEVELS_H_
