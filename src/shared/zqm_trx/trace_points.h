// SPDX-License-Identifier: Apache-2.0
// Number and level of every record that the engine writes, by the constants of the catalogue.
#ifndef KW_TRX_SHARED_TRACE_POINTS_H_
#define KW_TRX_SHARED_TRACE_POINTS_H_

namespace kw::trx::trx {

/// Levels as the trace facility takes them.
constexpr unsigned int kLevelError = 0x8002;
constexpr unsigned int kLevelInfo = 0x8001;
constexpr unsigned int kLevelDebug = 0x801;
constexpr unsigned int kLevelDebug2 = 0x1;

/// Trace class of all records of the engine's logger.
constexpr unsigned int kEngineTraceClass = 7;

/// Number and level of one trace point.
struct TracePoint {
  unsigned long id;
  unsigned int level;
};

#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, kind, values, sentence) \
  constexpr TracePoint constant{id, level};
#include "zqm_trx/trace_catalogue.def"  // IWYU pragma: export

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_TRACE_POINTS_H_
