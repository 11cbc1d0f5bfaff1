// SPDX-License-Identifier: Apache-2.0
// How the engine writes its trace: by the constants of the catalogue, through the logger.
#ifndef KW_TRX_SUPPORT_TRACE_H_
#define KW_TRX_SUPPORT_TRACE_H_

#include <string>

#include "kw/trx/logger.h"

namespace kw::trx::trx {

/// Levels as the trace facility takes them.
constexpr unsigned int kLevelError = 0x8002;
constexpr unsigned int kLevelInfo = 0x8001;
constexpr unsigned int kLevelDebug = 0x801;
constexpr unsigned int kLevelDebug2 = 0x1;

/// Number and level of one trace point.
struct TracePoint {
  unsigned long id;
  unsigned int level;
};

#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, values, sentence) \
  constexpr TracePoint constant{id, level};
#include "support/trace_catalogue.def"  // IWYU pragma: export

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
