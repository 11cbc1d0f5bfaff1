// SPDX-License-Identifier: Apache-2.0
// How the engine writes its trace: by the constants of the catalogue, through the logger.
#ifndef KW_TRX_SUPPORT_TRACE_H_
#define KW_TRX_SUPPORT_TRACE_H_

#include <string>

#include "kw/trx/logger.h"
#include "zqm_trx/trace_points.h"  // IWYU pragma: export

namespace kw::trx::trx {

/// The region that every record of the engine carries.
constexpr int kTraceRegion = -1;

/// Folds the level of a point into its call: most records are dropped at the level mask, and what
/// comes before that counts in every request and row.
#define ZQM_TRX_FOLDED __attribute__((always_inline)) inline

/// Writes a record with the given values or text. Values not given are 0.
template <typename... Arguments>
ZQM_TRX_FOLDED void writeTrace(const TracePoint& point, Arguments... arguments) {
  clib_trx::Logger* logger = clib_trx::Logger::getLogger();
  switch (point.level) {
    case kLevelError:
      logger->error(kTraceRegion, point.id, arguments...);
      break;
    case kLevelInfo:
      logger->info(kTraceRegion, point.id, arguments...);
      break;
    case kLevelDebug:
      logger->debug(kTraceRegion, point.id, arguments...);
      break;
    default:
      logger->debug2(kTraceRegion, point.id, arguments...);
      break;
  }
}

ZQM_TRX_FOLDED void trace(const TracePoint& point, unsigned long v1 = 0, unsigned long v2 = 0,
                          unsigned long v3 = 0, unsigned long v4 = 0) {
  writeTrace(point, v1, v2, v3, v4);
}

ZQM_TRX_FOLDED void trace(const TracePoint& point, unsigned long v1, unsigned long v2,
                          unsigned long v3, unsigned long v4, unsigned long v5, unsigned long v6,
                          unsigned long v7, unsigned long v8) {
  writeTrace(point, v1, v2, v3, v4, v5, v6, v7, v8);
}

ZQM_TRX_FOLDED void trace(const TracePoint& point, const char* text) { writeTrace(point, text); }

ZQM_TRX_FOLDED void trace(const TracePoint& point, const std::string& text) {
  writeTrace(point, text.c_str());
}

/// An address or a signed number as a value of a record.
inline unsigned long traceWord(const void* address) {
  return reinterpret_cast<unsigned long>(address);
}
inline unsigned long traceWord(int value) { return static_cast<unsigned int>(value); }

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_TRACE_H_
